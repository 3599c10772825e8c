// The phone powered off while the station's cable is still attached, with the tool for the hand
// that pulls it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "daemon/recorder.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/phone.h"

namespace factory_daemon {

/// The library waits for the cable without an end: somebody must pull it.
struct Hand {
  int64_t pulls_after_us;        ///< on the phone's clock
  bool lets_voltage_drop_first;  ///< the USB state still says that there is a cable, for a while
};

struct PowerOff {
  std::vector<Moment> moments;  ///< in their order
  int64_t began_us;             ///< on the phone's clock, as the next one
  int64_t ended_us;
  int result;  ///< what the library's function has returned
  /// What switched the phone off; nothing when it stayed on.
  std::optional<virtual_phone::Event> end;
};

/// Lets the library power off the phone, which must be open, and waits until it has come to its
/// end. Throws virtual_phone::Error, also before it begins for nodes by which no cable can be
/// pulled.
PowerOff power_off_with_cable(virtual_phone::Phone& phone, const Hand& hand);

/// The same for a power-off that a restart of the daemon has interrupted: what the library does for
/// it at a start.
PowerOff retry_power_off(virtual_phone::Phone& phone, const Hand& hand);

}  // namespace factory_daemon
