// What a process tells another: values, one after another.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

#include "virtual_phone/core/error.h"

namespace exploration {

/// Each value with its length before it.
class Writer {
 public:
  void add(std::string_view bytes) {
    bytes_ += std::to_string(bytes.size()) + ":";
    bytes_ += bytes;
  }
  void add(int64_t number) { add(std::to_string(number)); }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Takes them up again. Throws virtual_phone::Error for what was not told to its end.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  bool is_at_end() const { return rest_.empty(); }
  std::string text() {
    const size_t colon = std::min(rest_.find(':'), rest_.size());
    size_t size = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + colon, size);
    const bool is_whole = error == std::errc() && end == rest_.data() + colon &&
                          colon < rest_.size() && size <= rest_.size() - colon - 1;
    if (!is_whole) throw virtual_phone::Error("a process was not told to its end");
    std::string value(rest_.substr(colon + 1, size));
    rest_.remove_prefix(colon + 1 + size);
    return value;
  }
  int64_t number() {
    const std::string digits = text();
    int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || *end != '\0') throw virtual_phone::Error("no number was told");
    return value;
  }

 private:
  std::string_view rest_;
};

}  // namespace exploration
