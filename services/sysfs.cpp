#include "fcx/sysfs.h"

#include <fcntl.h>

#include "common/files.h"
#include "common/log.h"

int write_sysfs(const char* path, const char* buf, int n) {
  constexpr mode_t kNewFileMode = 0666;  // the process's mask decides
  if (path == nullptr || buf == nullptr || n < 0) {
    DOMAIN_ERROR("%s: no path, or nothing to write\n", __func__);
    return -1;
  }
  fcx::DeviceFile file(path, O_WRONLY | O_CREAT | O_TRUNC, kNewFileMode);
  if (!file.is_open()) {
    DOMAIN_ERROR("%s: Open Error(%s): %s", __func__, file.reason(), path);
    return -1;
  }
  const fcx::Result written = file.write({buf, static_cast<size_t>(n)});
  const fcx::Result closed = file.close();
  if (written.ok() && closed.ok()) return 0;
  DOMAIN_ERROR("%s: Write Error(%s): %s", __func__,
               written.ok() ? closed.reason() : written.reason(), path);
  return -1;
}
