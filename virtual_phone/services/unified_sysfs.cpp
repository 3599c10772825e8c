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
using fcx::FileAccess;
using fcx::FileFault;
using fcx::FileOperation;

/// Does `work`, which returns bytes or -1, unless a fault lets it fail. It is given the fault.
template <typename Work>
int operate(const FileAccess& access, const char* buffer, Work work) {
  const FileFault fault = fcx::platform_file_begins(access);
  errno = fault.error;
  const int done = fault.error != 0 ? -1 : work(fault);
  const int error = done >= 0 ? 0 : errno;
  const bool reads = access.operation == FileOperation::read && done > 0;
  fcx::platform_file_ends(access, error, {buffer, reads ? static_cast<size_t>(done) : 0});
  errno = error;
  return done;
}

/// Opens a node of the selected phone, unless a fault lets that fail.
unique_fd open_node(const char* path, int flags) {
  const virtual_phone::Phone* phone = virtual_phone::selected_or_null();
  if (phone == nullptr) return {};
  unique_fd node;
  operate({path, FileOperation::open, nullptr, -1, flags}, nullptr, [&](const FileFault&) {
    node = virtual_phone::open_node(*phone, path, flags);
    return node.ok() ? 0 : -1;
  });
  return node;
}

}  // namespace

int unified_sysfs_read(const char* path, char* buffer, int length) {
  if (path == nullptr || buffer == nullptr || length < 0) return -1;
  const unique_fd node = open_node(path, O_RDONLY);
  if (!node.ok()) return -1;
  return operate({path, FileOperation::read}, buffer, [&](const FileFault& fault) {
    const size_t wanted = std::min(static_cast<size_t>(length), fault.limit);
    return static_cast<int>(read(node.get(), buffer, wanted));
  });
}

int unified_sysfs_write(const char* path, const char* buffer, int length) {
  if (path == nullptr || buffer == nullptr || length < 0) return -1;
  const unique_fd node = open_node(path, O_WRONLY | O_TRUNC);
  if (!node.ok()) return -1;
  const auto wanted = static_cast<size_t>(length);
  return operate({path, FileOperation::write, nullptr, -1, 0, {buffer, wanted}}, nullptr,
                 [&](const FileFault& fault) {
                   if (fault.limit < wanted) return -1;
                   const ssize_t put = write(node.get(), buffer, wanted);
                   return put == static_cast<ssize_t>(wanted) ? length : -1;
                 });
}
