// The image file of a screenshot, as a program that crashes or another platform's may leave it.
//
// On the first line the rectangle and the depth that are asked for: left, top, width, height and 16
// or 32. Then the file.
#include <cstdio>
#include <cstring>
#include <string>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "services/screen/pixels.h"
#include "services/screen/raw_image.h"
#include "services/screen/rectangle.h"

namespace {

/// The same in black and white.
void convert_to_bits(const char* captured, size_t count, int threshold) {
  const auto bits = fuzz::buffer((count + 7) / 8);
  fcx::pixel_routines().to_bits(captured, bits.get(), count, threshold);
  const bool is_padded = count % 8 == 0 || (bits[count / 8] & (0xFF >> count % 8)) == 0;
  fuzz::require(is_padded, "bits after the last pixel are zeros");
}

void capture(const fcx::Rectangle& rectangle, bool is_whole, std::string_view file) {
  const auto header = fcx::parse_raw_header(file);
  if (!header.has_value()) return;
  const auto size = fcx::pixels_to_read(*header, rectangle, file.size());
  if (!size.has_value()) return;
  fuzz::require(fcx::kRawHeaderSize + *size <= file.size(), "what is read is in the file");
  const auto pixels = fuzz::buffer(*size);
  file.copy(pixels.get(), *size, fcx::kRawHeaderSize);
  const fcx::PixelForm* form = fcx::form_of(header->bits_per_pixel(), is_whole);
  if (form == nullptr) return;
  const auto stride = static_cast<uint64_t>(header->width);
  fuzz::require(rectangle.is_within_bytes(*size, stride, form->source_bytes),
                "an image that has the rectangle has its pixels");
  const size_t count = static_cast<size_t>(rectangle.width) * static_cast<size_t>(rectangle.height);
  const auto captured = fuzz::buffer(count * form->target_bytes);
  fuzz::require(fcx::copy_rectangle(pixels.get(), captured.get(), rectangle, stride, *form) ==
                    count * form->target_bytes,
                "all of the rectangle is captured");
  convert_to_bits(captured.get(), count, rectangle.left);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  fcx::Rectangle rectangle;
  int depth = 0;
  const int given = sscanf(input.line().c_str(), "%d %d %d %d %d", &rectangle.left, &rectangle.top,
                           &rectangle.width, &rectangle.height, &depth);
  if (given != 5 || !rectangle.is_valid()) return 0;
  capture(rectangle, depth == 32, input.rest());
  return 0;
}
