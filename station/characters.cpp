#include "station/characters.h"

#include "daemon/hex.h"

namespace station {
namespace {

/// How many bytes a character has that begins so; 0: none does.
size_t size_from(uint8_t first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool is_character(uint32_t code, size_t size) {
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code < 0xE000;
  return code >= kSmallest[size] && code < 0x110000 && !is_surrogate;
}

}  // namespace

bool Characters::next() {
  if (rest_.empty()) return false;
  const auto first = static_cast<uint8_t>(rest_[0]);
  size_t size = size_from(first);
  code_ = size == 1 ? first : first & (0x7FU >> size);
  if (size == 0 || size > rest_.size()) code_ = kNone;
  for (size_t i = 1; i < size && code_ != kNone; ++i) {
    const auto byte = static_cast<uint8_t>(rest_[i]);
    code_ = (byte & 0xC0) == 0x80 ? code_ << 6 | (byte & 0x3FU) : kNone;
  }
  if (code_ == kNone || !is_character(code_, size)) {
    code_ = kNone;
    size = 1;
  }
  bytes_ = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return true;
}

std::string Characters::shown() const {
  if (!is_control()) return std::string(bytes_);
  std::string made;
  for (const char byte : bytes_) made += "\\x" + factory_daemon::to_hex({&byte, 1});
  return made;
}

bool has_controls(std::string_view text) {
  Characters characters(text);
  while (characters.next()) {
    if (characters.is_control()) return true;
  }
  return false;
}

size_t length_of(std::string_view text) {
  Characters characters(text);
  size_t count = 0;
  while (characters.next()) ++count;
  return count;
}

std::string utf8(uint32_t code) {
  if (code < 0x80) return {static_cast<char>(code)};
  const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  // As many marks as there are bytes.
  const auto marks = static_cast<uint32_t>(0xF0 << (3 - more)) & 0xFFU;
  std::string bytes(1, static_cast<char>(marks | code >> (6 * more)));
  for (int i = more - 1; i >= 0; --i) {
    bytes += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
  }
  return bytes;
}

std::string_view without_byte_order_mark(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  return text.substr(0, kMark.size()) == kMark ? text.substr(kMark.size()) : text;
}

}  // namespace station
