#include "platform/device_home.h"

#include <unistd.h>

#include <cerrno>
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

void platform_sync() { sync(); }

int platform_thread_fault(LibraryThread) { return 0; }

FileFault platform_file_fault(const char*, FileOperation) { return {}; }

}  // namespace fcx
