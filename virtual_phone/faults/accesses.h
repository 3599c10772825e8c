// What the library does to its platform, access by access: each is told of when it begins and when
// it ends, and may be disturbed in between.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/faults/faults.h"
#include "virtual_phone/power/power_cut.h"

namespace virtual_phone {

/// One access.
struct PlatformAccess {
  Part part = Part::file;
  std::string target = {};  ///< as a fault on it has it; of a sleep nothing
  Access access = Access::any;
  /// What the library gives: bytes to be written, a request's payload, what stands in for a
  /// property that has no value.
  std::string given = {};
  std::string new_target =
      {};  ///< of a rename; empty when a temporary file takes the target's name
  /// Bytes that are asked for; of a file that is read -1 for all there is. Microseconds of a sleep;
  /// open()'s flags; the mode of what is made or changed; where a seek leads to, -1 for the end.
  int64_t size = 0;

  // When it begins.
  int64_t time_us = 0;  ///< on the phone's clock

  // When it has ended.
  bool has_ended = false;
  /// What was returned: of a file's operation, and of a thread that is started, an errno value; of
  /// a service that is called or looked up 0 or -1.
  int64_t result = 0;
  /// What the library got: bytes that were read, an answer; of a stat what stands there.
  std::string got = {};
  int32_t status = 0;                 ///< of an answer: its status word
  int64_t claimed = 0;                ///< of an answer: how many bytes it claims to have
  std::optional<Effect> struck = {};  ///< by which a fault has struck it
  bool is_change = false;             ///< it has changed what the phone keeps over a restart
};

/// Who is told of all accesses of this process. One at a time; threads of the library call it, one
/// after another.
class AccessObserver {
 public:
  virtual ~AccessObserver() = default;
  /// Of one that begins. @return a fault that strikes it, before any that is set on the phone
  virtual std::optional<Fault> begins(const PlatformAccess& access) = 0;
  /// Of one that has ended; the order is that in which they begin only where they do not overlap.
  /// @param serial of the accesses that were told of since it is observed, from 0 on
  virtual void ended(size_t serial, const PlatformAccess& access) = 0;
  /// Of one that has changed what the phone keeps. @return whether the power is cut then, and what
  /// becomes of what was not flushed
  virtual std::optional<Unflushed> cut_after(const PlatformAccess&) { return std::nullopt; }
};

/// Tells `observer` of every access from now on; null: nobody. It outlives the accesses.
void observe_accesses(AccessObserver* observer);

/// An access while it is made. What is not said to have ended well has failed with -1.
class Accessing {
 public:
  Accessing(Phone& phone, PlatformAccess access);
  /// The end. It does not return where a fault cuts the power, or kills this process.
  ~Accessing();
  Accessing(const Accessing&) = delete;
  Accessing& operator=(const Accessing&) = delete;

  /// The fault that strikes it, as strike() has it; a rename is struck under its new name, too.
  std::optional<Fault> strike(WhenLate when_late = WhenLate::waits);
  /// To be called after each wait: does not return when another thread has cut the power meanwhile.
  static void stop_when_off();
  /// What it comes to.
  void ends(int64_t result, std::string_view got = {});
  /// The same of a request that was answered.
  void is_answered(const std::string& bytes, int64_t claimed, int32_t status);
  /// It has changed what the phone keeps over a restart.
  void changes() { access_.is_change = true; }
  const PlatformAccess& access() const { return access_; }
  bool is_observed() const { return serial_.has_value(); }

 private:
  Phone& phone_;
  PlatformAccess access_;
  std::optional<size_t> serial_;  ///< when it is observed
  std::optional<Fault> disturbance_;
};

/// A power cut while this process worked.
struct PowerCut {
  PlatformAccess last;  ///< the access after which it was cut
  int64_t change;       ///< how many changes of what the phone keeps this process had made with it
  Unflushed unflushed;
  std::vector<LostFile> lost;
};

/// "3: file write /data/a": the change after which the power was cut.
std::string change_text(const PowerCut& cut);

/// Called where the power is cut, when the phone is as the cut has left it; ends the process.
using WhenPowerIsCut = void (*)(const PowerCut& cut);
/// What does; at first the last access is said on standard error, and the exit status is 3.
void when_power_is_cut(WhenPowerIsCut end);

}  // namespace virtual_phone
