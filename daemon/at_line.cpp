#include "daemon/at_line.h"

#include <algorithm>

namespace factory_daemon {
namespace {

constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBlanksAndLineEnds = " \t\r\n";
constexpr std::string_view kNameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

std::string_view without_blanks_after(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t comma = text.find(',');
    parts.push_back(text.substr(0, comma));
    if (comma == std::string_view::npos) return parts;
    text.remove_prefix(comma + 1);
  }
}

bool begins_with_at(std::string_view line) {
  return line.size() >= 2 && (line[0] == 'A' || line[0] == 'a') &&
         (line[1] == 'T' || line[1] == 't');
}

/// Reads what follows a name. Whether it can follow one.
bool read_form(std::string_view rest, AtCommand& command) {
  if (rest.empty()) {
    command.form = AtForm::execute;
  } else if (rest == "?") {
    command.form = AtForm::query;
  } else if (rest == "=?") {
    command.form = AtForm::range;
  } else if (rest.front() == '=') {
    command.form = AtForm::assign;
    command.text = rest.substr(1);
    command.parameters = split(command.text);
  } else {
    return false;
  }
  return true;
}

/// Reads a line without blanks around it. @return why it is no command, or null
const char* read_command(std::string_view line, AtCommand& command) {
  if (line.find('\0') != std::string_view::npos) return "it has a NUL inside";
  if (!begins_with_at(line)) return "it does not begin with AT";
  line.remove_prefix(2);
  if (line.empty()) return nullptr;
  if (line.front() != '%') return "after AT comes % and a name";
  line.remove_prefix(1);
  const size_t length = std::min(line.find_first_not_of(kNameCharacters), line.size());
  if (length == 0) return "a name has letters, digits and _";
  command.name = line.substr(0, length);
  return read_form(line.substr(length), command)
             ? nullptr
             : "after a name comes ?, =?, = and values, or nothing";
}

}  // namespace

AtLine AtLineReader::next(std::string_view bytes) {
  AtLine found;
  if (is_in_long_line_) {
    found.consumed = std::min(bytes.find_first_of(kLineEnds), bytes.size());
    if (found.consumed == bytes.size()) return found;
    is_in_long_line_ = false;
  }
  found.consumed =
      std::min(bytes.find_first_not_of(kBlanksAndLineEnds, found.consumed), bytes.size());
  const std::string_view rest = bytes.substr(found.consumed);
  const size_t length = std::min(rest.find_first_of(kLineEnds), rest.size());
  const bool has_end = length < rest.size();
  if (length > kLongestAtLine) {
    is_in_long_line_ = !has_end;
    found.reason = "it is too long";
  } else if (has_end) {
    found.reason = read_command(without_blanks_after(rest.substr(0, length)), found.command);
  } else {
    return found;
  }
  found.state = found.reason == nullptr ? AtLine::State::command : AtLine::State::invalid;
  // Of "\r\n" the second byte is an empty line before the next: it may not have arrived yet.
  found.consumed += has_end ? length + 1 : length;
  return found;
}

}  // namespace factory_daemon
