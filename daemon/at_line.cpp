#include "daemon/at_line.h"

#include <strings.h>

#include <algorithm>

namespace factory_daemon {
namespace {

constexpr char kEscape = '\x1b';
constexpr char kBackspace = '\b';
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kNameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
/// Its text is all that follows in the line.
constexpr std::string_view kTakesTheRest = "%FCX";

bool is_blank(char c) { return c == ' ' || c == '\t'; }

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

std::string_view without_blanks_before(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string_view without_blanks_after(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// Where `sought` stands outside of quotation marks, or the text's size.
size_t find_unquoted(std::string_view text, char sought) {
  bool is_quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') is_quoted = !is_quoted;
    if (text[i] == sought && !is_quoted) return i;
  }
  return text.size();
}

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t comma = find_unquoted(text, ',');
    parts.push_back(text.substr(0, comma));
    if (comma == text.size()) return parts;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace

AtLineReader::Taken AtLineReader::take(std::string_view characters, std::string& echo) {
  if (has_ended_) reset();
  for (size_t i = 0; i < characters.size(); ++i) {
    if (!is_end(characters[i])) {
      add(characters[i], echo);
      continue;
    }
    if (characters[i] == '\r') echo += '\r';
    line_.resize(without_blanks_after(line_).size());
    if (line_.empty()) continue;
    has_ended_ = true;
    return {is_too_long_ ? State::too_long : State::line, i + 1};
  }
  return {State::incomplete, characters.size()};
}

bool AtLineReader::is_end(char character) const { return character == '\r' || character == '\n'; }

void AtLineReader::add(char character, std::string& echo) {
  if (character == kEscape) return reset();
  if (character == kBackspace) {
    if (line_.empty() || is_too_long_) return;
    line_.pop_back();
    echo += "\b \b";
    return;
  }
  echo += character;
  if (line_.empty() && is_blank(character)) return;
  if (line_.size() == kLongestAtLine) {
    // Blanks at its end would not count.
    is_too_long_ |= !is_blank(character);
  } else {
    line_ += character;
  }
}

void AtLineReader::reset() {
  line_.clear();
  has_ended_ = false;
  is_too_long_ = false;
}

const char* why_no_at_line(std::string_view line) {
  if (line.size() > kLongestAtLine) return "it has more than 2048 characters";
  if (line.find_first_of("\r\n") != std::string_view::npos) return "it is more than one";
  if (line.find('\0') != std::string_view::npos) return "it has a NUL inside";
  const bool begins_with_at = line.size() >= 2 && strncasecmp(line.data(), "AT", 2) == 0;
  return begins_with_at ? nullptr : "it does not begin with AT";
}

AtCommands::AtCommands(std::string_view line)
    : rest_(without_blanks_before(without_blanks_after(line.substr(2)))) {}

const char* AtCommands::next(AtCommand& command) {
  command = {};
  const bool is_extended = rest_.front() == '+' || rest_.front() == '%';
  const char* reason = is_extended ? read_extended(command) : read_basic(command);
  rest_ = reason == nullptr ? without_blanks_before(rest_) : std::string_view();
  return reason;
}

const char* AtCommands::read_basic(AtCommand& command) {
  const size_t sign = rest_.front() == '&' ? 1 : 0;
  if (rest_.size() <= sign || !is_letter(rest_[sign])) {
    return "a command begins with a letter, &, + or %";
  }
  command.name = rest_.substr(0, sign + 1);
  rest_.remove_prefix(command.name.size());
  const size_t digits = std::min(rest_.find_first_not_of(kDigits), rest_.size());
  command.text = rest_.substr(0, digits);
  if (digits > 0) command.form = AtForm::assign;
  rest_.remove_prefix(digits);
  // Not needed after a basic command, and common all the same.
  rest_ = without_blanks_before(rest_);
  if (!rest_.empty() && rest_.front() == ';') rest_.remove_prefix(1);
  return nullptr;
}

const char* AtCommands::read_extended(AtCommand& command) {
  const size_t length = std::min(rest_.find_first_not_of(kNameCharacters, 1), rest_.size());
  if (length == 1) return "a name has letters, digits and _";
  command.name = rest_.substr(0, length);
  const bool takes_the_rest = length == kTakesTheRest.size() &&
                              strncasecmp(command.name.data(), kTakesTheRest.data(), length) == 0;
  const size_t end = takes_the_rest ? rest_.size() : find_unquoted(rest_, ';');
  std::string_view form = rest_.substr(length, end - length);
  rest_.remove_prefix(std::min(end + 1, rest_.size()));
  if (!takes_the_rest) form = without_blanks_after(form);
  if (form.empty()) return nullptr;
  if (form == "?" || form == "=?") {
    command.form = form == "?" ? AtForm::query : AtForm::range;
    return nullptr;
  }
  if (form.front() != '=') return "after a name comes ?, =?, = and values, ; or nothing";
  command.form = AtForm::assign;
  command.text = form.substr(1);
  command.parameters = split(command.text);
  return nullptr;
}

}  // namespace factory_daemon
