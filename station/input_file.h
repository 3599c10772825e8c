// Files that people give a station.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace station {

/// What is in a file, of which at most `most` bytes are read, and one more so that a larger one
/// shows. Nothing, and why in `wrong`, for one that is not there, is no regular file, or cannot be
/// read. Never waits for a pipe.
std::optional<std::string> read_input_file(const std::filesystem::path& file, size_t most,
                                           std::string& wrong);

}  // namespace station
