// Pictures in PNG files.
#pragma once

#include <filesystem>
#include <string>

#include "virtual_phone/core/picture.h"

namespace virtual_phone {

/// Reads a PNG file of any kind. Deeper colours are cut to 8 bits, other colour spaces become sRGB.
/// Throws Error for what is no whole picture, and for one with a side above kLongestSide.
Picture read_png(const std::filesystem::path& file);

/// The bytes of a PNG file, without the alpha: what a display shows is opaque. Throws Error.
std::string encode_png(const Picture& picture);

}  // namespace virtual_phone
