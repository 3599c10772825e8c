#include "daemon/deliver.h"

#include <android/log.h>

#include <algorithm>

#include "daemon/background.h"
#include "fcx/service_handler.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

/// Collects the warnings and errors that are logged while it exists, from whatever thread.
class Complaints {
 public:
  explicit Complaints(std::vector<vp::LogEntry>& entries) {
    vp::observe_log([&entries](const vp::LogEntry& entry) {
      if (entry.priority >= ANDROID_LOG_WARN) entries.push_back(entry);
    });
  }
  ~Complaints() { vp::observe_log({}); }
  Complaints(const Complaints&) = delete;
  Complaints& operator=(const Complaints&) = delete;
};

/// The handler that a row calls for a payload.
const char* handler_for(const fcx::Command* row, std::string_view payload) {
  if (row == nullptr) return nullptr;
  const bool writes = row->writer != nullptr && !payload.empty() && payload.front() != '\0';
  return writes ? row->writer : row->handler;
}

/// Lets `call` have the request, and looks at what happens meanwhile.
template <typename Call>
Delivery deliver_as(vp::Phone& phone, int32_t opcode, std::string_view payload, Call call) {
  const fcx::Command* row = fcx::find_command(opcode);
  Delivery delivery{opcode, row, handler_for(row, payload), {}, {}, {}, {}};
  const int64_t last = vp::last_event(phone);
  qvcmd_request request{};
  request.opcode = opcode;
  request.data_len = static_cast<int32_t>(payload.copy(request.data, sizeof request.data));
  {
    const Complaints complaints(delivery.complaints);
    call(delivery, request);
  }
  delivery.events = vp::events(phone, last);
  return delivery;
}

}  // namespace

std::string_view data_of(const qvcmd_response& response) {
  const auto length = std::clamp<int32_t>(response.data_len, 0, sizeof response.data);
  return {response.data, static_cast<size_t>(length)};
}

Delivery deliver(vp::Phone& phone, int32_t opcode, std::string_view payload) {
  return deliver_as(phone, opcode, payload, [&](Delivery& delivery, qvcmd_request& request) {
    const vp::RunningCommand running(opcode);
    service_handler(&request, &delivery.response);
    await_background_work();
    delivery.accessed = running.accessed();
  });
}

Delivery Deliverer::deliver(vp::Phone& phone, int32_t opcode, std::string_view payload) {
  return deliver_as(phone, opcode, payload, [&](Delivery& delivery, qvcmd_request& request) {
    running_.reset();  // there is one at a time
    running_.emplace(opcode);
    service_handler(&request, &delivery.response);
    delivery.accessed = running_->accessed();
  });
}

}  // namespace factory_daemon
