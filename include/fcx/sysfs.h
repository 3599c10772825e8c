// Kernel attribute files.
#pragma once

#pragma GCC visibility push(default)

/// Writes `n` bytes to a file in place of what it held; a file that is not there is made.
/// @return 0; -1 when it cannot be opened or written, for a null pointer and for a negative `n`:
///         all of it is logged
int write_sysfs(const char* path, const char* buf, int n);

#pragma GCC visibility pop
