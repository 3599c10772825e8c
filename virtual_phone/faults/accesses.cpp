#include "virtual_phone/faults/accesses.h"

#include <android/log.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <mutex>

#include "platform/immortal.h"
#include "platform/thread_annotations.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/simulated_time.h"

namespace virtual_phone {
namespace {

struct Observed {
  std::mutex mutex;
  AccessObserver* observer GUARDED_BY(mutex) = nullptr;
  size_t begun GUARDED_BY(mutex) = 0;
  std::atomic<bool> is_on = false;
};

/// Threads may access the phone until the process is gone.
Observed& observed() { return fcx::immortal<Observed>(); }

/// Whether the power is cut: no thread does anything any more.
std::atomic<bool> is_off = false;

/// The changes that this process has made of what the phone keeps.
std::atomic<int64_t> changes_made = 0;

void tell_and_end(const PowerCut& cut) {
  fprintf(stderr, "virtual phone: the power was cut after change %s\n", change_text(cut).c_str());
  constexpr int kNoAnswer = 3;
  _exit(kNoAnswer);
}

std::atomic<WhenPowerIsCut> power_is_cut = tell_and_end;

/// Does not return: signals wake it, and it goes on waiting.
[[noreturn]] void stop_this_thread() {
  while (true) pause();
}

/// Other threads stop at what they do next.
[[noreturn]] void cut_now(Phone& phone, const PlatformAccess& last, int64_t change,
                          Unflushed unflushed) {
  if (is_off.exchange(true)) stop_this_thread();
  try {
    power_is_cut.load()({last, change, unflushed, cut_power(phone, unflushed)});
  } catch (const std::exception& error) {
    fprintf(stderr, "virtual phone: the power could not be cut: %s\n", error.what());
  }
  _exit(1);
}

/// What somebody has set to happen after a change.
void end_as_faults_have_it(Phone& phone, const PlatformAccess& last, int64_t change) {
  if (!can_strike_after_changes(phone)) return;
  if (const auto fault = strike(phone, Part::power, "", Access::write)) {
    cut_now(phone, last, change, static_cast<Unflushed>(fault->value));
  }
  // As nobody can catch it.
  if (strike(phone, Part::daemon, "", Access::write).has_value()) kill(getpid(), SIGKILL);
}

}  // namespace

void observe_accesses(AccessObserver* observer) {
  Observed& all = observed();
  const std::lock_guard lock(all.mutex);
  all.observer = observer;
  all.begun = 0;
  all.is_on = observer != nullptr;
}

Accessing::Accessing(Phone& phone, PlatformAccess access)
    : phone_(phone), access_(std::move(access)) {
  stop_when_off();
  await_turn();
  access_.result = -1;
  Observed& all = observed();
  if (!all.is_on) return;
  const std::lock_guard lock(all.mutex);
  if (all.observer == nullptr) return;
  access_.time_us = now_us();
  serial_ = all.begun++;
  disturbance_ = all.observer->begins(access_);
}

Accessing::~Accessing() {
  access_.has_ended = true;
  const int64_t change = access_.is_change ? ++changes_made : 0;
  std::optional<Unflushed> cut;
  if (serial_.has_value()) {
    Observed& all = observed();
    const std::lock_guard lock(all.mutex);
    if (all.observer != nullptr) {
      all.observer->ended(*serial_, access_);
      if (access_.is_change) cut = all.observer->cut_after(access_);
    }
  }
  if (cut.has_value()) cut_now(phone_, access_, change, *cut);
  if (!access_.is_change) return;
  try {
    end_as_faults_have_it(phone_, access_, change);
  } catch (const std::exception& error) {
    // A destructor cannot throw; the change is made.
    __android_log_print(ANDROID_LOG_WARN, "VirtualPhone", "power: %s", error.what());
  }
}

std::optional<Fault> Accessing::strike(WhenLate when_late) {
  std::optional<Fault> fault;
  if (disturbance_.has_value() && disturbance_->effect != Effect::late) fault = disturbance_;
  if (disturbance_.has_value() && !fault.has_value()) {
    // As one that is set on the phone: a late one goes on to the next.
    if (when_late == WhenLate::gives_up) fault = disturbance_;
    if (when_late == WhenLate::waits) sleep_us(static_cast<uint64_t>(disturbance_->value) * 1000);
  }
  if (!fault.has_value()) {
    fault = virtual_phone::strike(phone_, access_.part, access_.target, access_.access, when_late);
  }
  if (!fault.has_value() && !access_.new_target.empty()) {
    fault =
        virtual_phone::strike(phone_, access_.part, access_.new_target, access_.access, when_late);
  }
  if (fault.has_value()) access_.struck = fault->effect;
  stop_when_off();
  return fault;
}

void Accessing::stop_when_off() {
  if (is_off) stop_this_thread();
}

void Accessing::ends(int64_t result, std::string_view got) {
  access_.result = result;
  // What nobody looks at need not be copied.
  if (serial_.has_value()) access_.got = got;
}

std::string change_text(const PowerCut& cut) {
  return std::to_string(cut.change) + ": " + name_of(cut.last.part) + " " +
         name_of(cut.last.access) + " " + cut.last.target;
}

void Accessing::is_answered(const std::string& bytes, int64_t claimed, int32_t status) {
  access_.claimed = claimed;
  access_.status = status;
  ends(0, bytes);
}

void when_power_is_cut(WhenPowerIsCut end) { power_is_cut = end; }

}  // namespace virtual_phone
