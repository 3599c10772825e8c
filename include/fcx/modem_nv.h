// The modem's non-volatile (NV) items, read and written by diagnostic packets.
//
// Example:
//
//   #include <cstdio>
//
//   uint8_t item[128];
//   const int status = qve_diag_nvread(453, item);
//   if (status != 0) return;  // 5: the item is not active
//   item[0] = 0;
//   if (qve_diag_nvwrite(453, item) != 0) puts("not written");
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Reads an NV item.
/// @param item its number
/// @param buf  receives 128 bytes with every answer, whatever its status, zeros after a shorter
///             one; untouched without an answer
/// @return the modem's status: 0 done, 4 failed, 5 the item is not active. Also 0 when the answer
///         ends before the status, 4 when the request failed, 5 for an empty answer: the modem has
///         no such item. -1 without a packet or for a null `buf`
int qve_diag_nvread(uint16_t item, uint8_t* buf);

/// Writes an NV item.
/// @param buf its 128 bytes
/// @return the modem's status as above, 0 also when the answer ends before it, or is empty; 4 when
///         the request failed; -1 without a packet or for a null `buf`
int qve_diag_nvwrite(uint16_t item, uint8_t* buf);

#pragma GCC visibility pop
