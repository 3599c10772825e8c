// Kernel attribute files.
#pragma once

#pragma GCC visibility push(default)

/// Writes `n` bytes to a file, from its start; a file that is not there is made.
/// @return 0; -1 when it cannot be opened or written, which is logged
int write_sysfs(const char* path, const char* buf, int n);

#pragma GCC visibility pop
