// Detached threads, for work that must outlive the call that asks for it.
#pragma once

#include "platform/device_home.h"

namespace fcx {

/// Runs `body(argument)` on a thread of its own that nobody joins; wait_for_background_work() waits
/// for it. The body ends by returning. `argument` must live as long as the thread needs it.
/// @return 0, or the errno value with which no thread could be started
[[nodiscard]] int start_detached(LibraryThread thread, void* (*body)(void*), void* argument);

}  // namespace fcx
