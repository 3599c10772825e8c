// How the tool ends.
#pragma once

#include <stdexcept>

namespace cli {

enum ExitStatus {
  kDone = 0,
  kPhoneUnusable = 1,
  kUsage = 2,
  kCommandFailed = 3,  ///< delivered, and its `result` is not 0
};

/// A word on the command line that makes no sense. what() says why.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace cli
