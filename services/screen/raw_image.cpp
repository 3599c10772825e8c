#include "services/screen/raw_image.h"

namespace fcx {
namespace {

/// More than any display has.
constexpr uint64_t kLargestImage = 256 << 20;

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

std::optional<size_t> pixels_to_read(const RawHeader& header, const Rectangle& rectangle,
                                     uint64_t file_size) {
  const auto size = header.pixel_bytes();
  if (!size.has_value() || *size > kLargestImage || kRawHeaderSize + *size > file_size) {
    return std::nullopt;
  }
  if (!rectangle.is_within(header.width, header.height)) return std::nullopt;
  return static_cast<size_t>(*size);
}

}  // namespace fcx
