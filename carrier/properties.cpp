#include "carrier/properties.h"

#include <cutils/properties.h>

static_assert(fcx::kLongestProperty == PROPERTY_VALUE_MAX - 1);

namespace fcx {

PropertyText read_property(const char* name, const char* default_value) {
  PropertyText value;
  property_get(name, value.data(), default_value);
  return value;
}

void write_property(const char* name, const char* value) {
  if (property_set(name, value) != 0) SBP_LOG("[QVE][SBP] %s cannot be set\n", name);
}

void write_property(const char* name, const PropertyText& value) {
  write_property(name, value.c_str());
}

void publish_property(const char* name, const char* value) {
  const bool is_read_only = std::string_view(name).substr(0, 3) == "ro.";
  if (!is_read_only || read_property(name).empty()) write_property(name, value);
}

PropertyText decrypt_status() { return read_property("vold.decrypt"); }

bool is_sim_base() { return read_property("ro.vendor.qve.simbase").view() == "1"; }

}  // namespace fcx
