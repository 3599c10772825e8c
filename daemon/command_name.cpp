#include "daemon/command_name.h"

namespace factory_daemon {

std::string without_prefix(std::string_view handler) {
  constexpr std::string_view kPrefix = "handle_";
  if (handler.substr(0, kPrefix.size()) == kPrefix) handler.remove_prefix(kPrefix.size());
  return std::string(handler);
}

std::string command_name(const char* handler) {
  return handler == nullptr ? "" : without_prefix(handler);
}

std::string command_names(const fcx::Command& row) {
  if (row.handler == nullptr) return "-";
  const std::string name = command_name(row.handler);
  return row.writer == nullptr ? name : name + ", " + command_name(row.writer);
}

CommandRows rows_named(const std::string& name) {
  CommandRows rows;
  for (const fcx::Command& row : fcx::command_table()) {
    const bool reads = row.handler != nullptr && command_name(row.handler) == name;
    const bool writes = row.writer != nullptr && command_name(row.writer) == name;
    if (reads || writes) rows.push_back(&row);
  }
  return rows;
}

std::vector<std::string> all_command_names() {
  std::vector<std::string> names;
  for (const fcx::Command& row : fcx::command_table()) {
    for (const char* handler : {row.handler, row.writer}) {
      if (handler != nullptr) names.push_back(command_name(handler));
    }
  }
  return names;
}

}  // namespace factory_daemon
