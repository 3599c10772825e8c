// The factory software version: each of its slots is filled by the first of its sources that has
// something for it, and then they are put together.
#include <strings.h>

#include <cstring>

#include "common/lines.h"
#include "common/log.h"
#include "common/properties.h"
#include "fcx/customisation.h"
#include "fcx/factory_items.h"
#include "fcx/identity_items.h"
#include "fcx/mcc_lookup.h"
#include "fcx/qvcmd.h"
#include "fcx/version_info.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"
#include "modem/version_info/slots.h"

namespace {

using fcx::FactoryVersion;
using fcx::joined;
using fcx::LongText;
using fcx::NetworkEntry;
using fcx::VersionSource;
using fcx::VersionText;

constexpr char kVersionProperty[] = "ro.vendor.qve.factoryversion";
constexpr char kArbProperty[] = "ro.vendor.qve.swversion_arb";
constexpr char kFactoryModelProperty[] = "ro.boot.vendor.qve.model.factory";
constexpr char kModelProperty[] = "ro.boot.vendor.qve.model.name";
constexpr char kOperatorProperty[] = "ro.vendor.qve.build.target_operator";
constexpr char kFunction[] = "get_qve_factory_sw_version_sbp";

constexpr int kAsBuilt = 1;
constexpr int kOfCarrier = 2;

/// A version that cannot be made, with the line that says why.
#define NO_VERSION(...) (DOMAIN_INFO(__VA_ARGS__), false)

/// What the factory-version property says.
struct VersionProperty {
  fcx::PropertyText text;
  bool is_factory = false;
  bool has_arb = false;
};

/// The lists that the network code makes; empty with type 1.
struct NetworkLists {
  LongText mccmncs;
  LongText subsets;
};

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool read_version_property(VersionProperty& property) {
  constexpr size_t kTooLong = 71;
  property.text = fcx::read_property(kVersionProperty);
  const std::string_view text = property.text.view();
  property.is_factory = contains(text, "FACTORY");
  property.has_arb = contains(text, "ARB");
  if (property.is_factory) DOMAIN_INFO("Factory Version\n");
  if (property.has_arb) DOMAIN_INFO("Arb Version\n");
  if (text.empty() || text.size() >= kTooLong) {
    return NO_VERSION("ro.vendor.qve.factoryversion property is not active or read error");
  }
  DOMAIN_INFO("ro.vendor.qve.factoryversion is [%s]\n", property.text.c_str());
  return true;
}

bool read_network_lists(NetworkLists& lists) {
  fcx::TextBuffer<QVCMD_DATA_SIZE> list;
  char nothing = '\0';
  if (read_qve_ntcode(&nothing, 0, list.data(), nullptr) != 0) {
    return NO_VERSION("[QVE][SBP_VER]NTCODE READ ERROR 1");
  }
  if (list.empty()) return NO_VERSION("[QVE][SBP_VER]NTCODE is empty");
  // It goes on into the parser, on purpose, which finds no entry in it.
  if (contains(list.view(), "ERROR")) DOMAIN_INFO("[QVE][SBP_VER]NTCODE READ ERROR 2");
  qve_parse_ntcode(list.data(), lists.mccmncs.data(), lists.subsets.data());
  return true;
}

LongText first_entry(const LongText& list) {
  std::string_view rest = list.view();
  return LongText(fcx::take_until(rest, ','));
}

/// The carrier's files on an overlay, which the mapping's line of carriers leads to.
void fill_from_overlay(const LongText& root, const std::vector<std::string>& carriers,
                       const NetworkEntry& entry, FactoryVersion& version) {
  const LongText common = joined(root.view(), "/cust.prop");
  if (fexists(common.c_str()) != 0) {
    DOMAIN_INFO("[QVE][SBP_VER] Exist matched cust.prop file via hal\n");
    fill_from_property_file(common.c_str(), entry, version);
  }
  std::string list;
  for (const std::string& carrier : carriers) list += ":" + carrier;
  DOMAIN_INFO("[QVE][SBP_VER] carriers: %s\n", list.empty() ? "" : list.c_str() + 1);
  if (carriers.size() < 2) return;
  LongText own("/mnt/product/OP/");
  own.append(carriers.front());
  own.append("/cust_sub.prop");
  if (fexists(own.c_str()) == 0) return;
  DOMAIN_INFO("[QVE][SBP_VER] Exist matched cust_sub.prop file via hal\n");
  fill_from_property_file(own.c_str(), entry, version);
}

/// The file that a mapping names for the network code's first entry; empty without one.
LongText mapped_file(const LongText& root, const NetworkEntry& entry) {
  LongText key(entry.mccmnc);
  key.append(",");
  key.append(entry.subset);
  LongText open_mapping;
  qve_get_tamra_file_path("/open_path_mapping.cfg", open_mapping.data());
  const LongText unified_mapping = joined(root.view(), "/config/unified_path_mapping.cfg");
  fcx::TextBuffer<127> name;
  const bool is_open =
      qve_get_value_from_file(open_mapping.c_str(), key.c_str(), name.data()) == 0 && !name.empty();
  // An empty name counts here, unlike there.
  if (!is_open && qve_get_value_from_file(unified_mapping.c_str(), key.c_str(), name.data()) != 0) {
    return {};
  }
  LongText file = joined(root.view(), "/cust_");
  file.append(name.view());
  file.append(".prop");
  return file;
}

/// The carrier's files where they are opened directly.
void fill_from_package(const LongText& root, const NetworkEntry& entry, FactoryVersion& version) {
  const LongText own = mapped_file(root, entry);
  if (!own.empty() && fexists(own.c_str()) != 0) {
    LongText integration;
    if (qve_integration_properties(integration.data(), own.c_str(), root.c_str()) != 0) {
      fill_from_property_file(integration.c_str(), entry, version);
    }
    DOMAIN_INFO("[QVE][SBP_VER]Updated cust_{subset}.prop file path: %s\n", own.c_str());
    fill_from_property_file(own.c_str(), entry, version);
  } else if (fexists(root.c_str()) != 0) {
    DOMAIN_INFO("[QVE][SBP_VER]Exist matched cust.prop file\n");
    fill_from_property_file(joined(root.view(), "/cust.prop").c_str(), entry, version);
  }
}

/// Fills slots from the customisation package of the network code's first entry.
void fill_from_files(const NetworkLists& lists, const NetworkEntry& entry,
                     FactoryVersion& version) {
  constexpr size_t kShortestRoot = 6;
  std::string overlaid;
  std::vector<std::string> carriers;
  LongText root;
  qve_parse_cust_path(overlaid, lists.mccmncs.c_str(), lists.subsets.c_str(), root.data(),
                      &carriers);
  DOMAIN_INFO("[QVE][SBP_VER]tamra root path: %s\n", root.c_str());
  if (root.view().size() < kShortestRoot) return;
  if (e_is_overlayfs) {
    fill_from_overlay(root, carriers, entry, version);
  } else {
    fill_from_package(root, entry, version);
  }
}

void fill_from_network_code(std::string_view mccmnc, FactoryVersion& version) {
  constexpr size_t kMcc = 3;
  if (mccmnc == "FFFFFF") return;
  fill(version.mcc, mccmnc.substr(0, kMcc), VersionSource::network_code, nullptr);
  if (mccmnc.size() > kMcc) {
    fill(version.mnc, mccmnc.substr(kMcc), VersionSource::network_code, nullptr);
  }
}

void fill_from_group(std::string_view group, int file, FactoryVersion& version) {
  const fcx::NetworkPair pair = fcx::network_pair(group);
  fill(version.mcc, pair.mcc, VersionSource::group_file, fcx::kGroupKey, file);
  fill(version.mnc, pair.mnc, VersionSource::group_file, fcx::kGroupKey, file);
}

/// The model's name, with where it was built for.
bool fill_model(FactoryVersion& version) {
  const char* property = kFactoryModelProperty;
  fcx::PropertyText name = fcx::read_property(property);
  if (name.empty()) {
    property = kModelProperty;
    name = fcx::read_property(property);
  }
  if (name.empty()) return NO_VERSION("%s: there is no model name\n", kFunction);
  DOMAIN_INFO("[QVE][SBP_VER]Model Name : %s = %s", property, name.c_str());
  std::string_view rest = name.view();
  const auto prefix = fcx::take_token(rest, '-');
  const auto device = fcx::take_token(rest, '-');
  if (prefix.has_value()) {
    DOMAIN_INFO("[QVE][SBP_VER]Model Name qv_v: %s", fcx::PropertyText(*prefix).c_str());
  } else {
    DOMAIN_INFO("[QVE][SBP_VER]Model Name qv_v is NULL");
  }
  if (device.has_value()) {
    DOMAIN_INFO("[QVE][SBP_VER]Model Name dev: %s", fcx::PropertyText(*device).c_str());
  } else {
    DOMAIN_INFO("[QVE][SBP_VER]Model Name dev is NULL");
  }
  if (!prefix.has_value()) return true;
  const fcx::PropertyText built_for = fcx::read_property(kOperatorProperty);
  if (built_for.empty()) return NO_VERSION("%s: %s is empty\n", kFunction, kOperatorProperty);
  VersionText model(*prefix);
  model.append(device.value_or(""));
  model.append(built_for.view() == "TRF" ? "HL" : "AT");
  put(version.model, model.view(), VersionSource::property, property);
  return true;
}

/// The modem's type code; empty when it answers with an error text.
bool ask_for_type_code(VersionText& code) {
  fcx::ModemAnswer answer;
  if (const int failed = fcx::ask(fcx::request::read_type_code, {}, answer); failed != 0) {
    return NO_VERSION("%s: no type code from the modem: %d\n", kFunction, failed);
  }
  const std::string_view text = answer.text();
  if (!contains(text, "ERROR")) code = VersionText(text.substr(0, text.find_first_of("\r\n")));
  return true;
}

/// The tokens of the factory-version property, each of which belongs to a slot.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) {
    static_cast<void>(take('-'));  // the model's, which is known better
  }

  std::optional<std::string_view> take(char separator) { return fcx::take_token(rest_, separator); }
  std::string_view rest() const { return rest_; }

  /// Takes a token for a slot, which keeps what it has. @return whether there was one
  bool fills(fcx::VersionSlot& slot) {
    const auto token = take('-');
    if (token.has_value()) fill(slot, *token, VersionSource::property, kVersionProperty);
    return token.has_value();
  }

 private:
  std::string_view rest_;
};

bool fill_type(int type, Tokens& tokens, FactoryVersion& version) {
  VersionText code;
  if (!ask_for_type_code(code)) return false;
  const auto token = tokens.take('-');
  if (type != kAsBuilt && !code.empty()) {
    VersionText text("0");
    text.append(code.view());
    put(version.type, text.view(), VersionSource::modem, nullptr);
    return true;
  }
  if (!token.has_value()) return NO_VERSION("%s: %s has no type\n", kFunction, kVersionProperty);
  put(version.type, *token, VersionSource::property, kVersionProperty);
  return true;
}

/// The release date up to '+', or its three parts and then the ARB version up to '+'.
bool fill_date(bool has_arb, Tokens& tokens, FactoryVersion& version) {
  if (!has_arb) {
    const auto date = tokens.take('+');
    if (!date.has_value()) {
      return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. release_date is NULL");
    }
    fill(version.date, *date, VersionSource::property, kVersionProperty);
    return true;
  }
  const auto month = tokens.take('-');
  if (!month.has_value()) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. release_date is NULL");
  }
  const auto day = tokens.take('-');
  if (!day.has_value()) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. release_date(day) is NULL");
  }
  const auto year = tokens.take('-');
  if (!year.has_value()) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. release_date(year) is NULL");
  }
  VersionText date(*month);
  for (const std::string_view part : {*day, *year}) {
    date.append("-");
    date.append(part);
  }
  fill(version.date, date.view(), VersionSource::property, kVersionProperty);
  const std::string_view arb = tokens.take('+').value_or("");
  fill(version.arb, arb, VersionSource::property, kVersionProperty);
  DOMAIN_INFO("ARB Ver : %s, token_pointer : %s", fcx::PropertyText(arb).c_str(),
              fcx::PropertyText(tokens.rest()).c_str());
  return true;
}

bool fill_from_tokens(int type, const VersionProperty& property, FactoryVersion& version) {
  Tokens tokens(property.text.view());
  if (!fill_type(type, tokens, version)) return false;
  if (!tokens.fills(version.short_name)) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. version_name is NULL");
  }
  if (!tokens.fills(version.mcc)) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. MCC is NULL");
  }
  if (!tokens.fills(version.mnc)) {
    return NO_VERSION("[QVE][SBP_VER]Factory Version Parsing Error. MNC is NULL");
  }
  if (!fill_date(property.has_arb, tokens, version)) return false;
  if (tokens.rest().empty()) DOMAIN_INFO("[QVE][SBP_VER]Hidden Version NULL");
  fill(version.hidden, tokens.rest(), VersionSource::property, kVersionProperty);
  return true;
}

/// The text up to the character before the first "FACTORY", in whatever case.
VersionText before_factory(const VersionText& text) {
  const char* found = strcasestr(text.c_str(), "FACTORY");
  if (found == nullptr) return text;
  const auto position = static_cast<size_t>(found - text.c_str());
  return VersionText(text.view().substr(0, position > 0 ? position - 1 : 0));
}

/// Puts the slots together.
VersionText assemble(FactoryVersion& version) {
  VersionText text(text_of(version.model));
  const auto add = [&](char mark, const fcx::VersionSlot& slot) {
    text.append({&mark, 1});
    text.append(text_of(slot));
  };
  for (const auto* slot : {&version.type, &version.short_name, &version.mcc, &version.mnc}) {
    add('-', *slot);
  }
  if (!is_empty(version.postfix)) add('-', version.postfix);
  add('-', version.date);
  DOMAIN_INFO("[QVE][SBP_VER]Software Version : %s", text.c_str());
  // The property's value, never the one that was parsed, on purpose.
  if (const fcx::PropertyText arb = fcx::read_property(kArbProperty); !arb.empty()) {
    put(version.arb, arb.view(), VersionSource::property, kArbProperty);
    add('-', version.arb);
  } else {
    version.arb = {};
  }
  if (version.is_factory) {
    text = before_factory(text);
    text.append("-FACTORY");
  } else if (!is_empty(version.hidden)) {
    add('+', version.hidden);
  }
  DOMAIN_INFO("[QVE][SBP_VER]Final Software Version : %s", text.c_str());
  return text;
}

/// Fills all slots. @return whether there is a version
bool fill_slots(int type, const VersionProperty& property, FactoryVersion& version) {
  const fcx::PackageCache cache;
  NetworkLists lists;
  if (type == kOfCarrier && !read_network_lists(lists)) return false;
  const LongText mccmnc = first_entry(lists.mccmncs);
  const LongText subset = first_entry(lists.subsets);
  if (type == kOfCarrier) {
    DOMAIN_INFO("[QVE][SBP_VER]MCCMNC: %s\n", mccmnc.c_str());
    DOMAIN_INFO("[QVE][SBP_VER]SUBSET: %s\n", subset.c_str());
    fill_from_files(lists, {mccmnc.c_str(), subset.c_str()}, version);
    fill_from_network_code(mccmnc.view(), version);
  }
  // Without what an unread file says the version would be another.
  const char* unread = cache.unreadable();
  const bool needs_group = is_empty(version.mcc) || is_empty(version.mnc);
  int group_file = -1;
  const auto group = customisation_group(version, group_file);
  if (unread == nullptr && needs_group) unread = cache.unreadable();
  if (unread != nullptr) return NO_VERSION("%s: %s cannot be read\n", kFunction, unread);
  fill_from_group(group.view(), group_file, version);
  return fill_model(version) && fill_from_tokens(type, property, version);
}

/// Makes the version from its property, which has been read.
bool make_version(int type, const VersionProperty& property, FactoryVersion& version) {
  version.is_factory = property.is_factory;
  if (!fill_slots(type, property, version)) return false;
  DOMAIN_INFO(
      "[QVE][SBP_VER]Short Version Name: %s, MCC: %s, MNC: %s, Release Date : %s, ARB ver : %s, "
      "Hidden Version : %s",
      version.short_name.text, version.mcc.text, version.mnc.text, version.date.text,
      version.arb.text, version.hidden.text);
  const VersionText text = assemble(version);
  memcpy(version.text, text.c_str(), sizeof version.text);
  return true;
}

}  // namespace

int fcx::read_factory_version(int type, FactoryVersion& version) {
  version = {};
  VersionProperty property;
  if (!read_version_property(property)) return 1;
  if (type != kAsBuilt && type != kOfCarrier) return 1;
  return make_version(type, property, version) ? 0 : 1;
}

int get_qve_factory_sw_version(int type, char* out, int* out_len) {
  DOMAIN_INFO("GSM VERSION TYPE");
  return get_qve_factory_sw_version_sbp(type, out, out_len);
}

int get_qve_factory_sw_version_sbp(int type, char* out, int* out_len) {
  if (out == nullptr || out_len == nullptr) return 1;
  VersionProperty property;
  if (!read_version_property(property)) return 1;
  // Any other type is done here, on purpose.
  if (type != kAsBuilt && type != kOfCarrier) return 0;
  FactoryVersion version{};
  if (!make_version(type, property, version)) return 1;
  const size_t length = strlen(version.text);
  memcpy(out, version.text, length);
  *out_len = static_cast<int>(length);
  if (type == kOfCarrier && set_sw_version_ftm_item(version.text) != 0) {
    DOMAIN_INFO("%s: item %d cannot be written\n", kFunction, fcx::item::sw_version);
  }
  return 0;
}
