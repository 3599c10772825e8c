// Properties that survive a wipe of the property service, one file each.
#pragma once

#include <initializer_list>

namespace fcx {

struct CachedProperty {
  const char* name;
  const char* value;
};

/// Writes properties as qve_write_property_persist_cache() does, and flushes their directory once.
/// @return whether all of them are on disk
bool cache_properties(std::initializer_list<CachedProperty> properties);

/// Removes what starts have left of temporary files that lost their power while they wrote one:
/// nobody else would, since each has a name of its own.
void remove_cut_cache_files();

}  // namespace fcx
