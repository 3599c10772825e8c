// Pieces of the factory software version from the property files of the customisation package.
#include <algorithm>
#include <cstring>

#include "common/log.h"
#include "fcx/customisation.h"
#include "fcx/version_info.h"
#include "modem/version_info/slots.h"

namespace {

using fcx::FactoryVersion;
using fcx::joined;
using fcx::LongText;
using fcx::VersionSlot;
using fcx::VersionSource;

/// A key's value as the package has it.
using Value = fcx::TextBuffer<127>;

constexpr char kOpenMapping[] = "/open_path_mapping.cfg";
constexpr char kUnifiedMapping[] = "/config/unified_path_mapping.cfg";
constexpr char kGroupMapping[] = "/cust_group_mapping.cfg";
constexpr char kOpenRoot[] = "/OPEN_COM";

Value value_of(const char* path, const char* key) {
  Value value;
  // A key that is not there leaves it empty.
  static_cast<void>(qve_get_value_from_file(path, key, value.data()));
  return value;
}

LongText package_path(const char* name) {
  LongText path;
  qve_get_tamra_file_path(name, path.data());
  return path;
}

/// Which of the version's files this path is, noted there if it is not yet; -1 without room.
int file_number(FactoryVersion& version, std::string_view path) {
  int number = 0;
  for (auto& file : version.files) {
    if (file[0] == '\0') file[path.copy(file, sizeof file - 1)] = '\0';
    if (path == file) return number;
    ++number;
  }
  return -1;
}

/// One property file that is being applied.
class PropertyFile {
 public:
  PropertyFile(const char* path, FactoryVersion& version)
      : path_(path), version_(version), number_(file_number(version, path)) {}

  Value value(const char* key) const { return value_of(path_, key); }

  /// Takes a key's value for a slot that is still empty. @return whether it did
  bool fills(VersionSlot& slot, const char* key) const {
    const Value found = value(key);
    if (found.empty() || !is_empty(slot)) return false;
    put(slot, found.view(), VersionSource::file, key, number_);
    return true;
  }

  /// Takes MCC and MNC, whatever the slots hold. @return whether there were any
  bool replaces_network(const char* key) const {
    const Value found = value(key);
    const fcx::NetworkPair pair = fcx::network_pair(found.view());
    if (!pair.is_pair || value("ro.vendor.qve.opensw.enableca").c_str()[0] == '1') return false;
    put(version_.mcc, pair.mcc, VersionSource::file, key, number_);
    put(version_.mnc, pair.mnc, VersionSource::file, key, number_);
    return true;
  }

 private:
  const char* path_;
  FactoryVersion& version_;
  int number_;
};

/// The group's MCC and MNC, for the entry that stands for no network. @return whether there were
bool fills_from_group(const fcx::NetworkEntry& entry, FactoryVersion& version) {
  const bool is_no_network =
      std::string_view(entry.mccmnc) == "999999" && std::string_view(entry.subset) == "99";
  if (!is_empty(version.mcc) || !is_no_network) return false;
  int file = -1;
  const Value group = fcx::customisation_group(version, file);
  const fcx::NetworkPair pair = fcx::network_pair(group.view());
  if (!pair.is_pair) return false;
  put(version.mcc, pair.mcc, VersionSource::group_file, fcx::kGroupKey, file);
  put(version.mnc, pair.mnc, VersionSource::group_file, fcx::kGroupKey, file);
  return true;
}

void copy_slot(const VersionSlot& slot, char* out) { memcpy(out, slot.text, sizeof slot.text); }

}  // namespace

namespace fcx {

void put(VersionSlot& slot, std::string_view text, VersionSource source, const char* name,
         int file) {
  if (text.empty()) return;
  const size_t length = text.copy(slot.text, kLongestPiece);
  memset(slot.text + length, 0, sizeof slot.text - length);
  slot.source = source;
  slot.name = name;
  slot.file = file;
}

NetworkPair network_pair(std::string_view text) {
  const size_t dash = text.find('-');
  if (dash == std::string_view::npos) return {false, {}, {}};
  return {true, text.substr(0, dash), text.substr(dash + 1)};
}

Value customisation_group(FactoryVersion& version, int& file) {
  const LongText path = package_path(kGroupMapping);
  Value group = value_of(path.c_str(), kGroupKey);
  if (!group.empty()) file = file_number(version, path.view());
  return group;
}

void fill_from_property_file(const char* path, const NetworkEntry& entry, FactoryVersion& version) {
  const PropertyFile file(path, version);
  if (file.fills(version.short_name, "ro.vendor.qve.swversion_short")) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated Short Version by Root Dir : %s\n", version.short_name.text);
  }
  if (file.replaces_network("ro.vendor.qve.opensw")) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated OPEN SW 1 by Root Dir : %s, %s \n", version.mcc.text,
                version.mnc.text);
  }
  if (fills_from_group(entry, version)) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated OPEN SW 2 by Root Dir : %s, %s \n", version.mcc.text,
                version.mnc.text);
  }
  if (file.fills(version.postfix, "ro.vendor.qve.swversion.postfix")) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated Postfix by Root Dir : %s\n", version.postfix.text);
  }
  if (file.fills(version.date, "ro.vendor.qve.swv_date")) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated Release Date by Root Dir : %s\n", version.date.text);
  }
  if (file.fills(version.hidden, "ro.vendor.qve.swversion_rev")) {
    DOMAIN_INFO("[QVE][SBP_VER]Updated Hidden Version by Root Dir : %s\n", version.hidden.text);
  }
}

}  // namespace fcx

int load_swv_components_from_file(char* file, char* mccmnc, char* subset, char* mcc, char* mnc,
                                  char* short_name, char* hidden, char* date, char* postfix) {
  for (const char* each : {file, mccmnc, subset, mcc, mnc, short_name, hidden, date, postfix}) {
    if (each == nullptr) return 1;
  }
  FactoryVersion version{};
  const std::pair<VersionSlot&, char*> slots[] = {
      {version.mcc, mcc},       {version.mnc, mnc},   {version.short_name, short_name},
      {version.hidden, hidden}, {version.date, date}, {version.postfix, postfix}};
  for (const auto& [slot, text] : slots) {
    fcx::put(slot, fcx::bounded_text(text, fcx::kLongestPiece), VersionSource::none, nullptr);
  }
  const fcx::PackageCache cache;
  fcx::fill_from_property_file(file, {mccmnc, subset}, version);
  for (const auto& [slot, text] : slots) copy_slot(slot, text);
  if (cache.unreadable() == nullptr) return 0;
  DOMAIN_INFO("%s: %s cannot be read\n", __func__, cache.unreadable());
  return 1;
}

int qve_parse_integration(char* root) {
  if (root == nullptr) return 0;
  if (fexists(joined(root, kUnifiedMapping).c_str()) != 0) return 2;
  if (fexists(package_path(kOpenMapping).c_str()) == 0) return 0;
  return package_path(kOpenRoot).view() == root ? 1 : 0;
}

int qve_integration_properties(char* out, const char* prop_file, const char* root) {
  if (out == nullptr || prop_file == nullptr || root == nullptr) return 0;
  const LongText given(prop_file);
  const std::string_view path = given.view();
  const size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return 0;
  const auto answer = [out](const LongText& chosen) {
    memcpy(out, chosen.c_str(), chosen.view().size() + 1);
  };
  if (qve_parse_integration(LongText(root).data()) == 2) {
    answer(joined(path.substr(0, slash), "/cust.prop"));
    return 1;
  }
  size_t end = slash;
  for (int marks = 0; marks < 3 && end != std::string_view::npos; ++marks) {
    end = path.find('_', end + 1);
  }
  LongText shortened = given;
  if (end != std::string_view::npos) {
    // From the first '.' of the whole path on, on purpose.
    shortened = joined(path.substr(0, end), path.substr(std::min(path.find('.'), path.size())));
    if (value_of(shortened.c_str(), "ro.vendor.qve.sbp.ui").c_str()[0] == '1') shortened = given;
  }
  answer(shortened);
  return shortened.view() == path ? 0 : 1;
}
