// What commands leave on threads.
#pragma once

namespace factory_daemon {

/// Waits until no thread of the library works any more. On a simulated phone they take turns with
/// the one that waits.
void await_background_work();

}  // namespace factory_daemon
