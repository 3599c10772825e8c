// The phone's power, out of its events: how its last uptime ended, and what keeps it awake.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/events.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {

// How the details of events begin: of kRebootEvent, and of kWakeLockEvent with a name after it.
constexpr char kPowerOff[] = "power off";
constexpr char kThermalPowerOff[] = "thermal power off";
constexpr char kWakeLockEvent[] = "wake_lock";
constexpr char kAcquire[] = "acquire ";
constexpr char kRelease[] = "release ";

struct WakeLock {
  std::string name;
  int64_t since_us;  ///< 1970, on the phone's clock
};

struct PowerState {
  /// What ended the last uptime; nothing when the phone runs since it was made.
  std::optional<Event> last_end;
  /// It left the phone switched off, for the next who uses it to switch on.
  bool is_off = false;
  /// Those that were acquired since then and not released, the oldest first.
  std::vector<WakeLock> wake_locks;
};

PowerState power_state(Phone& phone);

}  // namespace virtual_phone
