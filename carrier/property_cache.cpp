#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/property_cache.h"
#include "common/files.h"
#include "common/immortal.h"
#include "fcx/single_binary.h"
#include "fcx/sync.h"

namespace {

constexpr char kDirectory[] = "/mnt/vendor/persist-qv/property";
constexpr char kTemporaryBeginning[] = ".temp.";
constexpr char kTemporary[] = "/mnt/vendor/persist-qv/property/.temp.XXXXXX";

/// Held while there are temporary files of this process.
struct Turn {
  Mutex mutex;
};
Mutex& turn() { return fcx::immortal<Turn>().mutex; }

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

bool is_regular(const fcx::UniqueFd& fd, const char* path) {
  struct stat found {};
  if (fstat(fd.get(), &found) == 0) return S_ISREG(found.st_mode);
  SBP_LOG("[QVE][SBP] fstat on cache file \"%s\" failed errno: %d\n", path, errno);
  return false;
}

/// Replaces one file, whose directory is still to be flushed. @return whether it was
bool replace_cache_file(const char* name, std::string_view value) {
  const fcx::LongText path = cache_file(name);
  const std::lock_guard lock(turn());
  fcx::FileReplacement file(path.c_str(), kTemporary);
  if (file.write(value.substr(0, fcx::kLongestProperty)) != 0) {
    SBP_LOG("[QVE][SBP] Unable to write cache property to temp file %s errno: %d\n",
            file.temporary_path(), errno);
    return false;
  }
  if (file.put_in_place() == 0) return true;
  SBP_LOG("[QVE][SBP] Unable to rename cache property file %s to %s\n", file.temporary_path(),
          path.c_str());
  return false;
}

}  // namespace

int qve_read_property_persist_cache(const char* name, char* value) {
  if (!is_cacheable(name) || value == nullptr) return 1;
  const fcx::LongText path = cache_file(name);
  // Without blocking: what has that name may be no file.
  const fcx::UniqueFd fd = fcx::open_device_file(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (!fd.is_open() || !is_regular(fd, path.c_str())) return 1;
  fcx::PropertyText found;
  if (fcx::read_device_file(fd, path.c_str(), found.data(), fcx::kLongestProperty) < 0) return 1;
  memcpy(value, found.c_str(), found.view().size() + 1);
  return 0;
}

void qve_write_property_persist_cache(const char* name, const char* value) {
  if (!is_cacheable(name) || value == nullptr) return;
  fcx::cache_properties({{name, value}});
}

bool fcx::cache_properties(std::initializer_list<CachedProperty> properties) {
  bool is_cached = true;
  for (const CachedProperty& each : properties) {
    is_cached = replace_cache_file(each.name, each.value) && is_cached;
  }
  return flush_directory_of(kTemporary) == 0 && is_cached;
}

void fcx::remove_cut_cache_files() {
  const std::lock_guard lock(turn());
  remove_device_files(kDirectory, kTemporaryBeginning);
}
