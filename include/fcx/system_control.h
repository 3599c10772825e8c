// Control of the device as a whole.
#pragma once

#pragma GCC visibility push(default)

/// Flushes the modem's file system.
/// @return 0; -1 when the request failed, or the modem answers with a byte 0xFF first
int system_efs_sync();

#pragma GCC visibility pop
