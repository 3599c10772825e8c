// Programs of the phone: what the library starts finds them below the phone's root. Their launchers
// there are shell scripts, which find what they need in the environment:
//
//   FCX_PHONE     the phone's directory
//   FCX_ROOT      its root
//   FCX_PROGRAMS  the directory of the programs that come with the bench
//   FCX_EMULATOR  what runs these, where they are for another processor; else empty
#pragma once

#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// A command of the device's shell as one for a shell of this machine that runs in the phone's
/// root: every word in it that is a device path is below that root, and ".." leads out of it
/// nowhere. Words are looked for between quotes, too, where another shell's command may stand.
std::string command_below_root(std::string_view command);

/// The assignments above, as a shell takes them.
std::string program_environment(const Phone& phone);

}  // namespace virtual_phone
