// A picture, as programs that show and save pictures have it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace virtual_phone {

constexpr int kLongestSide = 8192;  ///< pixels
constexpr size_t kPixelSize = 4;    ///< bytes

struct Picture {
  Picture() = default;
  Picture(int columns, int rows)
      : width(columns),
        height(rows),
        rgba(static_cast<size_t>(columns) * static_cast<size_t>(rows) * kPixelSize) {}

  uint8_t* row(int y) { return rgba.data() + offset(y); }
  const uint8_t* row(int y) const { return rgba.data() + offset(y); }

  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgba;  ///< rows from top to bottom; a pixel's red first, its alpha last

 private:
  size_t offset(int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width) * kPixelSize;
  }
};

}  // namespace virtual_phone
