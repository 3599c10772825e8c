// The phone's system properties. Values have at most 91 characters; a name that begins with "ro."
// can be set once until the next restart; "persist." survives a restart, all others do not.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_phone/phone.h"

namespace virtual_phone {

std::optional<std::string> get_property(Phone& phone, std::string_view name);

/// Throws Refused when the phone would refuse it.
void set_property(Phone& phone, std::string_view name, std::string_view value);

/// Names and values, by name.
std::vector<std::pair<std::string, std::string>> properties(Phone& phone);

}  // namespace virtual_phone
