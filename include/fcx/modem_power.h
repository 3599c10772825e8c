// Resetting the modem, and whether it is there.
//
// Example:
//
//   #include <unistd.h>
//
//   if (qve_check_modem() != 0) return;                  // it has not booted
//   if (qve_reset_modem() != 0) return;                  // nothing is being reset
//   while (qve_check_modem_cmd_ready() != 0) sleep(1);  // it takes commands again
#pragma once

#pragma GCC visibility push(default)

/// Flushes the modem's file system and resets the modem.
/// @return 0 when the modem accepted, or a reset is under way ("doing": nothing is sent); 1 when it
///         could not be flushed, refused, or no thread could be started. After a failure every
///         later reset is answered "doing" until the process restarts, on purpose.
unsigned int qve_reset_modem();

/// Thread body: waits 5 seconds and ends the reset that is under way. The argument is not used.
/// @return null
void* testmode_power_reset_wait(void* unused);

/// Whether the modem has booted, by property "vendor.qve.ril.modembsp.bootup".
/// @return 0 when it begins with '1', else 1
unsigned int qve_check_modem();

/// Whether the modem takes commands.
/// @return 0 when it answers with a '1' first, else 1
unsigned int qve_check_modem_cmd_ready();

#pragma GCC visibility pop
