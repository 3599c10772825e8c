// The library's version: what a program was compiled with, and what it runs with. The build reads
// it from here. Which of the three numbers a change raises: docs/architecture.md.
//
// Example:
//
//   #include <cstdio>
//
//   printf("built with %s, runs with %s\n", FCX_VERSION, fcx::library_version());
//   static_assert(FCX_VERSION_MAJOR == 0, "made for the versions before 1.0");
#pragma once

#define FCX_VERSION_MAJOR 0
#define FCX_VERSION_MINOR 1
#define FCX_VERSION_PATCH 0

#define FCX_TEXT_OF(number) #number
#define FCX_VERSION_TEXT(major, minor, patch) \
  FCX_TEXT_OF(major) "." FCX_TEXT_OF(minor) "." FCX_TEXT_OF(patch)

/// The version of these headers, as "0.1.0".
#define FCX_VERSION FCX_VERSION_TEXT(FCX_VERSION_MAJOR, FCX_VERSION_MINOR, FCX_VERSION_PATCH)

namespace fcx {

#pragma GCC visibility push(default)

/// The version of the library that was loaded, which may be a later one than FCX_VERSION.
/// @return "MAJOR.MINOR.PATCH", NUL-terminated, for as long as the library is loaded
const char* library_version();

#pragma GCC visibility pop

}  // namespace fcx
