#include "services/screen/rectangle.h"

#include <algorithm>
#include <cstring>

#include "services/screen/pixels.h"

namespace fcx {
namespace {

template <size_t Bytes>
void copy_pixels(const char* source, char* target, size_t count) {
  memcpy(target, source, count * Bytes);
}

}  // namespace

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

const PixelForm& rgb565_form() {
  static const PixelForm form = {kBytes32, kBytes16, pixel_routines().to_rgb565};
  return form;
}
const PixelForm kForm16 = {kBytes16, kBytes16, copy_pixels<kBytes16>};
const PixelForm kForm32 = {kBytes32, kBytes32, copy_pixels<kBytes32>};

const PixelForm* form_of(int bits_per_pixel, bool is_whole) {
  if (is_whole) return bits_per_pixel == 32 ? &kForm32 : nullptr;
  return bits_per_pixel == 32 ? &rgb565_form() : bits_per_pixel == 16 ? &kForm16 : nullptr;
}

size_t copy_rectangle(const char* source, char* target, const Rectangle& rectangle, uint64_t stride,
                      const PixelForm& form) {
  const auto width = static_cast<size_t>(rectangle.width);
  const auto height = static_cast<size_t>(rectangle.height);
  const auto row_pixels = static_cast<size_t>(stride);
  const size_t first =
      row_pixels * static_cast<size_t>(rectangle.top) + static_cast<size_t>(rectangle.left);
  const size_t count = width * height;
  if (count == 0) return 0;
  // Rows without anything between them are one.
  const size_t piece = width == row_pixels ? count : width;
  for (size_t i = 0; i < count / piece; ++i) {
    form.convert(source + (first + i * row_pixels) * form.source_bytes,
                 target + i * piece * form.target_bytes, piece);
  }
  return count * form.target_bytes;
}

}  // namespace fcx
