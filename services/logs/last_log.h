// The log that download mode leaves in a record: bytes in, text out.
#pragma once

#include <cstddef>
#include <string_view>

namespace fcx {

/// Inflates a record's text. The record is a 32-bit number, which is 1 or more when there is a log,
/// and a chain of chunks: a 32-bit length, and as many bytes that zlib has deflated on their own.
/// The chain ends with a length below 1 or past the record's end, and when `out` is full. A chunk
/// that cannot be inflated is logged and adds nothing; one that was cut adds what it has.
/// @param out of `size` bytes, of which those after the text may have changed, too
/// @return the text's bytes
[[nodiscard]] size_t inflate_last_log(std::string_view record, char* out, size_t size);

}  // namespace fcx
