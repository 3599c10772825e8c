// System properties.
#pragma once

#include "common/result.h"
#include "common/text.h"

namespace fcx {

/// Characters of a value.
constexpr size_t kLongestProperty = 91;
using PropertyText = TextBuffer<kLongestProperty>;

/// A property's value, or the default for one that is empty or not set.
PropertyText read_property(const char* name, const char* default_value = "");

/// Sets a property. One that is refused stays as it was; nobody says why.
Result write_property(const char* name, const char* value);

}  // namespace fcx
