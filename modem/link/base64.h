// Base64 with sizes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fcx {

/// Characters that `bytes` bytes take in base64, without a NUL.
constexpr size_t base64_length(size_t bytes) { return (bytes + 2) / 3 * 4; }

/// Writes base64_length(bytes.size()) characters and a NUL. @return the characters
size_t encode_base64(std::string_view bytes, char* text);

/// Reads `text`, up to a NUL in it, into at most `capacity` bytes. @return the bytes written
size_t decode_base64(std::string_view text, uint8_t* bytes, size_t capacity);

}  // namespace fcx
