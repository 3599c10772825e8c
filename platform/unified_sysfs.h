// The vendor's unified sysfs library, through which the nodes of power and display are reached. The
// phone's library provides these functions; on the bench the virtual phone does. They log nothing.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Reads a node from its start.
/// @param buffer `length` bytes; no NUL is added
/// @return the bytes read, or a negative value when it cannot be opened or read
int unified_sysfs_read(const char* path, char* buffer, int length);

/// Writes `length` bytes to a node that is there.
/// @return 0 or more, or a negative value when it cannot be opened or written
int unified_sysfs_write(const char* path, const char* buffer, int length);

#ifdef __cplusplus
}
#endif
