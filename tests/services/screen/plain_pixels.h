// Pixels converted one after the other, as they are described.
#pragma once

#include <cstdint>
#include <string>

namespace fcx_test {

/// Bytes without a pattern that a vector could hide.
inline std::string some_bytes(size_t size) {
  std::string found(size, '\0');
  uint32_t state = 1;
  for (char& each : found) each = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return found;
}

/// Each channel's highest bits.
inline std::string plain_rgb565(const std::string& pixels) {
  std::string found;
  for (size_t i = 0; i < pixels.size(); i += 4) {
    const int pixel = pixels[i] / 8 * 2048 + pixels[i + 1] / 4 * 32 + pixels[i + 2] / 8;
    found += {static_cast<char>(pixel % 256), static_cast<char>(pixel / 256)};
  }
  return found;
}

inline std::string plain_bits(const std::string& rgb565, int64_t limit) {
  std::string found((rgb565.size() / 2 + 7) / 8, '\0');
  for (size_t i = 0; i < rgb565.size() / 2; ++i) {
    const int value = rgb565[i * 2] * 256 + rgb565[i * 2 + 1];
    const int brightness = 2 * (value & 31) + ((value >> 5) & 63) + 2 * ((value >> 11) & 31);
    if (brightness > limit) found[i / 8] = static_cast<char>(found[i / 8] | 128 >> i % 8);
  }
  return found;
}

}  // namespace fcx_test
