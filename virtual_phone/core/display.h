// The display: its pixels are the framebuffer's, "/dev/graphics/fb0", and what it is like is told
// by the kernel's nodes beside it. The framebuffer of a phone that nobody has looked at yet is
// empty: the first to look draws the test card there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/picture.h"

namespace virtual_phone {

constexpr char kFramebuffer[] = "/dev/graphics/fb0";

struct Display {
  int width = 0;
  int height = 0;
  int bits_per_pixel = 0;  ///< 16: RGB565; 32: red in the lowest byte
  int stride = 0;          ///< bytes from one row to the next
};

/// What its nodes say, possible or not. Throws Error when they say nothing.
Display display(const Phone& phone);

/// The same, and where its nodes say nothing, or what no display has, what a new phone's say.
/// Throws Error when one cannot be read.
Display display_or_usual(const Phone& phone);

/// Puts another picture on it. The nodes follow: a row has as many pixels as it shows or, from 256
/// on, the next multiple of the bits of a pixel, as this phone's display driver has it. 16 bits
/// keep the highest of each colour, 32 all, alpha included.
/// @param bits_per_pixel 16 or 32
/// Throws Error.
void show_picture(const Phone& phone, const Picture& picture, int bits_per_pixel);
/// The same with the test card.
/// @param width, height 1 to kLongestSide
void show_test_card(const Phone& phone, int width, int height, int bits_per_pixel);

struct Screenshot {
  Display display;
  std::vector<uint8_t> pixels;  ///< in the display's form, rows without what is not seen of them
};

/// What it shows. Throws Error when the framebuffer is not there, does not hold all that its nodes
/// say, or has another depth than 16 or 32.
Screenshot take_screenshot(const Phone& phone);

/// What stands before such pixels in a file of raw form: three little-endian words, the width, the
/// height and the pixel format, 1 of 32 bits and 4 of RGB565.
std::string raw_header(const Display& display);

/// The same as a picture. 16-bit colours are widened by their own highest bits.
Picture shown_picture(const Phone& phone);

/// Whether that is the test card, pixel by pixel.
bool shows_test_card(const Phone& phone);

/// Widens RGB565 pixels, as they are in memory, to four bytes each, the alpha of which is 255.
void widen_pixels(const uint8_t* pixels, size_t count, uint8_t* rgba);

}  // namespace virtual_phone
