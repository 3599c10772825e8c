// A part of a picture, and how it is copied out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fcx {

/// In pixels.
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

/// What becomes of each pixel of a rectangle.
struct PixelForm {
  size_t source_bytes;
  size_t target_bytes;
  void (*convert)(const char* source, char* target, size_t count);
};
/// 32-bit pixels become RGB565.
const PixelForm& rgb565_form();
/// Pixels stay as they are.
extern const PixelForm kForm16;
extern const PixelForm kForm32;

/// What a source of that depth gives for 32-bit pixels, or else for RGB565; null when it cannot.
const PixelForm* form_of(int bits_per_pixel, bool is_whole);

/// Copies a valid rectangle out of rows that are `stride` pixels apart into packed rows.
/// @param source reaches to the rectangle's last pixel
/// @param target the rectangle's pixels, in bytes
/// @return bytes written
size_t copy_rectangle(const char* source, char* target, const Rectangle& rectangle, uint64_t stride,
                      const PixelForm& form);

}  // namespace fcx
