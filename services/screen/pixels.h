// Pixels of other forms: bytes in, bytes out. Rows are packed, pixels are little-endian and need no
// alignment, and what is read and what is written never overlap.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fcx {

/// RGB565: red in the highest bits.
constexpr size_t kBytes16 = 2;
/// Red in the lowest byte, then green and blue.
constexpr size_t kBytes32 = 4;

/// Pixels of a row of the black-and-white bitmap come in groups of so many.
constexpr size_t kBitRowPixels = 32;

/// The conversions, compiled for one kind of processor.
struct PixelRoutines {
  const char* processor;
  /// Whether this machine has such a one.
  bool (*can_run)();

  /// 32-bit pixels to RGB565.
  /// @param pixels count * 4 bytes
  /// @param rgb565 count * 2 bytes
  void (*to_rgb565)(const char* pixels, char* rgb565, size_t count);

  /// RGB565 to bits, the first in the highest bit of a byte; those after the last are 0. A bit is
  /// set where the pixel's brightness, 0 to 187 and made of its bytes in the wrong order on
  /// purpose, is above `limit`.
  /// @param rgb565 count * 2 bytes
  /// @param bits   count / 8 bytes, rounded up
  void (*to_bits)(const char* rgb565, char* bits, size_t count, int64_t limit);
};

/// All of them, the quickest first; the last runs everywhere.
struct PixelRoutineList {
  const PixelRoutines* first;
  size_t count;

  const PixelRoutines* begin() const { return first; }
  const PixelRoutines* end() const { return first + count; }
};
PixelRoutineList all_pixel_routines();

/// The quickest that this machine can run.
const PixelRoutines& pixel_routines();

}  // namespace fcx
