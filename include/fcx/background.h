// Work that outlives a command: reboots, mode switches and the like run on detached threads, so
// that the answer can leave first.
#pragma once

namespace fcx {

#pragma GCC visibility push(default)

/// Waits until no thread that the library started is running. For a process that is about to exit
/// and wants to lose none of that work. Not for such a thread itself, which would wait for its own
/// end.
void wait_for_background_work();

#pragma GCC visibility pop

}  // namespace fcx
