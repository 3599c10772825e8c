#include "daemon/hex.h"

#include <algorithm>

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

std::string as_word(std::string_view data) {
  const bool is_plain =
      std::all_of(data.begin(), data.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return is_plain ? std::string(data) : "hex:" + to_hex(data);
}

}  // namespace factory_daemon
