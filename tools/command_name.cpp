#include "tools/command_name.h"

#include <algorithm>
#include <cctype>

#include "tools/words.h"

namespace cli {
namespace {

using factory_daemon::all_command_names;
using factory_daemon::rows_named;
using factory_daemon::without_prefix;

bool is_number(const std::string& word) {
  const size_t sign = !word.empty() && word[0] == '-' ? 1 : 0;
  return word.size() > sign &&
         std::all_of(word.begin() + static_cast<ptrdiff_t>(sign), word.end(), isdigit);
}

int32_t opcode_from(const std::string& digits) {
  const int64_t opcode = number_of(digits, "an opcode");
  if (opcode != static_cast<int32_t>(opcode)) throw UsageError("no opcode has more than 32 bits");
  return static_cast<int32_t>(opcode);
}

/// In lower case, the words of a name apart.
std::string as_words(std::string text) {
  for (char& c : text) c = c == '_' ? ' ' : static_cast<char>(tolower(c));
  return text;
}

/// The rows with a word that begins so in their names or in what they do.
CommandRows rows_about(const std::string& word) {
  const std::string wanted = " " + as_words(word);
  CommandRows rows;
  for (const fcx::Command& row : fcx::command_table()) {
    std::string words = as_words(" " + command_names(row) + " " + row.summary);
    std::replace_if(
        words.begin(), words.end(), [](char c) { return isalnum(c) == 0; }, ' ');
    if (words.find(wanted) != std::string::npos) rows.push_back(&row);
  }
  return rows;
}

[[noreturn]] void fail_unknown(const std::string& name) {
  throw unknown_name("command", name, all_command_names(), "fcx commands");
}

[[noreturn]] void fail_ambiguous(const std::string& name, const CommandRows& rows) {
  std::string list;
  for (const fcx::Command* row : rows) {
    list += "\n  " + std::to_string(row->opcode) + "  " + row->summary;
  }
  throw UsageError("\"" + name + "\" is the name of several commands; give the number:" + list);
}

}  // namespace

const fcx::Command* command_called(const std::string& word) {
  for (const fcx::Command& row : fcx::command_table()) {
    const bool is_named = word == command_name(row.handler) || word == command_name(row.writer);
    if (word == std::to_string(row.opcode) || (!word.empty() && is_named)) return &row;
  }
  return nullptr;
}

int32_t opcode_of(const std::string& word) {
  if (is_number(word)) return opcode_from(word);
  const std::string name = without_prefix(word);
  const CommandRows rows = rows_named(name);
  if (rows.empty()) fail_unknown(name);
  if (rows.size() > 1) fail_ambiguous(name, rows);
  return rows.front()->opcode;
}

CommandRows rows_of(const std::string& word) {
  if (is_number(word)) {
    const fcx::Command* row = fcx::find_command(opcode_from(word));
    if (row == nullptr) {
      throw UsageError("no command has the opcode " + word + ". `fcx commands` lists all of them.");
    }
    return {row};
  }
  CommandRows rows = rows_named(without_prefix(word));
  if (rows.empty() && !word.empty()) rows = rows_about(word);
  if (rows.empty()) fail_unknown(word);
  return rows;
}

std::string argument_text(const fcx::Command& row) {
  switch (row.argument) {
    case fcx::Argument::none:
      return "-";
    case fcx::Argument::payload:
      return "text";
    case fcx::Argument::decimal:
      return "number";
    case fcx::Argument::request:
      return "request";
    case fcx::Argument::payload_or_none:
      return "text or none";
    case fcx::Argument::selector:
      return "- (" + std::to_string(row.selector) + ")";
  }
  return "";
}

}  // namespace cli
