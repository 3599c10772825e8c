// What a home supplies beside the platform's own libraries. On the phone these are next to nothing
// (platform/android/); on the bench they put the library into a virtual phone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <sys/types.h>

namespace fcx {

/// The directory that stands for the device's "/": empty on the phone. Owned by the home.
const char* device_root();

/// Sleeps for `microseconds` of the device's time.
void platform_sleep_us(uint64_t microseconds);

/// The device's time, in seconds since 1970.
int64_t platform_time();

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

/// fsync(): what was written to an open file, or the names in an open directory, outlives a power
/// cut.
int platform_flush(int fd);

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

/// Told by a thread that the library has started, before its work and after it.
void platform_thread_begins();
void platform_thread_ends();

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

/// One operation on a device file, as the home is told of it.
struct FileAccess {
  /// The device's name of the file or the directory. Of the temporary file with new content for
  /// another one that other's.
  const char* device_path;
  FileOperation operation;
  /// Where it lies in this home, of an operation that takes a path.
  const char* path = nullptr;
  /// The open file, of an operation that takes one.
  int fd = -1;
  /// Of open(); of what is made, or given another mode, that mode.
  int flags = 0;
  /// What is to be written.
  std::string_view content = {};
  /// Of a rename: the new name, and where that is. Null for a temporary file's, which takes the
  /// name that `device_path` is.
  const char* new_device_path = nullptr;
  const char* new_path = nullptr;
  /// Bytes that are wanted, of a read or a mapping, -1 for all there is; of a seek where it leads
  /// to, -1 for the end.
  int64_t size = -1;
};

/// What a file operation meets before it reaches the file system.
struct FileFault {
  int error = 0;            ///< errno value with which the operation fails, or 0
  size_t limit = SIZE_MAX;  ///< bytes after which a read ends, or a write finds the disk full
  int64_t size = -1;        ///< what a seek to the end says, or -1
};

/// Called before every operation on a device file; platform_file_ends() follows it, on the same
/// thread. Nothing on the phone; on the bench a fault that somebody has set on that file. A
/// directory is flushed under its own name; a file takes another's name under both.
FileFault platform_file_begins(const FileAccess& access);

/// Called after it.
/// @param error errno value with which it has failed, or 0
/// @param bytes that were read
void platform_file_ends(const FileAccess& access, int error, std::string_view bytes = {});

}  // namespace fcx
