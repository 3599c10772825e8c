// The modem's non-volatile (NV) items, read and written by diagnostic packets.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Reads an NV item.
/// @param item its number
/// @param buf  receives its 128 bytes; untouched for 4, 5 without an answer, and -1
/// @return the modem's status: 0 done, 4 failed (the request failed, too), 5 the item is not active
///         (the modem has none, too); -1 without a packet or for a null `buf`
int qve_diag_nvread(uint16_t item, uint8_t* buf);

/// Writes an NV item.
/// @param buf its 128 bytes
/// @return the modem's status, 0 also for an empty answer; 4 when the request failed; -1 without a
///         packet or for a null `buf`
int qve_diag_nvwrite(uint16_t item, uint8_t* buf);

#pragma GCC visibility pop
