// UTF-8, character by character.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace station {

class Characters {
 public:
  explicit Characters(std::string_view text) : rest_(text) {}

  /// Goes on to the next character. A byte that begins none is one of its own. @return whether
  /// there was one
  bool next();

  /// Those of the present one, one to four.
  std::string_view bytes() const { return bytes_; }
  /// Its number, or kNone for a byte that begins no character.
  uint32_t code() const { return code_; }
  bool is_valid() const { return code_ != kNone; }
  /// Whether it does something to a terminal rather than being shown: line ends and tabs, too, and
  /// what is no character.
  bool is_control() const {
    return code_ < 0x20 || (code_ >= 0x7F && code_ < 0xA0) || code_ == kNone;
  }
  /// As it may be shown: what is_control() is, as \xNN a byte.
  std::string shown() const;

 private:
  static constexpr uint32_t kNone = UINT32_MAX;

  std::string_view rest_;
  std::string_view bytes_;
  uint32_t code_ = kNone;
};

/// Whether a text has a control character, or what is no character.
bool has_controls(std::string_view text);

/// How many characters it has.
size_t length_of(std::string_view text);

/// The character of that number as UTF-8; `code` is below 0x110000 and no surrogate.
std::string utf8(uint32_t code);

/// The text without the mark that some editors put before it.
std::string_view without_byte_order_mark(std::string_view text);

}  // namespace station
