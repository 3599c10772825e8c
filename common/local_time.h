// The device's local time.
#pragma once

#include <ctime>

namespace fcx {

/// A moment in local time, by the time zone that is set now; all zeros in a year that has no
/// number.
inline void local_time(time_t moment, tm& local) {
  tzset();  // which localtime_r() does once in a process
  if (localtime_r(&moment, &local) == nullptr) local = {};
}

}  // namespace fcx
