#include "carrier/sim_profile.h"

#include <initializer_list>
#include <optional>

#include "carrier/client_ids.h"
#include "carrier/package/files.h"
#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/property_cache.h"
#include "carrier/stored_carrier_codes.h"
#include "carrier/stored_properties.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/single_binary.h"

namespace {

using fcx::PropertyText;
using fcx::XmlAttribute;
using fcx::XmlDocument;
using fcx::XmlReading;

constexpr size_t kDateLength = 10;

const xmlNode* profiles_of(const XmlDocument& document) {
  const xmlNode* root = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
  return root != nullptr && fcx::is_element(root, "profiles") ? root : nullptr;
}

/// The stored file, wherever it is now. That there is none is no reason for a line in the log.
XmlReading read_stored(const char* file) {
  if (fcx::presence_of(file) == fcx::Presence::absent) return {fcx::XmlFound::absent, nullptr};
  return fcx::read_device_xml(file);
}

struct BothFiles {
  XmlReading stored;
  XmlReading package;
};

/// Reads the package's file through the stored one's name. Nothing when that could not be prepared,
/// or not be ended: the next start ends it.
std::optional<BothFiles> read_through_stored_name(const char* package_file) {
  if (const fcx::Result aside = fcx::set_stored_codes_aside(); !aside.ok()) {
    SBP_LOG("[QVE][SBP] %s cannot be set aside: %s\n", fcx::kStoredCarrierCodes, aside.reason());
    return std::nullopt;
  }
  BothFiles both{read_stored(fcx::kStoredAside), fcx::read_package_xml(package_file)};
  // A copy that is no XML stays, on purpose: it can be looked at.
  const fcx::Result back = both.package.found == fcx::XmlFound::no_xml
                               ? fcx::put_stored_codes_back_or_keep_copy()
                               : fcx::put_stored_codes_back();
  if (back.ok()) return both;
  SBP_LOG("[QVE][SBP] %s cannot be put back: %s\n", fcx::kStoredCarrierCodes, back.reason());
  return std::nullopt;
}

bool is_newer(const xmlNode* stored, const xmlNode* package) {
  if (package == nullptr) return true;
  const XmlAttribute stored_date(stored, "date");
  const XmlAttribute package_date(package, "date");
  return stored_date.view().size() == kDateLength && package_date.view().size() == kDateLength &&
         stored_date.view() > package_date.view();
}

/// The first profile for the ICCID; null when there is none.
const xmlNode* find_profile(const xmlNode* profiles, std::string_view iccid) {
  const xmlNode* found = nullptr;
  fcx::any_child(profiles, "profile", [&](const xmlNode* profile) {
    const XmlAttribute prefix(profile, "iccid");
    if (prefix.view().empty()) {
      SBP_LOG("[QVE][SBP] No iccid, Continue");
      return false;
    }
    if (iccid.substr(0, prefix.view().size()) != prefix.view()) return false;
    found = profile;
    return true;
  });
  return found;
}

/// The profile that an element holds; nothing when a value of it cannot be set.
std::optional<fcx::SimProfile> read_profile(const xmlNode* element, const char* iccid) {
  fcx::SimProfile profile;
  if (!XmlAttribute(element, "carrier_code_fast").fits(profile.carrier) ||
      !XmlAttribute(element, "carrier_code_sub").fits(profile.sub_carrier) ||
      !XmlAttribute(element, "country").fits(profile.country)) {
    return std::nullopt;
  }
  SBP_LOG("[QVE][SBP] found matched carrier code : [%s]: [%s]", iccid, profile.carrier.c_str());
  if (profile.sub_carrier.empty()) {
    profile.sub_carrier = profile.carrier;
    SBP_LOG(
        "[QVE][SBP] Not found matched carrier code sub, so input fast carrier into sub carrier. "
        "[%s]: [%s]",
        iccid, profile.sub_carrier.c_str());
  }
  return profile;
}

using Properties = std::initializer_list<fcx::CachedProperty>;

/// Lists a carrier's properties in kelp.prop, by which every start sets them again. @return false
/// when that failed: then there is no list, or still an earlier SIM's
bool list(Properties properties) {
  fcx::StoredProperties lines;
  for (const auto& [name, value] : properties) lines.add(name, ' ', value);
  const bool is_listed = lines.store(fcx::kCarrierProperties);
  fcx::carrier_state().is_stored_profile_stale = !is_listed;
  if (is_listed) return true;
  // What it holds is an earlier SIM's.
  if (const fcx::Result removed = fcx::remove_device_file(fcx::kCarrierProperties); !removed.ok()) {
    SBP_LOG("[QVE][SBP] %s cannot be removed: %s\n", fcx::kCarrierProperties, removed.reason());
  }
  return false;
}

/// @return whether all of them are set, and in the cache
bool set_and_cache(Properties properties) {
  bool is_set = true;
  for (const auto& [name, value] : properties) is_set = fcx::set_property(name, value) && is_set;
  return fcx::cache_properties(properties) && is_set;
}

/// The list comes first: by it the next start sets them all, wherever this one is interrupted.
bool keep(const fcx::SimProfile& profile) {
  const Properties properties = {{fcx::kSimOperatorProperty, profile.carrier.c_str()},
                                 {fcx::kSimCountryProperty, profile.country.c_str()},
                                 {fcx::kSimSubOperatorProperty, profile.sub_carrier.c_str()}};
  const bool is_listed = list(properties);
  return set_and_cache(properties) && is_listed;
}

/// Whether an element of feature_code.xml is for that carrier. One without a sub-carrier is for
/// all of them.
bool is_for(const xmlNode* element, const fcx::SimProfile& profile) {
  const XmlAttribute sub(element, "sub");
  return XmlAttribute(element, "fast").view() == profile.carrier.view() &&
         (sub.view().empty() || sub.view() == profile.sub_carrier.view());
}

/// The newer one of the stored and the package's file, and whether its date is published.
struct LatestCodes {
  XmlDocument document;
  bool is_dated = true;
};

LatestCodes latest_carrier_codes(const char* package_file) {
  std::optional<BothFiles> both;
  if (fcx::passes_as_copy(package_file)) {
    both = read_through_stored_name(package_file);
  } else {
    both = BothFiles{read_stored(fcx::kStoredCarrierCodes), fcx::read_package_xml(package_file)};
  }
  // Which is the newer one nobody knows unless both could be read: the next start may.
  if (!both.has_value() || both->stored.has_failed() || both->package.has_failed()) return {};
  XmlDocument& stored = both->stored.document;
  XmlDocument& package = both->package.document;
  const bool takes_stored =
      profiles_of(stored) != nullptr && is_newer(profiles_of(stored), profiles_of(package));
  LatestCodes latest{std::move(takes_stored ? stored : package)};
  const xmlNode* profiles = profiles_of(latest.document);
  if (profiles == nullptr) return {};
  PropertyText date;
  if (XmlAttribute(profiles, "date").fits(date)) {
    latest.is_dated = fcx::set_property("persist.vendor.qve.carriercode.date", date);
  }
  return latest;
}

}  // namespace

_xmlDoc* get_latest_carrier_code_file(const char* package_file) {
  return package_file == nullptr ? nullptr : latest_carrier_codes(package_file).document.release();
}

namespace fcx {

std::string carrier_code_date(std::string_view text) {
  const XmlDocument document = parse_xml(text);
  const xmlNode* profiles = profiles_of(document);
  return profiles == nullptr ? "" : std::string(XmlAttribute(profiles, "date").view());
}

std::string profile_file(const char* name) {
  return std::string(read_property(kPackageRootProperty, "/OP").view()).append(name);
}

bool qve_parse_sim_auto_profile(const char* iccid, SimProfile& profile) {
  profile = {};
  const std::string file = profile_file(kCarrierCodes);
  switch (find_package_file(file.c_str())) {
    case Presence::absent:
      SBP_LOG("[QVE][SBP] carrier_code.xml does not exist");
      return true;
    case Presence::unknown:
      SBP_LOG("[QVE][SBP] %s cannot be read\n", file.c_str());
      return false;
    case Presence::present:
      break;
  }
  const LatestCodes latest = latest_carrier_codes(file.c_str());
  if (latest.document == nullptr) return false;  // the next start may be able to read it
  const xmlNode* element = find_profile(profiles_of(latest.document), iccid);
  const auto found = element == nullptr ? std::nullopt : read_profile(element, iccid);
  profile = found.value_or(SimProfile());
  const bool is_kept = found.has_value() ? keep(profile) : list({});
  // The next start publishes a date that could not be.
  return is_kept && latest.is_dated;
}

bool qve_parse_sim_auto_feature_profile(const SimProfile& profile) {
  switch (presence_of(kPermanentProperties)) {
    case Presence::present:
      SBP_LOG("[QVE][SBP] %s already exists.", kPermanentProperties);
      return true;
    case Presence::unknown:
      return false;
    case Presence::absent:
      break;
  }
  const std::string file = profile_file(kFeatureCodes);
  const Presence presence = find_package_file(file.c_str());
  if (presence != Presence::present) return presence == Presence::absent;
  const XmlReading reading = read_package_xml(file.c_str());
  if (reading.document == nullptr) return !reading.has_failed();
  const XmlDocument& document = reading.document;
  StoredProperties features;
  StoredProperties permanent;
  any_child(xmlDocGetRootElement(document.get()), "carrier_property", [&](const xmlNode* element) {
    if (!is_for(element, profile)) return false;
    for_each_string(element, [&](const char* name, const char* value) {
      if (std::string_view(name) == kClientIdBase) {
        permanent.add(name, '=', value);
        SBP_LOG("[QVE][SBP] write permanet props: [%s]: [%s]\n", name, value);
      } else {
        features.add(name, '=', value);
      }
    });
    return true;
  });
  // perm.prop last: once it is there, nothing of this is done again.
  return features.store(kFeatureProperties) &&
         (permanent.empty() || permanent.store(kPermanentProperties));
}

bool apply_sim_profile(const char* iccid) {
  SimProfile profile;
  if (!qve_parse_sim_auto_profile(iccid, profile)) return false;
  if (profile.carrier.empty()) return true;
  if (const Presence settled = presence_of(kPermanentProperties); settled != Presence::absent) {
    return settled == Presence::present;
  }
  // Features that were not kept come first: a perm.prop would keep them from being tried again.
  const CarrierState& state = carrier_state();
  if (state.is_feature_file_unknown) return false;
  if (state.has_feature_codes && !qve_parse_sim_auto_feature_profile(profile)) return false;
  return qve_define_googleID_base_carrier(profile);
}

}  // namespace fcx
