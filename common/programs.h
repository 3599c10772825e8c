// Programs of the device, each run as a child process that is waited for.
#pragma once

#include "common/result.h"
#include "platform/device_home.h"

namespace fcx {

/// Runs a program of the device's search path and waits for it, as long as it takes. One that stops
/// is killed: nobody would let it go on.
/// @param program   which one it is
/// @param arguments its name first, null last
/// @param not_begun called in the child, which then exits with status 1, when the program cannot be
///                  run
/// @param status    how it ended, or that it stopped, as waitpid() says it
/// @return whether there was a child, and how it ended is known
Result run_program(LibraryThread program, const char* const* arguments, void (*not_begun)(),
                   int& status);

}  // namespace fcx
