#include "services/screen/raw_image.h"

#include <cstring>

#include "services/screen/pixels.h"

namespace fcx {
namespace {

constexpr int32_t kFormatRgb888 = 3;
constexpr int32_t kFormatRgb565 = 4;

int32_t word_at(std::string_view bytes, size_t offset) {
  uint32_t word = 0;
  for (size_t i = 0; i < sizeof word; ++i) {
    word |= uint32_t{static_cast<uint8_t>(bytes[offset + i])} << (8 * i);
  }
  return static_cast<int32_t>(word);
}

}  // namespace

int RawHeader::bits_per_pixel() const {
  return format == kFormatRgb888 ? 24 : format == kFormatRgb565 ? 16 : 32;
}

std::optional<uint64_t> RawHeader::pixel_bytes() const {
  if (width < 0 || height < 0) return std::nullopt;
  const auto bytes_per_pixel = static_cast<uint64_t>(bits_per_pixel() / 8);
  return static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * bytes_per_pixel;
}

std::optional<RawHeader> parse_raw_header(std::string_view bytes) {
  if (bytes.size() < kRawHeaderSize) return std::nullopt;
  return RawHeader{word_at(bytes, 0), word_at(bytes, 4), word_at(bytes, 8)};
}

bool Rectangle::is_valid() const {
  if (top < 0 || left < 0 || width < 0 || height < 0) return false;
  const int64_t pixels = int64_t{width} * height;
  return int64_t{left} + width <= INT32_MAX && int64_t{top} + height <= INT32_MAX &&
         pixels <= INT32_MAX / static_cast<int64_t>(kBytes32);
}

bool Rectangle::is_within(int32_t picture_width, int32_t picture_height) const {
  return int64_t{left} + width <= picture_width && int64_t{top} + height <= picture_height;
}

bool Rectangle::is_within_bytes(uint64_t size, uint64_t stride, size_t bytes_per_pixel) const {
  if (width == 0 || height == 0) return true;
  const uint64_t last_row = static_cast<uint64_t>(top) + static_cast<uint64_t>(height) - 1;
  const uint64_t end_in_row = static_cast<uint64_t>(left) + static_cast<uint64_t>(width);
  return stride * last_row + end_in_row <= size / bytes_per_pixel;
}

}  // namespace fcx
