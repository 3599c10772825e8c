// The phone's system properties. Values have at most 91 characters; a name that begins with "ro."
// can be set once until the next restart; "persist." survives a restart, all others do not.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// Whether a property can have this name: letters, digits and the marks that the property service
/// allows; dots only between them.
bool is_property_name(std::string_view name);

std::optional<std::string> get_property(Phone& phone, std::string_view name);

/// Throws Refused when the phone would refuse it.
void set_property(Phone& phone, std::string_view name, std::string_view value);

/// Sets a property of the image: at once, and again with every restart, whatever it is called.
/// Throws Refused for what no property can be.
void set_build_property(Phone& phone, std::string_view name, std::string_view value);

/// Names and values, by name.
std::vector<std::pair<std::string, std::string>> properties(Phone& phone);

struct PropertyChange {
  std::string name;
  std::optional<std::string> before;  ///< nothing when it was not set
  std::string after;
};

/// Calls `observer`, under a lock, with each property that this process sets through property_set()
/// from now on, in the order in which they are set, also where the value stays the same. It may
/// read properties, and set none. An empty one ends it.
void observe_properties(std::function<void(const PropertyChange&)> observer);

}  // namespace virtual_phone
