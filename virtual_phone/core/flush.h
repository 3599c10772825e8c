// Making files of the phone durable, and nothing else of the machine.
#pragma once

#include <filesystem>

namespace virtual_phone {

/// Flushes a file or a directory. Throws Error when it cannot be.
void flush(const std::filesystem::path& path);

/// Flushes every regular file and directory of a tree. Throws Error when one cannot be.
void flush_tree(const std::filesystem::path& tree);

/// The same for all that can be flushed, as sync() does: nobody is told of the rest.
void sync_tree(const std::filesystem::path& tree) noexcept;

}  // namespace virtual_phone
