#include "fcx/sysfs.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "common/files.h"
#include "common/log.h"

int write_sysfs(const char* path, const char* buf, int n) {
  constexpr mode_t kNewFileMode = 0666;  // the process's mask decides
  if (path == nullptr || buf == nullptr || n < 0) {
    DOMAIN_ERROR("%s: no path, or nothing to write\n", __func__);
    return -1;
  }
  const fcx::UniqueFd file =
      fcx::open_device_file(path, O_WRONLY | O_CREAT | O_TRUNC, kNewFileMode);
  if (!file.is_open()) {
    DOMAIN_ERROR("%s: Open Error(%s): %s", __func__, strerror(errno), path);
    return -1;
  }
  if (fcx::write_device_file(file, path, {buf, static_cast<size_t>(n)}) == 0) return 0;
  DOMAIN_ERROR("%s: Write Error(%s): %s", __func__, strerror(errno), path);
  return -1;
}
