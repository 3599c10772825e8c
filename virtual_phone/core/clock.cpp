#include "virtual_phone/core/clock.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <thread>

#include "platform/immortal.h"
#include "platform/thread_annotations.h"
#include "virtual_phone/core/simulated_time.h"

namespace virtual_phone {
namespace {

constexpr uint64_t kFasterBy = 1000;

Clock clock_of_environment() {
  const char* wanted = getenv("FCX_CLOCK");
  return wanted != nullptr && std::string_view(wanted) == "fast" ? Clock::fast : Clock::real;
}

struct Chosen {
  std::mutex mutex;
  std::condition_variable_any changed;
  Clock clock GUARDED_BY(mutex) = clock_of_environment();
};

/// Threads may sleep until the process is gone.
Chosen& chosen() { return fcx::immortal<Chosen>(); }

/// The clock that is chosen, once it is not the stopped one.
Clock running_clock() {
  const std::lock_guard lock(chosen().mutex);
  while (chosen().clock == Clock::stopped) chosen().changed.wait(chosen().mutex);
  return chosen().clock;
}

/// How far the fast clock has run ahead.
std::atomic<int64_t> ahead_us = 0;

std::atomic<int64_t> all_slept_us = 0;

}  // namespace

void set_clock(Clock wanted) {
  if (wanted != Clock::simulated) end_simulation();
  const std::lock_guard lock(chosen().mutex);
  chosen().clock = wanted;
  chosen().changed.notify_all();
}

Clock chosen_clock() {
  const std::lock_guard lock(chosen().mutex);
  return chosen().clock;
}

int64_t now_us() {
  if (const auto simulated = simulated_now_us()) return *simulated;
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(since_1970).count() + ahead_us;
}

int64_t slept_us() { return all_slept_us; }

void sleep_us(uint64_t microseconds) {
  const auto asked_us = static_cast<int64_t>(microseconds);
  const Clock clock = running_clock();
  all_slept_us += clock == Clock::simulated ? asked_us : 0;
  if (clock == Clock::simulated) return sleep_simulated(asked_us);
  if (clock == Clock::fast) {
    const uint64_t slept = microseconds / kFasterBy;
    ahead_us += static_cast<int64_t>(microseconds - slept);
    microseconds = slept;
  }
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
  all_slept_us += asked_us;
}

}  // namespace virtual_phone
