// The AT commands that the daemon knows, and how it answers them on a serial line: lines of
// information first, then "OK" or "ERROR".
//
//   %BTAD? =? =ADDRESS    the Bluetooth address: twelve digits, or twelve parameters of one digit
//   %WLAD? =? =ADDRESS    the WLAN address, likewise
//   %FCX=OPCODE[,TEXT]    a factory command; TEXT is all after the first comma
//
// "AT" alone is answered "OK". Names are in either case.
#pragma once

#include <string>
#include <vector>

#include "daemon/at_line.h"
#include "virtual_phone/core/phone.h"

namespace factory_daemon {

struct AtAnswer {
  std::vector<std::string> information;  ///< lines without their ends
  bool is_ok = false;
  std::string reason;  ///< for people, where an error is the daemon's and not the library's

  /// All lines: the information, then "OK" or "ERROR".
  std::vector<std::string> lines() const;
};

/// Carries out one command, and waits for what it leaves on a thread. The phone must be open. One
/// at a time. Throws virtual_phone::Error.
///
/// %FCX answers "%FCX: RESULT[,DATA]", with the data as text or, where it is not printable, as
/// hex:BYTES, and "OK" when the result is 0. An assignment that the library refuses, a form or a
/// name that is unknown, an unknown opcode and a text that is longer than a request holds are
/// "ERROR".
AtAnswer answer_at_command(virtual_phone::Phone& phone, const AtCommand& command);

}  // namespace factory_daemon
