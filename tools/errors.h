// How the tool ends.
#pragma once

#include <stdexcept>

namespace cli {

enum ExitStatus {
  kDone = 0,
  kPhoneUnusable = 1,  ///< or what was asked for is not there
  kUsage = 2,
  kCommandFailed = 3,  ///< delivered, and its `result` is not 0, or its opcode is unknown
};

/// A word on the command line that makes no sense. what() says why.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What was asked for is not there. what() says what.
class NotThere : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace cli
