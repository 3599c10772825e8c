#include "virtual_phone/clock.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace virtual_phone {
namespace {

constexpr uint64_t kFasterBy = 1000;

Clock clock_of_environment() {
  const char* wanted = getenv("FCX_CLOCK");
  return wanted != nullptr && std::string_view(wanted) == "fast" ? Clock::fast : Clock::real;
}

std::atomic<Clock>& clock() {
  static std::atomic<Clock> chosen = clock_of_environment();
  return chosen;
}

/// How far the fast clock has run ahead.
std::atomic<int64_t> ahead_us = 0;

}  // namespace

void set_clock(Clock wanted) { clock() = wanted; }

int64_t now_us() {
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(since_1970).count() + ahead_us;
}

void sleep_us(uint64_t microseconds) {
  if (clock() == Clock::fast) {
    const uint64_t slept = microseconds / kFasterBy;
    ahead_us += static_cast<int64_t>(microseconds - slept);
    microseconds = slept;
  }
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

}  // namespace virtual_phone
