// Commands by the names that people type: a handler's without "handle_".
#pragma once

#include <string>

#include "daemon/command_name.h"
#include "fcx/command_table.h"

namespace cli {

using factory_daemon::command_name;
using factory_daemon::command_names;
using factory_daemon::CommandRows;

/// The first command that a word names by its opcode or by a name, or null.
const fcx::Command* command_called(const std::string& word);

/// The opcode that `word` stands for: a number, or a name with or without "handle_". Throws
/// UsageError for a name that is unknown or means several commands.
int32_t opcode_of(const std::string& word);

/// The commands that `word` stands for: by number, by name, or else all with a word that begins so
/// in their names or in what they do. Throws UsageError when there is none.
CommandRows rows_of(const std::string& word);

/// What the command takes, in a word or two.
std::string argument_text(const fcx::Command& row);

}  // namespace cli
