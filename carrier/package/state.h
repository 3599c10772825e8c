// What the readers of the customisation package go by: one instance for the process. The probes of
// carrier set-up write it while a start is prepared; anybody may read it meanwhile.
#pragma once

#include <atomic>

#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"

namespace fcx {

/// A list or a path as the exported functions hand it over: with its NUL in 2048 bytes.
using LongText = TextBuffer<2047>;

struct PackageState {
  std::atomic<const char*> root = "/oem/OP";  ///< directory of the package, one of two, never empty
  std::atomic<bool> stops_log = false;        ///< on a "user" build
  /// Entries of the network code that count. Whoever parses a network code sets it.
  std::atomic<int> network_code_count = 0;
};

PackageState& package_state();

/// Forgets all of it, and asks for the overlay again. Not while somebody reads the package.
void reload_package();

}  // namespace fcx

/// A line of carrier set-up, unless the build type stops them: progress, and what has failed.
#define SBP_LOG(...) SBP_LINE_(DOMAIN_INFO(__VA_ARGS__))
#define SBP_ERROR(...) SBP_LINE_(DOMAIN_ERROR(__VA_ARGS__))
#define SBP_LINE_(line) (fcx::package_state().stops_log ? static_cast<void>(0) : line)
