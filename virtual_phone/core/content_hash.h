// A number that stands for a content.
#pragma once

#include <cstdint>
#include <string_view>

namespace virtual_phone {

/// FNV-1a of all bytes that were added: hardly any other content has it, and it is the same on
/// every machine. Whoever wants to can make two contents that share one.
class ContentHash {
 public:
  void add(std::string_view bytes) {
    for (const char byte : bytes) value_ = (value_ ^ static_cast<uint8_t>(byte)) * kPrime;
  }
  uint64_t value() const { return value_; }

 private:
  static constexpr uint64_t kOffset = 0xcbf29ce484222325;
  static constexpr uint64_t kPrime = 0x100000001b3;
  uint64_t value_ = kOffset;
};

}  // namespace virtual_phone
