#include "carrier/stored_properties.h"

#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/state.h"
#include "common/lines.h"

namespace fcx {
namespace {

/// Calls `use(name, value)` for each line of two words; the first separator ends the name. A line
/// without a value sets nothing.
template <typename Use>
void for_each_property(const char* device_path, char separator, Use use) {
  DeviceFileLines lines(device_path, DeviceFileLines::kLongest);
  while (const auto line = lines.next()) {
    std::string_view value = without_return(*line);
    const std::string name(take_until(value, separator));
    if (!name.empty() && !value.empty()) use(name.c_str(), std::string(value).c_str());
  }
}

/// The words of kelp.prop are separated by blanks: what stands after the second counts for
/// nothing.
template <typename Use>
void for_each_pair(Use use) {
  if (carrier_state().is_stored_profile_stale) return;
  for_each_property(kCarrierProperties, ' ', [&](const char* name, const char* value) {
    std::string_view rest = value;
    if (const auto word = take_token(rest, ' '); word.has_value()) {
      use(name, std::string(*word).c_str());
    }
  });
}

}  // namespace

void StoredProperties::add(const char* name, char separator, const char* value) {
  lines_.append(name).append(1, separator).append(value).append(1, '\n');
}

bool StoredProperties::store(const char* device_path) const {
  const Result stored = replace_device_file(device_path, lines_);
  if (stored.ok()) return true;
  SBP_LOG("[QVE][SBP] %s cannot be written: %s\n", device_path, stored.reason());
  return false;
}

void complete_listed_carrier() {
  bool is_first = true;
  bool is_begun = false;
  for_each_pair([&](const char* name, const char* value) {
    const bool is_set = read_property(name).view() == value;
    if (is_first) is_begun = is_set;
    is_first = false;
    if (is_begun && !is_set) publish(name, value);
  });
}

void restore_sap_feature() {
  for_each_pair([](const char* name, const char* value) {
    publish(name, value);
    SBP_LOG("[QVE][SBP] restored property [%s]: [%s]\n", name, value);
  });
}

void restore_carrier_properties() {
  for_each_pair([](const char* name, const char* value) {
    publish(name, value);
    SBP_LOG("[QVE][SBP] secure boot :  restored property [%s]: [%s]\n", name, value);
  });
}

void qve_app_property_copy() {
  for (const char* file : {kPermanentProperties, kFeatureProperties}) {
    for_each_property(file, '=', publish_once);
  }
}

}  // namespace fcx
