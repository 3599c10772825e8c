#include "bench/empty_modem.h"

#include <cstring>

#include "modem/opcodes.h"
#include "platform/modem_interface.h"

namespace {

size_t requests = 0;

// Where a request for the modem's file system says what to do, and how much of it.
constexpr char kRead = 6;
constexpr char kWrite = 7;
constexpr size_t kReadCount = 8;
constexpr size_t kWriteCount = 2040;

}  // namespace

size_t bench::modem_requests() { return requests; }

int dmi_init() { return 0; }

int dmi_release() { return 0; }

/// Answers nothing; a read or write of a file has moved all that was asked for.
int request_to_modem_via_dmi(qvcmd_request* request, qvcmd_response* response) {
  ++requests;
  if (request->opcode != fcx::opcode::efs) return 0;
  const char operation = request->data[0];
  if (operation != kRead && operation != kWrite) return 0;
  const size_t count = operation == kRead ? kReadCount : kWriteCount;
  memcpy(response->data, request->data + count, sizeof(int32_t));
  return 0;
}
