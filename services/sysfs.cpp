#include "services/sysfs.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>

#include "common/log.h"
#include "fcx/sysfs.h"

namespace {

constexpr int kWriting = O_WRONLY | O_CREAT | O_TRUNC;
constexpr mode_t kNewFileMode = 0666;  // the process's mask decides

void log_open_error(const char* function, const char* reason, const char* path) {
  DOMAIN_ERROR("%s: Open Error(%s): %s", function, reason, path);
}

/// Writes and closes. A failure is logged. @return 0 or -1
int write_and_close(const char* function, fcx::DeviceFile& file, const char* path,
                    std::string_view content) {
  const fcx::Result written = file.write(content);
  const fcx::Result closed = file.close();
  if (written.ok() && closed.ok()) return 0;
  DOMAIN_ERROR("%s: Write Error(%s): %s", function,
               written.ok() ? closed.reason() : written.reason(), path);
  return -1;
}

/// Gives a new file of a folder the folder's owner and mode.
void adopt(const char* function, const char* dir, const char* path) {
  if (fcx::give_owner_of(dir, path).ok()) {
    DOMAIN_INFO("ERI chown success\n");
  } else {
    DOMAIN_ERROR("ERI chwon failed\n");
  }
  const fcx::Result given = fcx::give_mode_of(dir, path);
  if (!given.ok()) DOMAIN_ERROR("%s: the mode of %s: %s\n", function, path, given.reason());
  // Whatever came of it, on purpose.
  DOMAIN_INFO("ERI chmod success\n");
}

}  // namespace

namespace fcx {

ReadResult read_attribute(const char* path, char* buffer, size_t size) {
  DeviceFile file(path, O_RDONLY);
  if (!file.is_open()) return ReadResult::failed(file.error());
  int64_t told = 0;
  if (const Result sought = file.size_by_seeking(told); !sought.ok()) {
    return ReadResult::failed(sought.error());
  }
  if (told < 0 || told > INT_MAX) return ReadResult::failed(EFBIG);
  return file.read(buffer, std::min(size, static_cast<size_t>(told)));
}

}  // namespace fcx

int check_sysfs(const char* path) {
  if (path == nullptr) {
    DOMAIN_ERROR("%s: no path\n", __func__);
    return -1;
  }
  const fcx::DeviceFile file(path, O_RDONLY);
  if (file.is_open()) return 0;
  if (!file.is_absent()) log_open_error(__func__, file.reason(), path);
  return -1;
}

int read_sysfs(const char* path, char* buf, int n) {
  if (path == nullptr || buf == nullptr || n < 0) {
    DOMAIN_ERROR("%s: no path, or nothing to read into\n", __func__);
    return -1;
  }
  const auto size = static_cast<size_t>(n);
  memset(buf, 0, size);
  fcx::DeviceFile file(path, O_RDONLY);
  if (!file.is_open()) {
    log_open_error(__func__, file.reason(), path);
    return -1;
  }
  const fcx::ReadResult read = file.read(buf, size);
  if (!read.has_content()) DOMAIN_ERROR("%s: Read Error(%s): %s", __func__, read.reason(), path);
  return n;
}

int read_sysfs(const char* path, char* buf) {
  if (path == nullptr || buf == nullptr) {
    DOMAIN_ERROR("%s: no path, or nothing to read into\n", __func__);
    return -1;
  }
  const fcx::ReadResult read = fcx::read_attribute(path, buf, INT_MAX);
  if (read.has_content()) return static_cast<int>(read.size());
  log_open_error(__func__, read.reason(), path);
  return -1;
}

int write_sysfs(const char* path, const char* buf, int n) {
  if (path == nullptr || buf == nullptr || n < 0) {
    DOMAIN_ERROR("%s: no path, or nothing to write\n", __func__);
    return -1;
  }
  fcx::DeviceFile file(path, kWriting, kNewFileMode);
  if (!file.is_open()) {
    log_open_error(__func__, file.reason(), path);
    return -1;
  }
  return write_and_close(__func__, file, path, {buf, static_cast<size_t>(n)});
}

int write_eri_sysfs(const char* path, const char* dir, const char* buf, int n) {
  constexpr mode_t kFolderMode = 0755;
  if (path == nullptr || dir == nullptr || buf == nullptr || n < 0) {
    DOMAIN_ERROR("%s: no path, or nothing to write\n", __func__);
    return -1;
  }
  std::optional<fcx::DeviceFile> file(std::in_place, path, kWriting, kNewFileMode);
  if (!file->is_open()) {
    const fcx::Result made = fcx::make_device_directory(dir, kFolderMode);
    // One that is there is not why the file could not be opened.
    if (!made.ok() && made.error() != EEXIST) {
      DOMAIN_ERROR("%s: %s: %s\n", __func__, dir, made.reason());
    }
    file.emplace(path, kWriting, kNewFileMode);
  }
  if (!file->is_open()) {
    log_open_error(__func__, file->reason(), path);
    return -1;
  }
  const int written = write_and_close(__func__, *file, path, {buf, static_cast<size_t>(n)});
  adopt(__func__, dir, path);
  return written;
}
