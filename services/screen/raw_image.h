// The raw image files that the device's screenshot program writes: a header of three little-endian
// words of 32 bits (width, height, pixel format), then the rows, packed, from top to bottom.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "services/screen/rectangle.h"

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

/// How many bytes of pixels are to be read of a file of that size to have a valid rectangle of the
/// image; nothing when the file has not all that its header says, or that does not have the
/// rectangle.
std::optional<size_t> pixels_to_read(const RawHeader& header, const Rectangle& rectangle,
                                     uint64_t file_size);

}  // namespace fcx
