// Properties that carrier set-up keeps in files, for starts to come.
#pragma once

#include <string>

namespace fcx {

/// Properties that are being collected for a file, one line each.
class StoredProperties {
 public:
  /// Name, separator, value.
  void add(const char* name, char separator, const char* value);
  bool empty() const { return lines_.empty(); }
  /// Replaces the file by these lines. False, and a line in the log, when that did not work.
  [[nodiscard]] bool store(const char* device_path) const;

 private:
  std::string lines_;
};

/// Sets the carrier's properties again, from kelp.prop.
void restore_sap_feature();
/// Sets what is left of a carrier whose first property, in kelp.prop, is set: a start was
/// interrupted among them.
void complete_listed_carrier();
/// As restore_sap_feature(), during an encrypted start.
void restore_carrier_properties();

/// Sets the properties of perm.prop and of feature.prop.
void qve_app_property_copy();

}  // namespace fcx
