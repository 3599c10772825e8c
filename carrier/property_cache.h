// Properties that survive a wipe of the property service, one file each.
#pragma once

#include <initializer_list>

#include "common/files.h"
#include "common/properties.h"

namespace fcx {

/// What the cache holds for a property, cut at 91 characters. A name that is no file's is absent.
ReadResult read_cached_property(const char* name, PropertyText& value);

struct CachedProperty {
  const char* name;
  const char* value;
};

/// Writes properties as qve_write_property_persist_cache() does, and flushes their directory once.
/// @return whether all of them are on disk
[[nodiscard]] bool cache_properties(std::initializer_list<CachedProperty> properties);

/// Removes what interrupted writes have left.
void clear_property_cache();

}  // namespace fcx
