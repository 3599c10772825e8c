// Files that the tool makes for its user.
#pragma once

#include <filesystem>
#include <string_view>

namespace cli {

/// Gives `file` this content, whole or not at all: it is written beside its place and moved there.
/// What a link leads to is made or replaced, not the link; what is replaced keeps its mode. Throws
/// virtual_phone::Error, also for what is no regular file.
void write_output_file(const std::filesystem::path& file, std::string_view content);

}  // namespace cli
