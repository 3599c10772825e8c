// What the daemon is asked to do, or does of itself, and what whoever has asked sees of it.
#pragma once

#include <cstdint>
#include <string>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

struct Action {
  enum class Kind {
    command,       ///< a factory command: `opcode`, with `bytes` as its request
    at_line,       ///< one AT line without its end: `bytes`
    start,         ///< the phone is switched off and on, and starts
    daemon_start,  ///< the daemon alone starts again
    restart,       ///< the phone is switched off and on by hand, for the reason `bytes`
  };
  Kind kind = Kind::command;
  int32_t opcode = 0;
  std::string bytes = {};
};

/// What was seen of it.
struct Outcome {
  /// It was said to be done: a result of 0, OK, a start that came to its end.
  bool is_done = false;
  /// In one line: the result and the data, the lines of the answer, how set-up has ended.
  std::string text;
};

/// Does it on the phone, which must be open, and waits for what it leaves on threads. Throws
/// virtual_phone::Error; Refused for an AT line that is none.
Outcome carry_out(virtual_phone::Phone& phone, const Action& action);

}  // namespace factory_daemon
