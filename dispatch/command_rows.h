// A row of the command table as it is written down: what include/fcx/command_table.h tells of a
// command, and how it is called, which only the dispatcher needs to know.
#pragma once

#include <cstdint>

#include "fcx/command_table.h"
#include "fcx/qvcmd.h"

namespace fcx {

struct CommandCalls {
  using Call = void (*)(const Command& row, const qvcmd_request& request, qvcmd_response& response);
  /// Writes a log line of the row's own.
  using Announcement = void (*)(int32_t opcode);

  Announcement announce;  ///< comes after the pool, before the call; or null
  Call call;              ///< calls Command::handler; null when only the pool is prepared
  Call write;             ///< calls Command::writer, or null
};

struct CommandRow {
  Command command;
  CommandCalls calls;
};

/// The calls of a row of command_table().
const CommandCalls& calls_of(const Command& row);

}  // namespace fcx
