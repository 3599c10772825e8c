#include "carrier/property_cache.h"

#include <fcntl.h>

#include <cstring>

#include "carrier/package/state.h"
#include "fcx/single_binary.h"

namespace {

constexpr char kDirectory[] = "/mnt/vendor/persist-qv/property";
constexpr mode_t kCacheFileMode = 0600;

/// Whether a name is one file's in the directory, and no other place's.
bool is_cacheable(const char* name) {
  return name != nullptr && name[0] != '\0' && strchr(name, '/') == nullptr;
}

fcx::LongText cache_file(const char* name) {
  fcx::LongText path(kDirectory);
  path.append("/");
  path.append(name);
  return path;
}

/// Replaces one file, whose directory is still to be flushed. @return whether it was
bool replace_cache_file(const char* name, std::string_view value) {
  const fcx::LongText path = cache_file(name);
  fcx::FileReplacement file(path.c_str(), fcx::FileReplacement::Unwritable::is_replaced,
                            kCacheFileMode);
  const fcx::Result written = file.write(value.substr(0, fcx::kLongestProperty));
  if (!written.ok()) {
    SBP_LOG("[QVE][SBP] Unable to write cache property to temp file %s errno: %d\n",
            file.temporary_path(), written.error());
    return false;
  }
  if (file.put_in_place().ok()) return true;
  SBP_LOG("[QVE][SBP] Unable to rename cache property file %s to %s\n", file.temporary_path(),
          path.c_str());
  return false;
}

}  // namespace

int qve_read_property_persist_cache(const char* name, char* value) {
  fcx::PropertyText found;
  if (value == nullptr || !fcx::read_cached_property(name, found).has_content()) return 1;
  memcpy(value, found.c_str(), found.view().size() + 1);
  return 0;
}

void qve_write_property_persist_cache(const char* name, const char* value) {
  if (!is_cacheable(name) || value == nullptr) return;
  static_cast<void>(fcx::cache_properties({{name, value}}));  // a failure has been logged
}

fcx::ReadResult fcx::read_cached_property(const char* name, PropertyText& value) {
  if (!is_cacheable(name)) return ReadResult::failed(ENOENT);
  const LongText path = cache_file(name);
  DeviceFile file(path.c_str(), O_RDONLY);
  if (!file.is_open()) return ReadResult::failed(file.error());
  struct stat found {};
  if (const Result status = file.status(found); !status.ok()) {
    SBP_LOG("[QVE][SBP] fstat on cache file \"%s\" failed errno: %d\n", path.c_str(),
            status.error());
    return ReadResult::failed(EIO);
  }
  if (!S_ISREG(found.st_mode)) return ReadResult::failed(EISDIR);
  return file.read(value.data(), kLongestProperty);
}

bool fcx::cache_properties(std::initializer_list<CachedProperty> properties) {
  bool is_cached = true;
  for (const CachedProperty& each : properties) {
    is_cached = replace_cache_file(each.name, each.value) && is_cached;
  }
  const Result flushed = flush_directory_of(cache_file("any").c_str());
  if (!flushed.ok()) {
    SBP_LOG("[QVE][SBP] %s cannot be flushed: %s\n", kDirectory, flushed.reason());
  }
  return flushed.ok() && is_cached;
}

void fcx::clear_property_cache() { clear_temporaries(kDirectory); }
