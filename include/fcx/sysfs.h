// Kernel attribute files. Failures are logged, null pointers and negative sizes among them.
//
// Example:
//
//   #include <cstdio>
//
//   char brightness[4096 + 1] = {};
//   const char path[] = "/sys/class/leds/lcd-backlight/brightness";
//   if (read_sysfs(path, brightness) == -1) return;  // cannot be opened or read
//   if (write_sysfs(path, "10", 2) != 0) return;
//   puts(brightness);
#pragma once

#pragma GCC visibility push(default)

/// Whether a file, or a folder, can be opened for reading. Its absence is not logged.
/// @return 0 when it can, else -1
int check_sysfs(const char* path);

/// Reads a file from its start into `buf`, whose `n` bytes are zeroed first. No NUL follows them.
/// @return `n`, also when the file is shorter or the reading fails, after which `buf` has what came
///         before that; -1 when it cannot be opened (`buf` is then zeroed), and for a null pointer
///         or a negative `n` (nothing is then written)
int read_sysfs(const char* path, char* buf, int n);

/// Reads a file of the size that seeking to its end tells. That of what the kernel makes up is 0 or
/// 4096: `buf` must take that. No NUL follows what was read.
/// @return the bytes read; -1 when it cannot be opened, has no such size, or for a null pointer
///         (`buf` is then untouched), or cannot be read on (`buf` then has what came before that)
int read_sysfs(const char* path, char* buf);

/// Writes `n` bytes to a file in place of what it held; a file that is not there is made.
/// @return 0; -1 for a null pointer or a negative `n` (nothing is then done), when it cannot be
///         opened, or not be written: it may then be empty, or hold a part
int write_sysfs(const char* path, const char* buf, int n);

/// As write_sysfs(), for a file of the ERI data: where it cannot be opened, the folder `dir` is
/// made with mode 0755 first. The file then gets the owner, the group and the mode of `dir`; that
/// one of them cannot be given is no failure.
/// @return 0; -1 as of write_sysfs(), where the file cannot be opened then either
int write_eri_sysfs(const char* path, const char* dir, const char* buf, int n);

#pragma GCC visibility pop
