// One factory command, as the daemon delivers it, and what came of it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "fcx/command_table.h"
#include "fcx/qvcmd.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/faults/faults.h"

namespace factory_daemon {

/// The bytes of an answer, within its record.
std::string_view data_of(const qvcmd_response& response);

struct Delivery {
  int32_t opcode;
  const fcx::Command* row;  ///< null for an unknown opcode
  const char* handler;  ///< that the request was for; null when there is none, or it has no name
  qvcmd_response response;
  std::vector<virtual_phone::Event> events;         ///< what happened to the phone
  std::vector<virtual_phone::LogEntry> complaints;  ///< what was logged as a warning or an error
  std::set<virtual_phone::Part> accessed;  ///< the parts of the phone that it was about to use

  std::string_view data() const { return data_of(response); }
};

/// Delivers one command to the library, with a cleared response, and waits for what it leaves on a
/// thread. The phone must be open. One at a time: until then whatever this process accesses is
/// struck by the faults on the command.
/// @param payload at most QVCMD_DATA_SIZE bytes, which the request has from its first byte on
/// Throws virtual_phone::Error.
Delivery deliver(virtual_phone::Phone& phone, int32_t opcode, std::string_view payload);

/// Whoever delivers commands.
using Deliver = std::function<Delivery(virtual_phone::Phone&, int32_t, std::string_view)>;

/// Delivers commands and waits for nothing: what one leaves on a thread goes on, as on a phone,
/// and belongs to that command until the next one comes.
class Deliverer {
 public:
  /// As deliver(), up to the answer.
  Delivery deliver(virtual_phone::Phone& phone, int32_t opcode, std::string_view payload);

 private:
  std::optional<virtual_phone::RunningCommand> running_;
};

}  // namespace factory_daemon
