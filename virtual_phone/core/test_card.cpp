#include "virtual_phone/core/test_card.h"

#include <algorithm>
#include <cstdlib>

namespace virtual_phone {
namespace {

struct Colour {
  int red;
  int green;
  int blue;
};

constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kBlack = {0, 0, 0};
constexpr Colour kBars[] = {kWhite,        {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                            {255, 0, 255}, {255, 0, 0},   {0, 0, 255},   kBlack};

Colour of(bool is_white) { return is_white ? kWhite : kBlack; }

/// Four stripes; `part` is of a thousand.
Colour gradient(int x, int part, int width) {
  const int value = width == 1 ? 0 : x * 255 / (width - 1);
  switch (part * 4 / 1000) {
    case 0:
      return {value, 0, 0};
    case 1:
      return {0, value, 0};
    case 2:
      return {0, 0, value};
    default:
      return {value, value, value};
  }
}

Colour single_pixels(int x, int y, int width) {
  switch (x * 3 / width) {
    case 0:
      return of((x + y) % 2 == 0);
    case 1:
      return of(x % 2 == 0);
    default:
      return of(y % 2 == 0);
  }
}

Colour diagonal(int x, int y) { return (x + y) / 8 % 2 == 0 ? Colour{0, 96, 160} : kWhite; }

Colour colour_at(int x, int y, int width, int height) {
  if (y == 0) return {255, 0, 0};
  if (y == height - 1) return {0, 0, 255};
  if (x == 0) return kWhite;
  if (x == width - 1) return {0, 255, 0};
  const int corner = std::min(width, height) / 8;
  if (x <= corner && y <= corner) {
    return of(std::abs(2 * x - corner) > corner / 3 || std::abs(2 * y - corner) > corner / 3);
  }
  const int part = y * 1000 / height;
  if (part < 400) return kBars[x * 8 / width];
  if (part < 700) return gradient(x, (part - 400) * 1000 / 300, width);
  if (part < 850) return single_pixels(x, y, width);
  return diagonal(x, y);
}

}  // namespace

void fill_card_row(int width, int height, int y, uint8_t* rgba) {
  for (int x = 0; x < width; ++x) {
    const Colour colour = colour_at(x, y, width, height);
    *rgba++ = static_cast<uint8_t>(colour.red);
    *rgba++ = static_cast<uint8_t>(colour.green);
    *rgba++ = static_cast<uint8_t>(colour.blue);
    *rgba++ = 255;
  }
}

}  // namespace virtual_phone
