// AT lines, as they come over a serial line: whole, and in pieces of several sizes.
#include "daemon/at_line.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

using factory_daemon::AtForm;
using factory_daemon::AtLine;
using factory_daemon::AtLineReader;

/// What was read of a line, as text.
std::string description(const AtLine& line) {
  if (line.state == AtLine::State::invalid) return std::string("invalid: ") + line.reason;
  std::string text = std::to_string(static_cast<int>(line.command.form)) + " " +
                     std::string(line.command.name) + "=" + std::string(line.command.text);
  for (const std::string_view parameter : line.command.parameters) {
    text += "|" + std::string(parameter);
  }
  return text;
}

/// The commas of what is assigned are where the parameters meet.
void check_parameters(const factory_daemon::AtCommand& command) {
  std::string joined;
  const char* separator = "";
  for (const std::string_view parameter : command.parameters) {
    joined += separator + std::string(parameter);
    separator = ",";
  }
  fuzz::require(joined == command.text, "the parameters are what is assigned");
  fuzz::require(command.parameters.empty() == (command.form != AtForm::assign),
                "only what is assigned has parameters");
}

/// Feeds a reader as a daemon does, which adds what arrives to what was not consumed.
std::vector<std::string> read_in_pieces(std::string_view bytes, size_t size) {
  std::vector<std::string> lines;
  std::string unread;
  AtLineReader reader;
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, size);
    bytes.remove_prefix(piece.size());
    unread += piece;
    for (;;) {
      // Of just its size, so that a byte too many is noticed.
      const std::vector<char> given(unread.begin(), unread.end());
      const AtLine line = reader.next({given.data(), given.size()});
      fuzz::require(line.consumed <= given.size(), "no more is consumed than was given");
      if (line.state != AtLine::State::incomplete) {
        fuzz::require(line.consumed > 0, "a line is consumed");
        check_parameters(line.command);
        lines.push_back(description(line));
      }
      unread.erase(0, line.consumed);
      if (line.state == AtLine::State::incomplete) break;
    }
    fuzz::require(unread.size() <= factory_daemon::kLongestAtLine,
                  "what is kept is no longer than a line");
    fuzz::require(unread.find_first_of("\r\n") == std::string::npos,
                  "what is incomplete has no end");
  }
  return lines;
}

/// How many lines of `bytes` are too long, by counting.
size_t long_lines(std::string_view bytes) {
  size_t found = 0;
  while (!bytes.empty()) {
    bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
    const size_t length = std::min(bytes.find_first_of("\r\n"), bytes.size());
    if (length > factory_daemon::kLongestAtLine) ++found;
    bytes.remove_prefix(length);
  }
  return found;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> whole = read_in_pieces(bytes, std::max<size_t>(size, 1));
  constexpr size_t kMostPieces = 300;  // of which a reader sees the first again and again
  for (const size_t piece : {1, 2, 7, 64, 2065, 2067}) {
    if (size / piece > kMostPieces) continue;
    fuzz::require(read_in_pieces(bytes, piece) == whole, "pieces read as the whole");
  }
  const auto called_long = std::count(whole.begin(), whole.end(), "invalid: it is too long");
  fuzz::require(static_cast<size_t>(called_long) == long_lines(bytes),
                "a line is too long from its limit on");
  return 0;
}
