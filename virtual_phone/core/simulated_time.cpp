#include "virtual_phone/core/simulated_time.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <set>
#include <utility>

#include "platform/immortal.h"
#include "platform/thread_annotations.h"
#include "virtual_phone/core/clock.h"

namespace virtual_phone {
namespace {

/// When somebody may run again, and how many asked before.
using Place = std::pair<int64_t, uint64_t>;

struct Simulation {
  std::mutex mutex;
  std::condition_variable_any changed;
  int64_t limit_us GUARDED_BY(mutex) = std::numeric_limits<int64_t>::max();
  void (*exceeded)() GUARDED_BY(mutex) = nullptr;
  bool is_taken GUARDED_BY(mutex) = false;  ///< the turn
  int starting GUARDED_BY(mutex) = 0;       ///< threads that are started and have not begun
  uint64_t asked GUARDED_BY(mutex) = 0;
  std::set<Place> waiting GUARDED_BY(mutex);
};

/// Threads may sleep until the process is gone.
Simulation& simulation() { return fcx::immortal<Simulation>(); }

std::atomic<bool> is_simulated = false;
std::atomic<int64_t> simulated_us = 0;
/// Counts what is done, to see whether anything is.
std::atomic<uint64_t> steps = 0;

thread_local bool has_turn = false;

/// Whether the first one who waits may go on.
bool may_run(const Simulation& all, const Place& place) REQUIRES(all.mutex) {
  if (all.is_taken || *all.waiting.begin() != place) return false;
  // Time stands still for a thread that has not begun: it may have something to do before.
  return all.starting == 0 || place.first <= simulated_us;
}

void take_turn(Simulation& all, int64_t from_us) REQUIRES(all.mutex) {
  constexpr std::chrono::seconds kStalled(1);
  const Place place(std::max<int64_t>(from_us, simulated_us), ++all.asked);
  all.waiting.insert(place);
  while (!may_run(all, place)) {
    const uint64_t seen = steps;
    if (all.changed.wait_for(all.mutex, kStalled) != std::cv_status::timeout) continue;
    // Whoever has the turn waits for a lock that a sleeping one holds: that one runs besides.
    if (seen == steps && *all.waiting.begin() == place) break;
  }
  all.waiting.erase(place);
  all.is_taken = true;
  has_turn = true;
  simulated_us = place.first;
  ++steps;
}

void give_turn(Simulation& all) REQUIRES(all.mutex) {
  all.is_taken = all.is_taken && !has_turn;
  has_turn = false;
  all.changed.notify_all();
}

}  // namespace

void simulate_time(int64_t now_us) {
  set_clock(Clock::simulated);
  Simulation& all = simulation();
  const std::lock_guard lock(all.mutex);
  all.is_taken = true;
  all.starting = 0;
  has_turn = true;
  simulated_us = now_us;
  is_simulated = true;
}

void end_simulation() { is_simulated = false; }

std::optional<int64_t> simulated_now_us() {
  if (!is_simulated) return std::nullopt;
  return simulated_us;
}

void sleep_simulated(int64_t microseconds) {
  Simulation& all = simulation();
  const std::lock_guard lock(all.mutex);
  const int64_t until_us = simulated_us + microseconds;
  if (until_us > all.limit_us && all.exceeded != nullptr) all.exceeded();
  give_turn(all);
  take_turn(all, until_us);
}

void limit_simulated_time(int64_t until_us, void (*exceeded)()) {
  Simulation& all = simulation();
  const std::lock_guard lock(all.mutex);
  all.limit_us = until_us;
  all.exceeded = exceeded;
}

void await_turn() {
  ++steps;
  if (!is_simulated || has_turn) return;
  Simulation& all = simulation();
  const std::lock_guard lock(all.mutex);
  take_turn(all, simulated_us);
}

WaitingForOthers::WaitingForOthers() {
  if (!is_simulated) return;
  const std::lock_guard lock(simulation().mutex);
  give_turn(simulation());
}

WaitingForOthers::~WaitingForOthers() { await_turn(); }

void thread_is_started() {
  const std::lock_guard lock(simulation().mutex);
  if (is_simulated) ++simulation().starting;
}

void thread_begins() {
  if (!is_simulated) return;
  Simulation& all = simulation();
  const std::lock_guard lock(all.mutex);
  all.starting = std::max(all.starting - 1, 0);
  take_turn(all, simulated_us);
}

void thread_ends() {
  if (!is_simulated) return;
  const std::lock_guard lock(simulation().mutex);
  give_turn(simulation());
}

}  // namespace virtual_phone
