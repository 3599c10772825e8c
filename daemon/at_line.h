// AT lines, as a station sends them over a serial line: bytes in, commands out.
//
//   AT                 is somebody there?
//   AT%NAME            carries something out
//   AT%NAME?           asks for a value
//   AT%NAME=?          asks which values there can be
//   AT%NAME=A,B        gives a value, in parameters
//
// A line ends in "\r", "\n" or both; empty ones, and blanks around one, count for nothing. "AT" is
// in either case, a name has letters, digits and '_'. One line is one command.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fcx/qvcmd.h"

namespace factory_daemon {

/// Bytes of a line, from its "AT" to before its end: room for a factory command whose text fills a
/// request, after the longest opcode.
constexpr size_t kLongestAtLine =
    std::string_view("AT%FCX=-2147483648,").size() + QVCMD_DATA_SIZE - 1;

enum class AtForm {
  attention,  ///< "AT" alone
  execute,
  query,
  range,
  assign,
};

/// A command. Its texts are in the bytes that the line was read from.
struct AtCommand {
  AtForm form = AtForm::attention;
  std::string_view name;  ///< after the '%', as it was written; empty for `attention`
  std::string_view text;  ///< of `assign` all that is assigned, commas included
  std::vector<std::string_view> parameters;  ///< the same between its commas; some may be empty
};

struct AtLine {
  enum class State {
    command,
    incomplete,  ///< no line end yet: more bytes must come
    invalid,     ///< no command; what comes after the line end can be one
  };
  State state = State::incomplete;
  size_t consumed = 0;           ///< bytes that the next call must not be given again
  AtCommand command;             ///< when it is one
  const char* reason = nullptr;  ///< why it is invalid, for people
};

/// Reads lines from bytes that arrive piece by piece. It keeps none of them: whoever feeds it keeps
/// what it has not consumed, kLongestAtLine bytes at most, and puts what arrives next behind them.
class AtLineReader {
 public:
  /// The first line of `bytes`. A line that is too long is invalid as soon as that is seen; the
  /// rest of it is then consumed without a word.
  AtLine next(std::string_view bytes);

 private:
  bool is_in_long_line_ = false;
};

}  // namespace factory_daemon
