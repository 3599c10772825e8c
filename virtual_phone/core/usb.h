// The phone's USB connector, as the kernel's nodes show it.
#pragma once

#include <optional>
#include <string>

#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {

constexpr char kUsbStateNode[] = "/sys/class/android_usb/android0/state";
constexpr char kUsbLockNode[] = "/sys/class/android_usb/android0/lock";
constexpr char kUsbInNode[] = "/proc/qve_power/adc/usb_in";

enum class Cable { disconnected, connected, configured };
/// As the state node has them.
template <>
inline constexpr EnumName<Cable> kEnumNames<Cable>[] = {{Cable::disconnected, "DISCONNECTED"},
                                                        {Cable::connected, "CONNECTED"},
                                                        {Cable::configured, "CONFIGURED"}};

/// What the nodes hold, without a line end; nothing for one that is not there.
struct Usb {
  std::optional<std::string> state;
  std::optional<std::string> lock;
  std::optional<std::string> usb_in;  ///< microvolts of the charger
};

/// Throws Error when a node cannot be read.
Usb usb(const Phone& phone);

/// Writes what plugging a cable in, or pulling it, makes of the state, and of the charger's voltage
/// on a phone that measures it. Throws Error when a node cannot be written.
void set_cable(const Phone& phone, Cable cable);

/// Only the charger's voltage. Throws Error when its node cannot be written.
void set_usb_in(const Phone& phone, int64_t microvolts);

}  // namespace virtual_phone
