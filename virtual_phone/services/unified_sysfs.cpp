// The vendor's unified sysfs library: nodes of power and display, without waiting for any.
#include "platform/unified_sysfs.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/device_home.h"
#include "virtual_phone/core/node.h"

namespace {

using android::base::unique_fd;
using fcx::FileFault;
using fcx::FileOperation;

/// Opens a node of the selected phone, unless a fault lets that fail.
unique_fd open_node(const char* path, int flags) {
  const virtual_phone::Phone* phone = virtual_phone::selected_or_null();
  if (phone == nullptr) return {};
  const FileFault fault = fcx::platform_file_fault(path, FileOperation::open);
  if (fault.error == 0) return virtual_phone::open_node(*phone, path, flags);
  errno = fault.error;
  return {};
}

}  // namespace

int unified_sysfs_read(const char* path, char* buffer, int length) {
  if (path == nullptr || buffer == nullptr || length < 0) return -1;
  const unique_fd node = open_node(path, O_RDONLY);
  if (!node.ok()) return -1;
  const FileFault fault = fcx::platform_file_fault(path, FileOperation::read);
  errno = fault.error;
  if (fault.error != 0) return -1;
  return static_cast<int>(
      read(node.get(), buffer, std::min(static_cast<size_t>(length), fault.limit)));
}

int unified_sysfs_write(const char* path, const char* buffer, int length) {
  if (path == nullptr || buffer == nullptr || length < 0) return -1;
  const unique_fd node = open_node(path, O_WRONLY | O_TRUNC);
  if (!node.ok()) return -1;
  const FileFault fault = fcx::platform_file_fault(path, FileOperation::write);
  const auto wanted = static_cast<size_t>(length);
  if (fault.error != 0 || fault.limit < wanted) return -1;
  return write(node.get(), buffer, wanted) == static_cast<ssize_t>(wanted) ? length : -1;
}
