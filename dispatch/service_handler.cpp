#include "fcx/service_handler.h"

#include <hidl/HidlTransportSupport.h>

#include "common/log.h"
#include "dispatch/command_rows.h"

namespace {

void prepare_thread_pool() {
  constexpr size_t kThreads = 5;
  constexpr bool kCallerJoins = true;
  android::hardware::configureRpcThreadpool(kThreads, kCallerJoins);
  HANDLER_INFO("[init_modem_interface] configureRpcThreadpool\n");
}

}  // namespace

int32_t service_handler(qvcmd_request* request, qvcmd_response* response) {
  if (request == nullptr || response == nullptr) {
    HANDLER_ERROR("service_handler: no request or no response\n");
    return 0;
  }
  HANDLER_INFO("service_handler: opcode = %d\n", request->opcode);
  const fcx::Command* row = fcx::find_command(request->opcode);
  if (row == nullptr) return 0;
  // The pool is prepared for every such command anew, on purpose.
  if (row->prepares_pool) prepare_thread_pool();
  const fcx::CommandCalls& calls = fcx::calls_of(*row);
  if (calls.announce != nullptr) calls.announce(row->opcode);
  const bool writes = calls.write != nullptr && request->data[0] != '\0';
  const auto call = writes ? calls.write : calls.call;
  if (call != nullptr) call(*row, *request, *response);
  return 0;
}
