// The phone's time, for this process. On the fast clock a sleep takes a thousandth of its time,
// while the phone's clock still advances by the whole. On the stopped clock a sleep lasts until
// another clock is chosen. On the simulated one time is what is slept, and nothing else: see
// simulated_time.h.
#pragma once

#include <cstdint>

namespace virtual_phone {

enum class Clock { real, fast, stopped, simulated };

/// What this process's sleeps use from now on; simulate_time() chooses the simulated one. At first:
/// fast when $FCX_CLOCK is "fast", else real.
void set_clock(Clock clock);
Clock chosen_clock();

/// Microseconds since 1970 on the phone's clock.
int64_t now_us();

/// Sleeps for that long on the phone's clock.
void sleep_us(uint64_t microseconds);

/// How long this process's threads have slept so far, taken together, on the phone's clock: no
/// machine is so slow that it would show here.
int64_t slept_us();

}  // namespace virtual_phone
