// What goes wrong with a virtual phone, in words for the person who uses it.
#pragma once

#include <stdexcept>

namespace virtual_phone {

// Shown by every program that catches them: otherwise it would have types of its own by these
// names.

/// The phone cannot be used. what() says why and what to do.
class __attribute__((visibility("default"))) Error : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What was asked for is refused, as a real phone would refuse it. what() says why.
class __attribute__((visibility("default"))) Refused : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace virtual_phone
