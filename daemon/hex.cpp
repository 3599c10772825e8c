#include "daemon/hex.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>

namespace factory_daemon {

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

std::optional<std::string> from_hex(std::string_view digits, std::string& wrong) {
  std::string packed;
  for (const char c : digits) {
    if (c == ' ' || c == ':' || c == ',') continue;
    if (!isxdigit(c)) {
      wrong = "\"" + std::string(digits) + "\": '" + c + "' is no hexadecimal digit";
      return std::nullopt;
    }
    packed += c;
  }
  if (packed.size() % 2 != 0) {
    wrong = "\"" + std::string(digits) + "\" has an odd number of hexadecimal digits";
    return std::nullopt;
  }
  std::string bytes;
  for (size_t i = 0; i < packed.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(packed.data() + i, packed.data() + i + 2, value, 16);
    bytes += static_cast<char>(value);
  }
  return bytes;
}

std::string as_word(std::string_view data) {
  const bool is_plain =
      std::all_of(data.begin(), data.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return is_plain ? std::string(data) : "hex:" + to_hex(data);
}

}  // namespace factory_daemon
