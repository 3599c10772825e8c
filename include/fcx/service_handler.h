// The library's command entry.
//
// Example:
//
//   #include <cstdio>
//
//   qvcmd_request request{4010, 0, {}};  // read the serial number
//   qvcmd_response response{};
//   service_handler(&request, &response);
//   if (response.result == QVCMD_OK) puts(response.data);
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
/// @param request  the command; read only: its text up to the NUL, or, for the commands that count
///                 their bytes, as many as `data_len` says; 2048 at most
/// @param response receives the outcome in `result`, `data_len` and `data`. It is never cleared
///                 here as a whole; an unknown opcode leaves it exactly as the caller passed it.
/// @return 0 always, also for an unknown opcode. A null record is logged as an error and nothing
///         else happens.
int32_t service_handler(qvcmd_request* request, qvcmd_response* response);

#pragma GCC visibility pop
