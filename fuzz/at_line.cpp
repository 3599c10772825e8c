// AT lines, as they come over a serial line: whole, and in pieces of several sizes.
#include "daemon/at_line.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

using factory_daemon::AtCommand;
using factory_daemon::AtCommands;
using factory_daemon::AtForm;
using factory_daemon::AtLineReader;

/// What is read of an end of line.
struct Read {
  std::vector<std::string> lines;
  std::string echo;

  bool operator==(const Read& other) const { return lines == other.lines && echo == other.echo; }
};

/// Feeds a reader with pieces of a size, each of just its size so that a byte too many is noticed.
Read read_in_pieces(std::string_view characters, size_t size) {
  Read all;
  AtLineReader reader;
  while (!characters.empty()) {
    const std::vector<char> piece(characters.begin(),
                                  characters.begin() + std::min(size, characters.size()));
    const AtLineReader::Taken taken = reader.take({piece.data(), piece.size()}, all.echo);
    fuzz::require(taken.consumed > 0 && taken.consumed <= piece.size(), "what is given is taken");
    characters.remove_prefix(taken.consumed);
    if (taken.state == AtLineReader::State::incomplete) continue;
    const std::string& line = reader.line();
    fuzz::require(!line.empty() && line.size() <= factory_daemon::kLongestAtLine,
                  "a line has characters, and no more than it may have");
    fuzz::require(line.find_first_of("\r\n\x1b\b") == std::string::npos, "a line has no ends");
    all.lines.push_back(taken.state == AtLineReader::State::line ? line : "too long");
  }
  return all;
}

/// The commas of what is assigned are where the parameters meet.
void check_parameters(const AtCommand& command) {
  std::string joined;
  const char* separator = "";
  for (const std::string_view parameter : command.parameters) {
    joined += separator + std::string(parameter);
    separator = ",";
  }
  if (command.parameters.empty()) return;
  fuzz::require(joined == command.text, "the parameters are what is assigned");
  fuzz::require(command.form == AtForm::assign, "only what is assigned has parameters");
}

void read_commands(const std::string& line) {
  if (factory_daemon::why_no_at_line(line) != nullptr) return;
  const std::vector<char> exact(line.begin(), line.end());
  AtCommands commands(std::string_view(exact.data(), exact.size()));
  size_t count = 0;
  while (commands.has_next()) {
    AtCommand command;
    const char* reason = commands.next(command);
    fuzz::require(++count <= line.size(), "each command takes characters");
    if (reason != nullptr) {
      fuzz::require(!commands.has_next(), "nothing comes after what is none");
    } else {
      fuzz::require(!command.name.empty(), "a command has a name");
      check_parameters(command);
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view characters(reinterpret_cast<const char*>(data), size);
  const Read whole = read_in_pieces(characters, std::max<size_t>(size, 1));
  for (const size_t piece : {1, 2, 7, 64, 2047, 2049}) {
    fuzz::require(read_in_pieces(characters, piece) == whole, "pieces read as the whole");
  }
  for (const std::string& line : whole.lines) read_commands(line);
  return 0;
}
