// Work that outlives a command: reboots, mode switches and the like run on detached threads, so
// that the answer can leave first.
//
// Example:
//
//   #include "fcx/system_control.h"
//
//   if (system_restart() != 0) return;  // nothing was begun
//   fcx::wait_for_background_work();    // the reboot comes while this waits
#pragma once

namespace fcx {

#pragma GCC visibility push(default)

/// Waits until no thread that the library started is running, however long that takes: a thread
/// that waits for a cable to be pulled is one. For a process that is about to exit and wants to
/// lose none of that work. Not for such a thread itself, which would wait for its own end.
void wait_for_background_work();

#pragma GCC visibility pop

}  // namespace fcx
