// Kernel attribute files as the services read them.
#pragma once

#include "common/files.h"

namespace fcx {

/// Reads at most `size` bytes of a file as large as seeking to its end tells; what has no such size
/// cannot be read.
ReadResult read_attribute(const char* path, char* buffer, size_t size);

}  // namespace fcx
