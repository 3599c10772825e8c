// The two command records, shared with the daemon and the modem link.
// Their layout is fixed across the library boundary, on 32-bit and 64-bit homes alike.
//
// Example:
//
//   #include <cstdio>
//   #include "fcx/service_handler.h"
//
//   qvcmd_request request{4018, 15, "123456789012345"};  // write the CSN
//   qvcmd_response response{};  // cleared: some commands leave fields as they were
//   service_handler(&request, &response);
//   if (response.result != QVCMD_OK) puts("not written");
#pragma once

#include <cstddef>
#include <cstdint>

/// Result words of qvcmd_response::result.
constexpr int32_t QVCMD_OK = 0;    ///< done
constexpr int32_t QVCMD_FAIL = 1;  ///< failed

/// Size of the data area of both records, in bytes.
constexpr size_t QVCMD_DATA_SIZE = 2048;

/// A factory command, filled by the caller and only read by the library.
struct qvcmd_request {
  int32_t opcode;  ///< command number, see fcx/command_table.h
  /// Meaningful bytes in `data`. Most commands take NUL-terminated text and do not look at it.
  int32_t data_len;
  /// The argument: text up to its NUL, or raw bytes. A caller may allocate a shorter record, as
  /// long as text in it is NUL-terminated and `data_len` counts no more than there is: no more than
  /// that, and never more than this, is read.
  char data[QVCMD_DATA_SIZE];
};

/// The answer to a command. The caller clears it before the call: some commands, and every unknown
/// one, leave fields as they were.
struct qvcmd_response {
  int32_t result;    ///< QVCMD_OK, QVCMD_FAIL, or a code that the command defines
  int32_t data_len;  ///< meaningful bytes in `data`; for text its length without the NUL
  int32_t reserved;  ///< written only by a whole-record clear; the modem link's status word
  char data[QVCMD_DATA_SIZE];  ///< NUL-terminated text as a rule, one raw byte for some commands
};

static_assert(offsetof(qvcmd_request, opcode) == 0);
static_assert(offsetof(qvcmd_request, data_len) == 4);
static_assert(offsetof(qvcmd_request, data) == 8);
static_assert(offsetof(qvcmd_response, result) == 0);
static_assert(offsetof(qvcmd_response, data_len) == 4);
static_assert(offsetof(qvcmd_response, reserved) == 8);
static_assert(offsetof(qvcmd_response, data) == 12);
static_assert(sizeof(qvcmd_response) == 2060);
