#include "station/decimal.h"

#include <algorithm>
#include <charconv>

namespace station {
namespace {

constexpr std::string_view kDigits = "0123456789";

std::string_view take_digits(std::string_view& text) {
  const std::string_view digits = text.substr(0, text.find_first_not_of(kDigits));
  text.remove_prefix(digits.size());
  return digits;
}

bool take_one_of(std::string_view& text, std::string_view wanted) {
  if (text.empty() || wanted.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

/// What stands after the e; nothing for what is no exponent, or none that is read.
std::optional<int64_t> take_exponent(std::string_view& text) {
  constexpr int64_t kMost = 1000;
  const bool is_negative = !text.empty() && text.front() == '-';
  take_one_of(text, "+-");
  const std::string_view digits = take_digits(text);
  int64_t exponent = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  if (error != std::errc() || exponent > kMost) return std::nullopt;
  return is_negative ? -exponent : exponent;
}

}  // namespace

std::optional<Decimal> Decimal::read(std::string_view text) {
  Decimal made;
  made.text_ = text;
  made.is_negative_ = !text.empty() && text.front() == '-';
  take_one_of(text, "+-");
  const std::string_view whole = take_digits(text);
  const std::string_view fraction = take_one_of(text, ".") ? take_digits(text) : "";
  if (whole.empty() && fraction.empty()) return std::nullopt;
  std::optional<int64_t> exponent = 0;
  if (take_one_of(text, "eE")) exponent = take_exponent(text);
  if (!exponent.has_value() || !text.empty()) return std::nullopt;
  made.digits_ = std::string(whole) + std::string(fraction);
  made.point_ = static_cast<int64_t>(whole.size()) + *exponent;
  const size_t zeros = std::min(made.digits_.find_first_not_of('0'), made.digits_.size());
  made.digits_.erase(0, zeros);
  made.digits_.erase(made.digits_.find_last_not_of('0') + 1);
  made.point_ -= static_cast<int64_t>(zeros);
  if (made.digits_.empty()) {
    made.is_negative_ = false;
    made.point_ = 0;
  }
  return made;
}

int Decimal::compare_magnitude(const Decimal& other) const {
  if (digits_.empty() || other.digits_.empty()) {
    return static_cast<int>(other.digits_.empty()) - static_cast<int>(digits_.empty());
  }
  if (point_ != other.point_) return point_ < other.point_ ? -1 : 1;
  return digits_.compare(other.digits_);
}

int Decimal::compare(const Decimal& other) const {
  if (is_negative_ != other.is_negative_) return is_negative_ ? -1 : 1;
  return is_negative_ ? other.compare_magnitude(*this) : compare_magnitude(other);
}

std::optional<int64_t> Decimal::whole() const {
  constexpr int64_t kMostDigits = 19;
  const auto count = static_cast<int64_t>(digits_.size());
  if (point_ < count || point_ > kMostDigits) return std::nullopt;
  const std::string written =
      (is_negative_ ? "-" : "") + digits_ + std::string(static_cast<size_t>(point_ - count), '0');
  int64_t value = 0;
  if (written.empty()) return value;
  const auto [end, error] = std::from_chars(written.data(), written.data() + written.size(), value);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

}  // namespace station
