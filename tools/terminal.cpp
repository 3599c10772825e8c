#include "tools/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <cwchar>

namespace cli {
namespace {

constexpr size_t kUsualColumns = 80;
constexpr size_t kFewestColumns = 20;  // nothing can be laid out in less

/// A number of columns, or nothing.
std::optional<size_t> columns_in(const char* text) {
  if (text == nullptr) return std::nullopt;
  const std::string_view digits = text;
  size_t columns = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), columns);
  if (error != std::errc() || end != digits.data() + digits.size() || columns == 0) {
    return std::nullopt;
  }
  return columns;
}

/// For what a character is, whatever locale the tool runs in.
locale_t utf8() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

class InUtf8 {
 public:
  InUtf8() : before_(uselocale(utf8())) {}
  ~InUtf8() { uselocale(before_); }
  InUtf8(const InUtf8&) = delete;
  InUtf8& operator=(const InUtf8&) = delete;

 private:
  locale_t before_;
};

struct Character {
  size_t bytes;
  size_t columns;
};

Character first_character(std::string_view text) {
  std::mbstate_t state{};
  wchar_t character = 0;
  const size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 1};
  const int columns = wcwidth(character);
  return {bytes, columns < 0 ? 1 : static_cast<size_t>(columns)};
}

/// How many of its bytes fit into so many columns, but one character at least.
size_t bytes_in(std::string_view text, size_t columns) {
  const InUtf8 locale;
  size_t taken = 0;
  size_t at = 0;
  while (at < text.size()) {
    const Character next = first_character(text.substr(at));
    if (at > 0 && taken + next.columns > columns) break;
    taken += next.columns;
    at += next.bytes;
  }
  return at;
}

bool has_colours(FILE* stream) {
  const char* refused = getenv("NO_COLOR");
  const char* terminal = getenv("TERM");
  return isatty(fileno(stream)) != 0 && (refused == nullptr || *refused == '\0') &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

std::optional<size_t> output_columns() {
  if (is_wide || isatty(STDOUT_FILENO) == 0) return std::nullopt;
  winsize size{};
  auto columns = columns_in(getenv("COLUMNS"));
  if (!columns.has_value() && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    columns = size.ws_col;
  }
  return std::max(columns.value_or(kUsualColumns), kFewestColumns);
}

size_t text_columns() { return output_columns().value_or(kUsualColumns); }

size_t columns_of(std::string_view text) {
  const InUtf8 locale;
  size_t columns = 0;
  while (!text.empty()) {
    const Character next = first_character(text);
    columns += next.columns;
    text.remove_prefix(next.bytes);
  }
  return columns;
}

std::vector<std::string> wrapped(std::string_view text, size_t columns) {
  std::vector<std::string> lines(1);
  while (!text.empty()) {
    const size_t end = std::min(text.find_first_of(" \n"), text.size());
    const std::string_view word = text.substr(0, end);
    std::string& line = lines.back();
    if (line.empty()) {
      line = word;
    } else if (columns_of(line) + 1 + columns_of(word) <= columns) {
      line.append(" ").append(word);
    } else if (!word.empty()) {
      lines.emplace_back(word);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::vector<std::string> split_at(std::string_view text, size_t columns) {
  std::vector<std::string> pieces;
  do {
    size_t bytes = bytes_in(text, columns);
    const size_t mark = text.substr(0, bytes).find_last_of("./_-,");
    if (bytes < text.size() && mark != std::string_view::npos && mark >= bytes / 2)
      bytes = mark + 1;
    pieces.emplace_back(text.substr(0, bytes));
    text.remove_prefix(bytes);
  } while (!text.empty());
  return pieces;
}

std::string heading(const std::string& text) {
  return has_colours(stdout) ? "\033[1m" + text + "\033[0m" : text;
}

std::string failure(const std::string& text, FILE* stream) {
  return has_colours(stream) ? "\033[31m" + text + "\033[0m" : text;
}

}  // namespace cli
