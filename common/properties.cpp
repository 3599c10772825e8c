#include "common/properties.h"

#include <cutils/properties.h>

namespace fcx {

static_assert(kLongestProperty == PROPERTY_VALUE_MAX - 1);

PropertyText read_property(const char* name, const char* default_value) {
  PropertyText value;
  property_get(name, value.data(), default_value);
  return value;
}

Result write_property(const char* name, const char* value) {
  return property_set(name, value) == 0 ? Result() : Result::failed(EINVAL);
}

}  // namespace fcx
