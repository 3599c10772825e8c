// Commands by the names that people give them: a handler's without "handle_".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fcx/command_table.h"

namespace factory_daemon {

using CommandRows = std::vector<const fcx::Command*>;

/// A handler's name without "handle_", where it begins so.
std::string without_prefix(std::string_view handler);

/// The name of a handler, "" for none.
std::string command_name(const char* handler);

/// Both names of a row that reads or writes, else its one.
std::string command_names(const fcx::Command& row);

/// The rows that read or write as `name`.
CommandRows rows_named(const std::string& name);

/// Of all rows, those that read and those that write.
std::vector<std::string> all_command_names();

}  // namespace factory_daemon
