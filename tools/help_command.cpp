// help: what --help prints.
#include <memory>

#include "tools/commands.h"

namespace cli {

void add_help(Verb& tool, Invocation& invocation) {
  struct Options {
    std::optional<std::string> command;
    std::optional<std::string> subcommand;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(tool, "help", "Tell about the tool, or about one of its commands",
                              "  fcx help             the same as fcx --help\n"
                              "  fcx help send        the same as fcx send --help\n"
                              "  fcx help modem nv    the same as fcx modem nv --help",
                              [&tool, &invocation, options] {
                                const Verb* verb = &tool;
                                std::string before;
                                for (const auto& word : {options->command, options->subcommand}) {
                                  if (!word.has_value()) continue;
                                  before += verb->name() + " ";
                                  verb =
                                      &verb->subcommand(*word, before.substr(0, before.size() - 1));
                                }
                                print_help(*verb, before, invocation.json);
                              });
  command.add_option("command", options->command, "A command of the tool").completes(Names::verb);
  command.add_option("subcommand", options->subcommand, "A command of that command")
      .completes(Names::verb);
}

}  // namespace cli
