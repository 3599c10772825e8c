// The display: its pixels are the framebuffer's, "/dev/graphics/fb0", and what it is like is told
// by the kernel's nodes beside it.
#pragma once

#include <cstddef>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

constexpr char kFramebuffer[] = "/dev/graphics/fb0";

struct Display {
  int width = 0;
  int height = 0;
  int bits_per_pixel = 0;  ///< 16: RGB565; 32: red in the lowest byte
  int stride = 0;          ///< bytes from one row to the next
};

/// Throws Error when its nodes cannot be read, or say nothing of use.
Display display(const Phone& phone);

}  // namespace virtual_phone
