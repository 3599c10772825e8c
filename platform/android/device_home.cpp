#include "platform/device_home.h"

#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace fcx {

const char* device_root() { return ""; }

void platform_sleep_us(uint64_t microseconds) {
  timespec left{};
  left.tv_sec = static_cast<time_t>(microseconds / 1'000'000);
  left.tv_nsec = static_cast<long>(microseconds % 1'000'000) * 1000;
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

int64_t platform_time() { return time(nullptr); }

void platform_sync() { sync(); }

int platform_shell(const char* command) { return system(command); }

void platform_exec(const char* const* arguments) {
  // It changes none of them: its type is older than const.
  execvp(arguments[0], const_cast<char* const*>(arguments));
}

void platform_unmount(const char* device_path) {
  // Nearly always it is no mount point.
  static_cast<void>(umount2(device_path, MNT_FORCE));
}

int platform_mkdir(const char* path, mode_t mode) { return mkdir(path, mode); }

int platform_flush(int fd) { return fsync(fd); }

int platform_ioctl(int fd, unsigned long request, void* argument) {
  return ioctl(fd, request, argument);
}

int platform_thread_fault(LibraryThread) { return 0; }

void platform_thread_begins() {}

void platform_thread_ends() {}

FileFault platform_file_begins(const FileAccess&) { return {}; }

void platform_file_ends(const FileAccess&, int, std::string_view) {}

}  // namespace fcx
