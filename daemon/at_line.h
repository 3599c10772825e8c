// AT lines, as V.250 has them: what a serial line receives, and the commands of a line.
//
//   AT                      is somebody there?
//   ATE0V1                  basic commands: a letter, perhaps "&" before it and a number after it
//   AT+CGSN                 an extended command: carries something out
//   AT%BTAD?                asks for a value
//   AT%BTAD=?               asks which values there can be
//   AT+CMEE=1;%BTAD?;+CIMI  gives a value, in parameters; ";" before the next command
//
// "AT" and names are in either case; a name has letters, digits and '_' after '+' or '%'. Blanks
// around a command count for nothing. What stands in quotation marks is one parameter. The text
// of %FCX is all up to the end of the line, whatever it holds.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace factory_daemon {

/// Characters of a line at most, from its "AT" to before its end.
constexpr size_t kLongestAtLine = 2048;

/// Puts lines together of characters that arrive piece by piece. A line ends in "\r"; a "\n" after
/// it counts for nothing, and one alone ends a line, too, as a shell sends it. ESC drops the line
/// so far, backspace its last character. Blanks before a line are dropped.
class AtLineReader {
 public:
  enum class State {
    incomplete,  ///< all was taken, and no line has ended
    line,        ///< line() is whole
    too_long,    ///< one has ended that had more than kLongestAtLine characters
  };
  struct Taken {
    State state = State::incomplete;
    size_t consumed = 0;  ///< characters that the next call must not be given again
  };

  /// Takes characters up to the end of a line that is not empty.
  /// @param echo what is shown to somebody who types them is added here
  Taken take(std::string_view characters, std::string& echo);

  /// The line that has ended, until the next call of take().
  const std::string& line() const { return line_; }

  /// Forgets the line so far.
  void reset();

 private:
  void add(char character, std::string& echo);
  bool is_end(char character) const;

  std::string line_;
  bool has_ended_ = false;
  bool is_too_long_ = false;
};

/// Why no command can be read of a line, for people; null when one can. An empty one has none
/// either.
const char* why_no_at_line(std::string_view line);

enum class AtForm {
  execute,
  query,
  range,
  assign,
};

/// A command. Its texts are in the line that it was read from.
struct AtCommand {
  AtForm form = AtForm::execute;
  std::string_view name;  ///< as it was written, with its '+', '%' or '&'
  std::string_view text;  ///< of `assign` all that is assigned, commas included; the number after a
                          ///< basic command
  std::vector<std::string_view> parameters;  ///< of `assign`, between its commas; some may be empty
};

/// The commands of a line, one after another.
class AtCommands {
 public:
  /// @param line of which why_no_at_line() says null; outlives this
  explicit AtCommands(std::string_view line);

  /// Whether there is another one.
  bool has_next() const { return !rest_.empty(); }
  /// Reads it. @return why it is none, for people, or null; after that there is no next
  const char* next(AtCommand& command);

 private:
  const char* read_basic(AtCommand& command);
  const char* read_extended(AtCommand& command);

  std::string_view rest_;
};

}  // namespace factory_daemon
