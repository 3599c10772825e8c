// What a home supplies beside the platform's own libraries. On the phone these are next to nothing
// (platform/android/); on the bench they put the library into a virtual phone.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fcx {

/// The directory that stands for the device's "/": empty on the phone. Owned by the home.
const char* device_root();

/// Sleeps for `microseconds` of the device's time.
void platform_sleep_us(uint64_t microseconds);

/// Makes durable what was written to all of the device's files.
void platform_sync();

/// The threads that the library starts.
enum class LibraryThread {
  carrier_set_up,
  carrier_restore,
  usb_path,
  modem_reset,
  reboot,
  power_off,
  cable_wait
};

/// Asked before a thread is started: the errno value with which that fails, or 0. Nothing on the
/// phone; on the bench a fault that somebody has set on that thread.
int platform_thread_fault(LibraryThread thread);

/// What is done to a device file, or to a directory of them. A seek goes to the end, for the size.
enum class FileOperation {
  open,
  read,
  write,
  sync,
  sync_directory,
  rename,
  remove,
  stat,
  chmod,
  chown,
  mkdir,
  seek
};

/// What a file operation meets before it reaches the file system.
struct FileFault {
  int error = 0;            ///< errno value with which the operation fails, or 0
  size_t limit = SIZE_MAX;  ///< bytes after which a read ends, or a write finds the disk full
  int64_t size = -1;        ///< what a seek to the end says, or -1
};

/// Asked before every operation on a device file. Nothing on the phone; on the bench a fault that
/// somebody has set on that file. A directory is flushed under its own name; a file takes another's
/// name under both.
FileFault platform_file_fault(const char* device_path, FileOperation operation);

}  // namespace fcx
