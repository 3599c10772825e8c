// The test card: what a display shows until somebody shows it something else. A capture of it tells
// a picture that is shifted, skewed, cut, flipped or has its colours exchanged:
//
//   - each edge is a line of one pixel: red above, green at the right, blue below, white at the
//   left
//   - a white corner with a black dot in it marks the upper left
//   - bars: white, yellow, cyan, green, magenta, red, blue, black
//   - red, green, blue and grey, each getting brighter from left to right
//   - single pixels: a chequer, columns, rows
//   - diagonals, which are straight only where the rows have their right length
#pragma once

#include <cstdint>

namespace virtual_phone {

/// Fills a row of the card of that size: `width` pixels of four bytes, red first, alpha last.
/// @param y 0 is the uppermost row
void fill_card_row(int width, int height, int y, uint8_t* rgba);

}  // namespace virtual_phone
