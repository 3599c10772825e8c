// Commands by the names that people type: a handler's without "handle_".
#pragma once

#include <string>
#include <vector>

#include "fcx/command_table.h"

namespace cli {

using CommandRows = std::vector<const fcx::Command*>;

/// The name of a handler, "" for none.
std::string command_name(const char* handler);

/// Both names of a row that reads or writes, else its one.
std::string command_names(const fcx::Command& row);

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
