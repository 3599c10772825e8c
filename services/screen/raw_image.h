// The raw image files that the device's screenshot program writes: a header of three little-endian
// words of 32 bits (width, height, pixel format), then the rows, packed, from top to bottom.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace fcx {

constexpr size_t kRawHeaderSize = 12;

/// What a header says, true or not.
struct RawHeader {
  int32_t width = 0;
  int32_t height = 0;
  int32_t format = 0;

  /// 24 for format 3, 16 for 4, 32 for any other.
  int bits_per_pixel() const;
  /// Bytes of all rows; nothing when a size is negative.
  std::optional<uint64_t> pixel_bytes() const;
};

/// Nothing when `bytes` is too short for a header.
std::optional<RawHeader> parse_raw_header(std::string_view bytes);

/// A part of a picture, in pixels.
struct Rectangle {
  int32_t top = 0;
  int32_t left = 0;
  int32_t width = 0;
  int32_t height = 0;

  /// Not negative, and none of its numbers, nor its pixels in bytes, pass 31 bits.
  bool is_valid() const;
  /// Whether a valid one is within a picture of that size.
  bool is_within(int32_t picture_width, int32_t picture_height) const;
  /// Whether a valid one is within `size` bytes of rows, each `stride` pixels after the other.
  bool is_within_bytes(uint64_t size, uint64_t stride, size_t bytes_per_pixel) const;
};

}  // namespace fcx
