#include "carrier/properties.h"

#include "carrier/package/state.h"

namespace fcx {

bool set_property(const char* name, const char* value) {
  if (write_property(name, value).ok()) return true;
  SBP_LOG("[QVE][SBP] %s cannot be set\n", name);
  return false;
}

bool set_property(const char* name, const PropertyText& value) {
  return set_property(name, value.c_str());
}

void publish(const char* name, const char* value) {
  static_cast<void>(set_property(name, value));  // a refusal has been logged
}

void publish(const char* name, const PropertyText& value) { publish(name, value.c_str()); }

void publish_once(const char* name, const char* value) {
  const bool is_read_only = std::string_view(name).substr(0, 3) == "ro.";
  if (!is_read_only || read_property(name).empty()) publish(name, value);
}

PropertyText decrypt_status() { return read_property("vold.decrypt"); }

bool is_sim_base() { return read_property("ro.vendor.qve.simbase").view() == "1"; }

}  // namespace fcx
