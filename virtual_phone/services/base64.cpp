#include "virtual_phone/services/base64.h"

#include <cstdint>

namespace virtual_phone {
namespace {

constexpr std::string_view kLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kGroup = 4;  // letters, for three bytes

}  // namespace

std::string to_base64(std::string_view bytes) {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3)) {
    uint32_t bits = 0;
    for (size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < bytes.size() ? static_cast<uint8_t>(bytes[i]) : 0);
    }
    for (size_t i = 0; i < kGroup; ++i) {
      text += i > bytes.size() ? '=' : kLetters[bits >> (18 - 6 * i) & 63];
    }
  }
  return text;
}

std::optional<std::string> from_base64(std::string_view text) {
  if (text.size() % kGroup != 0) return std::nullopt;
  size_t padding = 0;
  while (padding < 2 && !text.empty() && text.back() == '=') {
    text.remove_suffix(1);
    ++padding;
  }
  std::string bytes;
  uint32_t bits = 0;
  int count = 0;
  for (const char letter : text) {
    const size_t value = kLetters.find(letter);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<uint32_t>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

}  // namespace virtual_phone
