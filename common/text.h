// Text with its size.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

namespace fcx {

/// The text in `bytes` up to its NUL, or all `size` bytes when there is none.
inline std::string_view bounded_text(const char* bytes, size_t size) {
  return {bytes, strnlen(bytes, size)};
}

/// A text of at most `Capacity` characters that always ends in a NUL; a longer one is cut.
template <size_t Capacity>
class TextBuffer {
 public:
  TextBuffer() = default;
  explicit TextBuffer(std::string_view text) { text.copy(bytes_.data(), Capacity); }

  static constexpr size_t capacity() { return Capacity; }
  /// Adds text after what is there; what does not fit is cut.
  void append(std::string_view text) {
    const size_t length = view().size();
    text.copy(bytes_.data() + length, Capacity - length);
  }
  /// Capacity bytes to be filled; the NUL after them stays.
  char* data() { return bytes_.data(); }
  const char* c_str() const { return bytes_.data(); }
  std::string_view view() const { return bounded_text(bytes_.data(), Capacity); }
  bool empty() const { return bytes_[0] == '\0'; }

 private:
  std::array<char, Capacity + 1> bytes_{};
};

/// The number at the start of `text`, read as atoi() does: white space, a sign, digits; 0 when
/// there are none. A number beyond 32 bits is the nearest one within, as on the phone.
inline int32_t decimal_number(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string_view::npos) return 0;
  text.remove_prefix(start);
  // from_chars() knows '-', not '+'.
  if (text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return 0;
  }
  int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) {
    using Limits = std::numeric_limits<int32_t>;
    return text.front() == '-' ? Limits::min() : Limits::max();
  }
  return number;
}

}  // namespace fcx
