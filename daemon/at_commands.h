// The AT commands that the daemon knows, and how it answers a line of them: lines of information
// first, then "OK" or "ERROR".
//
//   AT                     OK
//   E0 E1 V1               echo off and on; answers in words, which they always are
//   I                      manufacturer, model, software version, IMEI
//   +CGMI +CGMM +CGMR      manufacturer, model, software version
//   +CGSN                  the IMEI, as the modem has it
//   +CIMI                  the SIM's IMSI
//   +CPIN?                 READY when there is a SIM
//   +CFUN? +CFUN=1         1, or 4 in flight mode, which 1 ends
//   +CMEE? =? =N           kept, and errors are plain ERROR all the same: they have no numbers
//   +CSCS? =? ="GSM"       the character set
//   +GCAP                  what it is able to do
//   %BTAD? =? =ADDRESS     the Bluetooth address: twelve digits, or twelve parameters of one digit
//   %WLAD? =? =ADDRESS     the WLAN address, likewise
//   %FCX=OPCODE[,TEXT]     a factory command; TEXT is all after the first comma
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "daemon/at_line.h"
#include "daemon/deliver.h"
#include "virtual_phone/core/phone.h"

namespace factory_daemon {

/// What commands of a line change for the lines after it, as long as somebody is connected.
struct AtSettings {
  bool echo = true;
  int error_mode = 0;  ///< 0 to 2, of +CMEE
};

struct AtAnswer {
  std::vector<std::string> information;  ///< lines without their ends
  bool is_ok = false;
  std::string reason;  ///< for people, where an error is the daemon's and not the library's

  /// All lines: the information, then "OK" or "ERROR".
  std::vector<std::string> lines() const;
};

/// Carries out the commands of a line one after another, up to the first that fails. The phone must
/// be open. One line at a time. Throws virtual_phone::Error.
/// @param deliver has the factory commands
///
/// %FCX answers "%FCX: RESULT[,DATA]", with the data as text or, where it is not printable, as
/// hex:BYTES, and "OK" when the result is 0. What the library refuses, a value that the phone does
/// not have, a form or a name that is unknown, an unknown opcode, a text that is longer than a
/// request holds and a line that is none are "ERROR".
AtAnswer answer_at_line(virtual_phone::Phone& phone, std::string_view line, AtSettings& settings,
                        const Deliver& deliver);

/// The same with the settings that somebody finds who connects; what a command leaves on a thread
/// is awaited.
AtAnswer answer_at_line(virtual_phone::Phone& phone, std::string_view line);

}  // namespace factory_daemon
