#include "tools/text.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "tools/errors.h"

namespace cli {
namespace {

constexpr std::string_view kHex = "hex:";

}  // namespace

std::string from_hex(std::string_view digits) {
  std::string wrong;
  const auto bytes = factory_daemon::from_hex(digits, wrong);
  if (!bytes.has_value()) throw UsageError(wrong);
  return *bytes;
}

bool is_hex_word(const std::string& word) { return word.compare(0, kHex.size(), kHex) == 0; }

std::string bytes_of(const std::string& word) {
  if (!is_hex_word(word)) return word;
  const std::string bytes = from_hex(std::string_view(word).substr(kHex.size()));
  if (bytes.empty()) throw UsageError("there are no bytes after " + std::string(kHex));
  return bytes;
}

std::string harmless(const std::string& text) {
  std::string made;
  for (const char c : text) {
    const bool is_control = c == '\x7f' || (c < ' ' && c != '\n');
    made += is_control ? "\\x" + to_hex({&c, 1}) : std::string(1, c);
  }
  return made;
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

bool names_sim(const std::string& property) {
  return property.find("iccid") != std::string::npos &&
         property.find("iccid-mcc") == std::string::npos;
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

}  // namespace cli
