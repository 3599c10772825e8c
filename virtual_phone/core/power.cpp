#include "virtual_phone/core/power.h"

#include <algorithm>
#include <string_view>

namespace virtual_phone {
namespace {

/// A restart for this reason leaves the phone switched off, too: it is to be shipped.
constexpr std::string_view kShipMode = "restart, reason oem-11";

bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool switches_off(const Event& end) {
  return end.kind == kRebootEvent &&
         (starts_with(end.detail, kPowerOff) || starts_with(end.detail, kThermalPowerOff) ||
          end.detail == kShipMode);
}

/// A lock has one holder, its name: acquired twice it is still released at once.
void follow(std::vector<WakeLock>& held, const Event& event) {
  const bool is_acquired = starts_with(event.detail, kAcquire);
  const std::string name =
      event.detail.substr(std::string_view(is_acquired ? kAcquire : kRelease).size());
  const auto same = std::find_if(held.begin(), held.end(),
                                 [&](const WakeLock& lock) { return lock.name == name; });
  if (is_acquired && same == held.end()) held.push_back({name, event.time_us});
  if (!is_acquired && same != held.end()) held.erase(same);
}

}  // namespace

PowerState power_state(Phone& phone) {
  PowerState state;
  for (const Event& event : events(phone)) {
    if (event.kind == kRebootEvent || event.kind == kRestartEvent || event.kind == kPowerCutEvent) {
      state = {event, switches_off(event), {}};
    } else if (event.kind == kWakeLockEvent) {
      follow(state.wake_locks, event);
    }
  }
  return state;
}

}  // namespace virtual_phone
