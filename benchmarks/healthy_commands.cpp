#include "benchmarks/healthy_commands.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string_view>

#include "fcx/background.h"
#include "fcx/service_handler.h"

namespace bench {
namespace {

struct Argument {
  int32_t opcode;
  const char* payload;
  int32_t result;
};

// One line for each form of a row that the default below does not do for.
constexpr Argument kArguments[] = {
    {3170, "on", 0},
    {3201, "\1", 0},
    {4001, "KEY", 0},
    {4002, "2", 0},
    {4003, "0", 0},
    {4003, "2", 0},
    {4063, "", 0},
    {4063, "QV-100", 0},
    {4064, "", 0},
    {4064, "490154203237518", 0},
    {4065, "", 0},
    {4065, "0A1B2C3D4E5F", 0},
    {4066, "", 0},
    {4066, "0A1B2C3D4E5F", 0},
    {4230, "", 0},
    {4230, "[FRONT_TOF_CHECK]", 0},
    {4231, "PASS", 0},
    {4231, "[FRONT_TOF]offset=12;gain=1.02", 0},
    {4232, "1", 1},  // always
    {4293, "490154203237518", 0},
    {4295, "", 0},
    {4295, "2020/06/01 09:30:00", 0},
};

/// What most rows are content with: text is any, a number is 1.
std::vector<Argument> defaults_of(const fcx::Command& row) {
  switch (row.argument) {
    case fcx::Argument::none:
    case fcx::Argument::selector:
      return {{row.opcode, "", 0}};
    case fcx::Argument::payload_or_none:
      return {{row.opcode, "", 0}, {row.opcode, "1", 0}};
    case fcx::Argument::payload:
    case fcx::Argument::decimal:
    case fcx::Argument::request:
      break;
  }
  return {{row.opcode, "1", 0}};
}

std::vector<Argument> arguments_of(const fcx::Command& row) {
  std::vector<Argument> found;
  for (const Argument& each : kArguments) {
    if (each.opcode == row.opcode) found.push_back(each);
  }
  return found.empty() ? defaults_of(row) : found;
}

}  // namespace

std::vector<HealthyCommand> healthy_commands() {
  std::vector<HealthyCommand> commands;
  for (const fcx::Command& row : fcx::command_table()) {
    for (const auto& [opcode, payload, result] : arguments_of(row)) {
      commands.push_back({&row, payload, result});
    }
  }
  return commands;
}

std::string name_of(const HealthyCommand& command) {
  constexpr std::string_view kPrefix = "handle_";
  const fcx::Command& row = *command.row;
  const bool writes = row.writer != nullptr && !command.payload.empty();
  std::string name = row.handler == nullptr ? "pool_only" : writes ? row.writer : row.handler;
  if (name.compare(0, kPrefix.size(), kPrefix) == 0) name.erase(0, kPrefix.size());
  return name;
}

std::string argument_of(const HealthyCommand& command) {
  const std::string& text = command.payload;
  if (text.empty()) return "-";
  const auto is_shown = [](unsigned char c) { return std::isprint(c) != 0; };
  if (std::all_of(text.begin(), text.end(), is_shown)) return text;
  std::string bytes = "hex:";
  for (const unsigned char c : text) {
    std::array<char, 3> digits;
    snprintf(digits.data(), digits.size(), "%02X", c);
    bytes += digits.data();
  }
  return bytes;
}

Records::Records(const HealthyCommand& command) {
  request.opcode = command.row->opcode;
  request.data_len = static_cast<int32_t>(command.payload.copy(request.data, sizeof request.data));
}

bool send(const HealthyCommand& command) {
  Records records(command);
  service_handler(&records.request, &records.response);
  fcx::wait_for_background_work();
  if (records.response.result == command.result) return true;
  fprintf(stderr, "%d %s answers result %d, not %d: it needs another argument\n",
          command.row->opcode, argument_of(command).c_str(), records.response.result,
          command.result);
  return false;
}

}  // namespace bench
