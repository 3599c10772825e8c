#include "tools/command_name.h"

#include <algorithm>

#include "tools/words.h"

namespace cli {
namespace {

constexpr std::string_view kPrefix = "handle_";

std::string without_prefix(std::string_view handler) {
  if (handler.substr(0, kPrefix.size()) == kPrefix) handler.remove_prefix(kPrefix.size());
  return std::string(handler);
}

bool is_number(const std::string& word) {
  const size_t sign = !word.empty() && word[0] == '-' ? 1 : 0;
  return word.size() > sign &&
         std::all_of(word.begin() + static_cast<ptrdiff_t>(sign), word.end(), isdigit);
}

[[noreturn]] void fail_unknown(const std::string& name) {
  std::vector<std::string> names;
  for (const fcx::Command& row : fcx::command_table()) {
    for (const char* handler : {row.handler, row.writer}) {
      if (handler != nullptr) names.push_back(command_name(handler));
    }
  }
  throw unknown_name("command", name, names, "fcx commands");
}

[[noreturn]] void fail_ambiguous(const std::string& name,
                                 const std::vector<const fcx::Command*>& rows) {
  std::string list;
  for (const fcx::Command* row : rows) {
    list += "\n  " + std::to_string(row->opcode) + "  " + row->summary;
  }
  throw UsageError("\"" + name + "\" is the name of several commands; give the number:" + list);
}

}  // namespace

std::string command_name(const char* handler) {
  return handler == nullptr ? "" : without_prefix(handler);
}

std::string command_names(const fcx::Command& row) {
  if (row.handler == nullptr) return "-";
  const std::string name = command_name(row.handler);
  return row.writer == nullptr ? name : name + ", " + command_name(row.writer);
}

int32_t opcode_of(const std::string& word) {
  if (is_number(word)) {
    const int64_t opcode = number_of(word, "an opcode");
    if (opcode != static_cast<int32_t>(opcode)) throw UsageError("no opcode has more than 32 bits");
    return static_cast<int32_t>(opcode);
  }
  const std::string name = without_prefix(word);
  std::vector<const fcx::Command*> rows;
  for (const fcx::Command& row : fcx::command_table()) {
    const bool reads = row.handler != nullptr && command_name(row.handler) == name;
    const bool writes = row.writer != nullptr && command_name(row.writer) == name;
    if (reads || writes) rows.push_back(&row);
  }
  if (rows.empty()) fail_unknown(name);
  if (rows.size() > 1) fail_ambiguous(name, rows);
  return rows.front()->opcode;
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
