// Time of a simulated phone: it begins when it is told to, and goes on only where somebody sleeps,
// so that the same work takes the same time again. The threads of the library take turns: one runs
// until it sleeps, ends, or waits for the others, and the next is whoever has slept enough first.
// So they do the same in the same order, whatever the machine does.
#pragma once

#include <cstdint>
#include <optional>

namespace virtual_phone {

/// From now on this process's clock is the simulated one, and the calling thread runs.
/// @param now_us since 1970
void simulate_time(int64_t now_us);

/// What set_clock() does for any other clock.
void end_simulation();

/// Nothing while time is not simulated.
std::optional<int64_t> simulated_now_us();

/// What sleep_us() does then.
void sleep_simulated(int64_t microseconds);

/// Calls `exceeded`, which ends the process, when somebody sleeps past that time.
void limit_simulated_time(int64_t until_us, void (*exceeded)());

/// Waits until it is this thread's turn, where others take turns.
void await_turn();

/// Lets the other threads run while this object exists: its thread waits for them in a way that is
/// not known here.
class WaitingForOthers {
 public:
  WaitingForOthers();
  ~WaitingForOthers();
  WaitingForOthers(const WaitingForOthers&) = delete;
  WaitingForOthers& operator=(const WaitingForOthers&) = delete;
};

// A thread: somebody is about to start it; it begins; it ends.
void thread_is_started();
void thread_begins();
void thread_ends();

}  // namespace virtual_phone
