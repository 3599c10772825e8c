#include "carrier/sim_profile.h"

#include <optional>

#include "carrier/client_ids.h"
#include "carrier/package/paths.h"
#include "carrier/package/xml.h"
#include "carrier/properties.h"
#include "carrier/property_cache.h"
#include "carrier/stored_properties.h"
#include "common/files.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/single_binary.h"

namespace {

using fcx::PropertyText;
using fcx::XmlAttribute;
using fcx::XmlDocument;

constexpr size_t kDateLength = 10;

/// Where the stored file waits while a copy of the package's passes through its name.
constexpr char kStoredAside[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml.stored";

const xmlNode* profiles_of(const XmlDocument& document) {
  const xmlNode* root = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
  return root != nullptr && fcx::is_element(root, "profiles") ? root : nullptr;
}

/// Whether the package's file is copied over the stored one to be read.
bool passes_through_stored_name(const char* package_file) {
  return e_is_overlayfs && is_system_path(package_file) != 0;
}

/// Keeps the stored file out of the way of the copy, by a file aside that is there as long as the
/// copy may be: the stored file itself, or an empty one when nothing was stored. A start that finds
/// one was interrupted before, and what has the stored file's name is a left-over copy.
class StoredCarrierCodes {
 public:
  explicit StoredCarrierCodes(const char* package_file) {
    if (!passes_through_stored_name(package_file)) return;
    file_ = kStoredAside;
    if (fcx::device_file_exists(kStoredAside)) {
      fcx::remove_device_file(fcx::kStoredCarrierCodes);
    } else if (fcx::device_file_exists(fcx::kStoredCarrierCodes)) {
      fcx::rename_device_file(fcx::kStoredCarrierCodes, kStoredAside);
    } else {
      fcx::replace_device_file(kStoredAside, "");
    }
  }
  ~StoredCarrierCodes() {
    if (file_ != kStoredAside) return;
    if (is_empty()) {
      fcx::remove_device_file(kStoredAside);
    } else {
      fcx::rename_device_file(kStoredAside, fcx::kStoredCarrierCodes);
    }
  }
  StoredCarrierCodes(const StoredCarrierCodes&) = delete;
  StoredCarrierCodes& operator=(const StoredCarrierCodes&) = delete;

  XmlDocument parse() const { return is_empty() ? nullptr : fcx::parse_device_xml(file_); }

 private:
  /// Or not there.
  bool is_empty() const {
    char first;
    return fcx::DeviceFileReader(file_).read(&first, 1) < 1;
  }

  const char* file_ = fcx::kStoredCarrierCodes;
};

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

/// Sets a carrier's properties, and keeps them here and in the cache. @return whether they are kept
bool set_and_keep(const fcx::SimProfile& profile, fcx::StoredProperties& kept) {
  const std::initializer_list<fcx::CachedProperty> properties = {
      {fcx::kSimOperatorProperty, profile.carrier.c_str()},
      {fcx::kSimCountryProperty, profile.country.c_str()},
      {fcx::kSimSubOperatorProperty, profile.sub_carrier.c_str()},
  };
  for (const auto& [name, value] : properties) {
    fcx::write_property(name, value);
    kept.add(name, ' ', value);
  }
  return fcx::cache_properties(properties);
}

/// Whether an element of feature_code.xml is for that carrier. One without a sub-carrier is for
/// all of them.
bool is_for(const xmlNode* element, const fcx::SimProfile& profile) {
  const XmlAttribute sub(element, "sub");
  return XmlAttribute(element, "fast").view() == profile.carrier.view() &&
         (sub.view().empty() || sub.view() == profile.sub_carrier.view());
}

}  // namespace

_xmlDoc* get_latest_carrier_code_file(const char* package_file) {
  if (package_file == nullptr) return nullptr;
  const StoredCarrierCodes stored_file(package_file);
  XmlDocument stored = stored_file.parse();
  XmlDocument package(getXmlParseFile(package_file));
  const bool takes_stored =
      profiles_of(stored) != nullptr && is_newer(profiles_of(stored), profiles_of(package));
  XmlDocument latest = std::move(takes_stored ? stored : package);
  const xmlNode* profiles = profiles_of(latest);
  if (profiles == nullptr) return nullptr;
  PropertyText date;
  if (XmlAttribute(profiles, "date").fits(date)) {
    fcx::write_property("persist.vendor.qve.carriercode.date", date);
  }
  return latest.release();
}

namespace fcx {

std::string profile_file(const char* name) {
  return std::string(read_property(kPackageRootProperty, "/OP").view()).append(name);
}

bool qve_parse_sim_auto_profile(const char* iccid, SimProfile& profile) {
  profile = {};
  const std::string file = profile_file(kCarrierCodes);
  if (fexists(file.c_str()) == 0) {
    SBP_LOG("[QVE][SBP] carrier_code.xml does not exist");
    return true;
  }
  const XmlDocument document(get_latest_carrier_code_file(file.c_str()));
  if (document == nullptr) return false;  // the next start may be able to read it
  const xmlNode* element = find_profile(profiles_of(document), iccid);
  const auto found = element == nullptr ? std::nullopt : read_profile(element, iccid);
  profile = found.value_or(SimProfile());
  StoredProperties lines;
  const bool is_cached = !found.has_value() || set_and_keep(profile, lines);
  const bool is_kept = lines.store(kCarrierProperties) && is_cached;
  carrier_state().is_stored_profile_stale = !is_kept;
  if (!is_kept) remove_device_file(kCarrierProperties);
  return is_kept;
}

bool qve_parse_sim_auto_feature_profile(const SimProfile& profile) {
  if (device_file_exists(kPermanentProperties)) {
    SBP_LOG("[QVE][SBP] %s already exists.", kPermanentProperties);
    return true;
  }
  const std::string file = profile_file(kFeatureCodes);
  if (fexists(file.c_str()) == 0) return true;
  const XmlDocument document(getXmlParseFile(file.c_str()));
  if (document == nullptr) return true;
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
  if (profile.carrier.empty() || device_file_exists(kPermanentProperties)) return true;
  // Features that were not kept come first: a perm.prop would keep them from being tried again.
  if (carrier_state().has_feature_codes && !qve_parse_sim_auto_feature_profile(profile)) {
    return false;
  }
  return qve_define_googleID_base_carrier(profile);
}

}  // namespace fcx
