// What a home supplies beside the platform's own libraries. On the phone these are next to nothing
// (platform/android/); on the bench they put the library into a virtual phone.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace fcx {

/// The directory that stands for the device's "/": empty on the phone. Owned by the home.
const char* device_root();

/// Sleeps for `microseconds` of the device's time.
void platform_sleep_us(uint64_t microseconds);

/// Makes durable what was written to all of the device's files.
void platform_sync();

/// Runs a command of the device's shell and waits for it. On the bench every device path in the
/// command, also where output is redirected to, is below the device's root.
/// @return as system()
int platform_shell(const char* command);

/// Becomes a program that is found in the device's search path, as execvp(): returns when it
/// cannot, with errno. On the bench an argument that is a device path is below the device's root.
/// @param arguments the program's name first, null last
void platform_exec(const char* const* arguments);

/// Unmounts a device directory by force, if it is a mount point at all.
void platform_unmount(const char* device_path);

/// mkdir(), with a path of this home's. On the bench the owner may always use what is made.
int platform_mkdir(const char* path, mode_t mode);

/// ioctl(), on the open framebuffer.
int platform_ioctl(int fd, unsigned long request, void* argument);

/// The threads that the library starts, and the one program.
enum class LibraryThread {
  carrier_set_up,
  carrier_restore,
  usb_path,
  modem_reset,
  reboot,
  power_off,
  cable_wait,
  screencap
};

/// Asked before a thread is started: the errno value with which that fails, or 0. Nothing on the
/// phone; on the bench a fault that somebody has set on that thread.
int platform_thread_fault(LibraryThread thread);

/// What is done to a device file, or to a directory of them.
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
  seek,
  close,
  ioctl,
  mmap
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
