#include "benchmarks/empty_modem.h"

#include <cstring>
#include <map>
#include <string>

#include "modem/link/requests.h"
#include "platform/modem_interface.h"

namespace {

size_t requests = 0;

struct Answer {
  std::string bytes;
  int32_t claimed;
  int32_t code;
};

/// Answers that somebody has set, by their requests.
std::map<int, Answer>& answers() {
  static std::map<int, Answer> all;
  return all;
}

// Where a request for the modem's file system says what to do, and how much of it.
constexpr char kRead = 6;
constexpr char kWrite = 7;
constexpr size_t kReadCount = 8;
constexpr size_t kWriteCount = 2040;

}  // namespace

size_t bench::modem_requests() { return requests; }

void bench::set_answer(int request, std::string_view answer) {
  answer = answer.substr(0, QVCMD_DATA_SIZE);
  set_answer(request, answer, static_cast<int32_t>(answer.size()), 0);
}

void bench::set_answer(int request, std::string_view answer, int32_t claimed, int32_t code) {
  answers()[request] = {std::string(answer), claimed, code};
}

void bench::forget_answers() { answers().clear(); }

int dmi_init() { return 0; }

int dmi_release() { return 0; }

/// Answers nothing but what is set; a read or write of a file has moved all that was asked for.
int request_to_modem_via_dmi(qvcmd_request* request, qvcmd_response* response) {
  ++requests;
  if (const auto set = answers().find(request->opcode); set != answers().end()) {
    set->second.bytes.copy(response->data, QVCMD_DATA_SIZE);
    response->data_len = set->second.claimed;
    return set->second.code;
  }
  if (request->opcode != fcx::request::efs) return 0;
  const char operation = request->data[0];
  if (operation != kRead && operation != kWrite) return 0;
  const size_t count = operation == kRead ? kReadCount : kWriteCount;
  memcpy(response->data, request->data + count, sizeof(int32_t));
  return 0;
}
