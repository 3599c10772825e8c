// The deadline of a timed wait.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace fcx {

/// `now` plus `milliseconds`, or `now` when they are negative. Nanoseconds carry into seconds only
/// when they exceed 1,000,000,000: exactly that many stay as they are, on purpose, and make the
/// wait fail at once.
inline timespec deadline_after(const timespec& now, long milliseconds) {
  constexpr int64_t kSecond = 1'000'000'000;
  const int64_t wait_ms = std::max<int64_t>(milliseconds, 0);
  int64_t seconds = int64_t{now.tv_sec} + wait_ms / 1000;
  int64_t nanoseconds = int64_t{now.tv_nsec} + wait_ms % 1000 * 1'000'000;
  if (nanoseconds > kSecond) {
    nanoseconds -= kSecond;
    ++seconds;
  }
  timespec deadline{};
  deadline.tv_sec = static_cast<time_t>(seconds);
  deadline.tv_nsec = static_cast<long>(nanoseconds);
  return deadline;
}

}  // namespace fcx
