// The library's command entry.
#pragma once

#include <cstdint>

#include "fcx/qvcmd.h"

#pragma GCC visibility push(default)

/// Carries out one factory command on the caller's thread.
///
/// Logs the opcode, prepares the HIDL thread pool where the command needs it, and calls the one
/// handler of the command's row in fcx/command_table.h. Takes no lock and keeps no state: commands
/// come one at a time.
///
/// @param request  the command; read only, its text up to the NUL (2048 bytes at most)
/// @param response receives the outcome in `result`, `data_len` and `data`. It is never cleared
/// here
///                 as a whole; an unknown opcode leaves it exactly as the caller passed it.
/// @return 0 always, also for an unknown opcode. A null record is logged as an error and nothing
/// else
///         happens.
int32_t service_handler(qvcmd_request* request, qvcmd_response* response);

#pragma GCC visibility pop
