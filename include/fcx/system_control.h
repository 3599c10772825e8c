// Control of the device as a whole: power, display, the cable, log services, and what a start keeps
// in step. Return values differ from function to function, on purpose: each says its own.
//
// Reboots and power-offs run on detached threads that wait a second, so that the answer to a
// command can leave first.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Flushes the modem's file system.
/// @return 0; -1 when the request failed, or the modem answers with a byte 0xFF first
int system_efs_sync();

#pragma GCC visibility pop
