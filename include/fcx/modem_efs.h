// Files of the modem's own file system (EFS). These calls go over the direct interface past its
// lock and its state: open it with efs_init() (or init_modem_interface()) first, and let one thread
// at a time use them. request_to_system() does not notice efs_release(): its direct requests fail
// from then on, until somebody calls init_modem_interface().
//
// Example:
//
//   #include <cstdio>
//   #include <fcntl.h>
//
//   char path[] = "/nv/item_files/example";
//   char bytes[512];
//   if (efs_init() != 0) return;
//   const int fd = efs_open(path, O_RDONLY, 0);
//   if (fd < 0) return;
//   if (efs_read(fd, bytes, sizeof bytes) == 0) puts("nothing came");
//   efs_close(fd);
#pragma once

#pragma GCC visibility push(default)

/// Opens and closes the direct interface.
/// @return what dmi_init() and dmi_release() returned: 0 when that worked
int efs_init();
int efs_release();

/// Opens a file.
/// @param path  as the modem names it, NUL-terminated; only its first 128 bytes are sent
/// @param flags what to do with it, as for open()
/// @param mode  permissions of a new file
/// @return the modem's descriptor, or its negative code; -1 when the exchange failed or for a null
///         path
int efs_open(char* path, int flags, int mode);

/// Closes a file. @return what the modem answers, 0 when it is closed; -1 when the exchange failed
int efs_close(int fd);

/// Removes a file. @return as efs_close(); -1 also for a null path
int efs_unlink(char* path);

/// Reads `n` bytes, in requests of at most 2032. A request that brings fewer leaves a gap in `buf`
/// of what is missing, and the next goes on after it, on purpose; one that brings none, or fails,
/// is the last. What nothing came for is untouched in `buf`.
/// @param buf room for `n` bytes
/// @return the bytes received, without the gaps; 0 when the first request brings none, or `n` is
///         below 1; else -1 for a null buffer
int efs_read(int fd, void* buf, int n);

/// Writes `n` bytes, in requests of at most 2032. Each goes on after what the modem took of the
/// one before; one of which it takes nothing, or that fails, is the last.
/// @return the bytes that the modem took; 0 when `n` is below 1; else -1 for a null buffer
int efs_write(int fd, void* buf, int n);

#pragma GCC visibility pop
