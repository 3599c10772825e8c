#include "tools/cli.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <numeric>

#include "fcx/single_binary.h"

namespace cli {

std::filesystem::path Invocation::directory() const {
  return phone_directory.empty() ? virtual_phone::default_directory()
                                 : std::filesystem::path(phone_directory);
}

virtual_phone::Phone& Invocation::open_phone() const {
  virtual_phone::select(directory());
  fcx::reload_carrier_set_up();  // what was found out at load was another phone's, or nobody's
  return virtual_phone::selected();
}

CLI::App& add_command(CLI::App& parent, const char* name, const std::string& description,
                      const std::string& examples, std::function<void()> run) {
  CLI::App& command = *parent.add_subcommand(name, description);
  command.fallthrough();
  if (!examples.empty()) command.footer("Examples:\n" + examples);
  if (run) command.callback(std::move(run));
  return command;
}

TextTable::TextTable(std::vector<std::string> head) { add(std::move(head)); }

void TextTable::add(std::vector<std::string> row) {
  // One line a row, whatever a cell holds.
  for (std::string& cell : row) {
    for (size_t at = 0; (at = cell.find('\n', at)) != std::string::npos; ++at) {
      cell.replace(at, 1, "\\n");
    }
  }
  rows_.push_back(std::move(row));
}

void TextTable::print() const {
  std::vector<size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows_) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      line.append(widths[i] - row[i].size() + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    puts(line.c_str());
  }
}

void print(const Json& object) {
  // Text from a phone may be any bytes; what is no UTF-8 is replaced.
  puts(object.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

std::string to_hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<uint8_t>(byte);
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
  }
  return text;
}

std::string from_hex(std::string_view digits) {
  std::string packed;
  for (const char c : digits) {
    if (c == ' ' || c == ':' || c == ',') continue;
    if (!isxdigit(c)) {
      throw UsageError("\"" + std::string(digits) + "\": '" + c + "' is no hexadecimal digit");
    }
    packed += c;
  }
  if (packed.size() % 2 != 0) {
    throw UsageError("\"" + std::string(digits) + "\" has an odd number of hexadecimal digits");
  }
  std::string bytes;
  for (size_t i = 0; i < packed.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(packed.data() + i, packed.data() + i + 2, value, 16);
    bytes += static_cast<char>(value);
  }
  return bytes;
}

std::string bytes_of(const std::string& word) {
  constexpr std::string_view kHex = "hex:";
  if (word.compare(0, kHex.size(), kHex) != 0) return word;
  return from_hex(std::string_view(word).substr(kHex.size()));
}

bool is_printable(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char c) { return (c >= ' ' && c <= '~') || c == '\n' || c == '\t'; });
}

std::string shown(std::string_view bytes) {
  return is_printable(bytes) ? std::string(bytes) : "hex:" + to_hex(bytes);
}

std::string masked(std::string text) {
  constexpr size_t kShown = 4;
  // Of a short one, the end would be most of it.
  const size_t hidden = text.size() >= 2 * kShown ? text.size() - kShown : text.size();
  return text.replace(0, hidden, hidden, '*');
}

std::string shown_time(int64_t time_us) {
  const auto second = static_cast<time_t>(time_us / 1'000'000);
  tm local{};
  localtime_r(&second, &local);
  std::array<char, 16> text{};
  strftime(text.data(), text.size(), "%H:%M:%S", &local);
  const std::string milliseconds = std::to_string(time_us / 1000 % 1000 + 1000).substr(1);
  return std::string(text.data()) + "." + milliseconds;
}

namespace {

/// How many letters must change to make one word of the other.
size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& words) {
  constexpr size_t kMost = 3;
  constexpr size_t kTooShort = 3;  // everything is near to a letter or two
  if (word.size() < kTooShort) return "";
  const size_t most_changes = word.size() > kTooShort ? 2 : 1;
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& known : words) {
    const bool part = word.size() > 2 && known.find(word) != std::string::npos;
    // A word may also be the beginning of a longer name.
    const size_t distance =
        part ? 0
             : std::min(edit_distance(word, known),
                        edit_distance(word, std::string_view(known).substr(0, word.size())));
    if (distance <= std::max<size_t>(most_changes, word.size() / 3))
      near.emplace_back(distance, known);
  }
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  std::string list;
  for (size_t i = 0; i < std::min(near.size(), kMost); ++i) {
    list += (i == 0 ? "" : ", ") + near[i].second;
  }
  return list;
}

int64_t number_of(const std::string& text, const std::string& what) {
  int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) {
    throw UsageError(what + " is no number as large as " + text);
  }
  if (error != std::errc() || end != text.data() + text.size()) {
    throw UsageError(what + " is a whole number, not \"" + text + "\"");
  }
  return number;
}

size_t count_of(const std::string& text, const std::string& what) {
  const int64_t number = number_of(text, what);
  if (number < 0) throw UsageError(what + " takes no negative number");
  return static_cast<size_t>(number);
}

}  // namespace cli
