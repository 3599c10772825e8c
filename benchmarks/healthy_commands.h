// Every command of the table in each of its forms, with an argument that lets it succeed on a phone
// where nothing is wrong.
#pragma once

#include <string>
#include <vector>

#include "fcx/command_table.h"
#include "fcx/qvcmd.h"

namespace bench {

struct HealthyCommand {
  const fcx::Command* row;
  std::string payload;
  int32_t result;  ///< that means success
};

/// Those of all rows.
std::vector<HealthyCommand> healthy_commands();

/// What a row's form calls, without "handle_".
std::string name_of(const HealthyCommand& command);
/// The payload as `fcx send` takes it, "-" for none.
std::string argument_of(const HealthyCommand& command);

/// A command's records, as the daemon fills them before each call.
struct Records {
  explicit Records(const HealthyCommand& command);

  qvcmd_request request{};
  qvcmd_response response{};
};

/// Sends one and waits for what it leaves to threads. @return whether it succeeded; standard error
/// has what it answered when it did not
bool send(const HealthyCommand& command);

}  // namespace bench
