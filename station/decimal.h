// Decimal numbers as they are written, compared exactly.
//
//   Decimal::read("3.30")->compare(*Decimal::read("3.3")) == 0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace station {

class Decimal {
 public:
  /// What a text says: digits, which may have a sign, a point and an exponent of at most 1000
  /// either way. Nothing for any other text, blanks and all.
  static std::optional<Decimal> read(std::string_view text);

  /// Below, at or above 0: this one is less than, as large as or greater than the other.
  int compare(const Decimal& other) const;
  /// Its value where it is whole and no larger than 64 bits hold.
  std::optional<int64_t> whole() const;
  /// As it was written.
  const std::string& text() const { return text_; }

 private:
  int compare_magnitude(const Decimal& other) const;

  std::string text_;
  bool is_negative_ = false;
  std::string digits_;  ///< neither the first nor the last is 0; empty for 0
  int64_t point_ = 0;   ///< so many digits stand before the point; below 0 zeros follow it
};

}  // namespace station
