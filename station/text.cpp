#include "station/text.h"

#include <algorithm>
#include <charconv>

#include "station/pattern.h"

namespace station {
namespace {

constexpr std::string_view kDigits = "0123456789";

template <typename Each>
std::optional<std::string> filled_with(const Text& text, const Values& values, Each&& each) {
  std::string made;
  for (const Piece& piece : text) {
    if (!piece.is_variable) {
      made += piece.text;
      continue;
    }
    const auto value = values.find(piece.text);
    if (value == values.end()) return std::nullopt;
    made += each(value->second);
  }
  return made;
}

void add(Text& text, std::string_view plain) {
  if (plain.empty()) return;
  if (text.empty() || text.back().is_variable) text.emplace_back();
  text.back().text += plain;
}

}  // namespace

std::optional<std::string> filled(const Text& text, const Values& values) {
  return filled_with(text, values, [](const std::string& value) { return value; });
}

std::optional<std::string> filled_pattern(const Text& pattern, const Values& values) {
  return filled_with(pattern, values, pattern_of);
}

bool is_variable_name(std::string_view name) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
  constexpr size_t kLongest = 64;
  return !name.empty() && name.size() <= kLongest &&
         name.find_first_not_of(kAllowed) == std::string_view::npos &&
         kDigits.find(name.front()) == std::string_view::npos;
}

std::optional<Text> read_text_with_variables(std::string_view text, std::string& wrong) {
  Text made;
  while (!text.empty()) {
    const size_t dollar = std::min(text.find('$'), text.size());
    add(made, text.substr(0, dollar));
    text.remove_prefix(dollar);
    if (text.empty()) break;
    if (text.substr(0, 2) == "$$") {
      add(made, "$");
      text.remove_prefix(2);
      continue;
    }
    const size_t end = text.substr(0, 2) == "${" ? text.find('}') : std::string_view::npos;
    const std::string_view name = end == std::string_view::npos ? "" : text.substr(2, end - 2);
    if (!is_variable_name(name)) {
      wrong = "a dollar is written $$, and a variable ${NAME}, of letters, digits and _";
      return std::nullopt;
    }
    made.push_back({std::string(name), true});
    text.remove_prefix(end + 1);
  }
  return made;
}

std::optional<int64_t> read_duration(std::string_view text) {
  constexpr size_t kMostDigits = 9;
  constexpr std::pair<std::string_view, int64_t> kUnits[] = {
      {"ms", 1}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}};
  const std::string_view digits = text.substr(0, text.find_first_not_of(kDigits));
  text.remove_prefix(digits.size());
  if (digits.empty() || digits.size() > kMostDigits) return std::nullopt;
  if (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  int64_t number = 0;
  // At most nine digits are a number.
  static_cast<void>(std::from_chars(digits.data(), digits.data() + digits.size(), number));
  for (const auto& [unit, ms] : kUnits) {
    if (text == unit) return number * ms;
  }
  return std::nullopt;
}

std::optional<std::string> counted_on(const std::string& first, uint64_t steps) {
  std::string made = first;
  const size_t before = made.find_last_not_of(kDigits);
  const size_t begin = before == std::string::npos ? 0 : before + 1;
  if (begin == made.size()) return std::nullopt;
  for (size_t i = made.size(); i > begin && steps > 0; --i) {
    const uint64_t sum = static_cast<uint64_t>(made[i - 1] - '0') + steps % 10;
    made[i - 1] = static_cast<char>('0' + sum % 10);
    steps = steps / 10 + sum / 10;
  }
  return steps == 0 ? std::optional(made) : std::nullopt;
}

}  // namespace station
