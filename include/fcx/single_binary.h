// Carrier set-up: one software image finds its carrier. At every start a thread decides the
// carrier, country and MCC from the network code, the SIM, the customisation package and what
// earlier starts left, and publishes them as properties. Nothing stops the device: what cannot be
// read leaves the defaults.
//
// Example:
//
//   #include <cstdio>
//   #include "fcx/identity_items.h"
//
//   if (sbpCreateThread() != 1) puts("no set-up at this start");
//   char iccid[2048];
//   int length = 0;
//   if (qve_read_sim(iccid, &length, 14) != 0) return;    // no answer
//   if (fcx::is_modem_error_text(iccid, length)) return;  // no SIM, or it cannot be read yet
//   printf("%.*s\n", length, iccid);
#pragma once

#include <cstdio>

#pragma GCC visibility push(default)

/// Starts set-up, as the daemon does once at its start. During an encrypted start it waits up to
/// three seconds for the framework, and restores what it can from files meanwhile.
/// @return 1 when set-up was started, or put off until the framework restarts; 0 when a thread
///         could not be created
int sbpCreateThread();

/// Body of the set-up thread: calls qve_single_binary_init() every 0.5 seconds until it is complete
/// or the time for the SIM is over. @return null
void* single_binary_event(void* unused);

/// Body of the thread that restores the carrier during an encrypted start. @return null
void* single_binary_iccid_event(void* unused);

/// One pass of set-up.
/// @return 0 when it is complete, 1 when it is to be called again
int qve_single_binary_init();

/// Reads the SIM: from the modem, or on a MediaTek chipset from the radio layer's properties.
/// @param out     2048 bytes: the ICCID, "NO SIM ERROR", "NO SIM READ ERROR" or "NOT YET". No NUL
/// @param length  its length
/// @param command the request that the modem is asked with: 14
/// @return 0 on an answer; anything else without one: `out` is then untouched and `*length` -1, but
///         of a radio layer that knows nothing they are "NO SIM READ ERROR". 1 for a null pointer,
///         with nothing written
int qve_read_sim(char* out, int* length, int command);

/// Derives the MCC, and where the SIM decides it the country, from an ICCID, and publishes them; of
/// an unknown calling code no MCC. Null does nothing.
void qve_parse_iccid(const char* iccid);

/// Stores a rewritten network code and publishes its MCCs. The next start is a first one when the
/// code's beginning has changed.
/// @param ntcode   at most 2048 characters
/// @param mcc_list 2048 bytes that receive its MCCs, see qve_get_mcc_list(), also when it cannot
///                 be stored; with a null pointer for either nothing is done
void sbpWriteNTCode(const char* ntcode, char* mcc_list);

/// Stores the network code of a key in a file of KEY=NTCODE lines. A carriage
/// return at a line's end belongs to the code, on purpose.
/// @param file open for reading, and left open, after the line whose code was stored or at its end.
///             A line of more than 126 characters counts as several
/// @return `size`, also without such a line and for a null pointer; 1 when storing failed, after
///         which the search goes on, and whatever it finds
int sbpWriteBuyer(FILE* file, int size, const char* key);

/// Empties the properties "persist.vendor.qve.mcc-list" and "persist.vendor.qve.mccmnc-list".
void sbpSetDefaultMCCLists();

/// Sets "persist.vendor.qve.ntcode-changed" to "3" and "persist.vendor.qve.tavrin.ntcode" to the
/// empty network code.
void sbpSetDefaultNTcode();

/// Stores a network code of 12 zero bytes.
void sbpSetOtpe();

// Properties that survive a wipe of the property service: one file each, in
// "/mnt/vendor/persist-qv/property". A name that is empty or holds a "/" is refused.

/// Reads a property from its file.
/// @param value 92 bytes: what the file holds, cut at 91, and a NUL; untouched when 1 is returned
/// @return 0; 1 when there is none, it cannot be read, or for a null pointer
int qve_read_property_persist_cache(const char* name, char* value);

/// Writes a property to its file: replaces it at once, or not at all; it is on disk when this
/// returns, unless that failed, of which only the log tells. A value is cut at 91. A null pointer
/// writes nothing.
void qve_write_property_persist_cache(const char* name, const char* value);

// The carrier's restore during an encrypted start.

/// Reads the SIM, and on success restores the carrier from files by the next two functions. Nothing
/// any more once "vold.decrypt" is "trigger_restart_framework".
/// @return 0 when there is nothing left to do, 1 to be called again
int qve_secure_startup_read_iccid();
/// Applies the SIM auto profile of the ICCID that was read.
void qve_secure_sim_profile_from_iccid();
/// Sets the carrier from the property cache and from what earlier starts kept.
void qve_set_carrier_from_file();
/// qve_parse_iccid() of the ICCID that was read.
void qve_secure_startup_parse_iccid();

namespace fcx {

/// Forgets all that carrier set-up knows, and asks for the overlay again, as when the library is
/// loaded: for a program that sees more than one start of a phone. Not while set-up runs.
void reload_carrier_set_up();

}  // namespace fcx

#pragma GCC visibility pop
