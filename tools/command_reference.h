// What people are told of a command: its row, and its example, which is run on a fresh phone for
// them.
#pragma once

#include "fcx/command_table.h"
#include "tools/json.h"

namespace cli {

/// All that is known of a command, with its example. Throws virtual_phone::Error.
Json command_json(const fcx::Command& row);

/// Prints the same. Throws virtual_phone::Error.
void print_reference(const fcx::Command& row);

/// Prints docs/commands.md: the same of all commands. Throws virtual_phone::Error.
void print_page();

}  // namespace cli
