// commands: what the phone can be asked.
#include <cstdio>
#include <memory>
#include <string>

#include "fcx/command_table.h"
#include "tools/command_name.h"
#include "tools/command_reference.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/table.h"

namespace cli {
namespace {

CommandRows all_rows() {
  CommandRows rows;
  for (const fcx::Command& row : fcx::command_table()) rows.push_back(&row);
  return rows;
}

void print_list(const CommandRows& rows) {
  TextTable table({"OPCODE", "NAME", "ARGUMENT", "WHAT IT DOES"});
  for (const fcx::Command* row : rows) {
    table.add(
        {std::to_string(row->opcode), command_names(*row), argument_text(*row), row->summary});
  }
  table.print();
}

}  // namespace

void add_commands(Verb& tool, Invocation& invocation) {
  struct Options {
    std::optional<std::string> word;
    bool markdown = false;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      tool, "commands", "List the factory commands, or tell all about some",
      "  fcx commands               all of them, a line each\n"
      "  fcx commands 4018          one: argument, answer, results, and an example that is run\n"
      "                             on a phone of its own\n"
      "  fcx commands get_sku       the same by name\n"
      "  fcx commands imei          of all whose name or line has such a word\n"
      "  fcx commands --markdown    the page docs/commands.md",
      [&invocation, options] {
        if (options->markdown && (invocation.json || options->word.has_value())) {
          throw UsageError(
              "--markdown prints a whole page, not one JSON object and no single command");
        }
        if (options->markdown) return print_page();
        const bool tells_all = options->word.has_value();
        const CommandRows rows = tells_all ? rows_of(*options->word) : all_rows();
        if (invocation.json) {
          Json list = Json::array();
          for (const fcx::Command* row : rows) list.push_back(command_json(*row));
          return print({{"commands", list}});
        }
        if (!tells_all) return print_list(rows);
        for (const fcx::Command* row : rows) {
          if (row != rows.front()) puts("");
          print_reference(*row);
        }
      });
  command.add_option("word", options->word, "An opcode, a name, or a word of what it does")
      .completes(Names::command);
  command.add_flag("--markdown", options->markdown, "Print the page docs/commands.md");
}

}  // namespace cli
