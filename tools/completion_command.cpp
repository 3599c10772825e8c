// completion: the scripts of shells, and the manual page, for whoever installs the tool.
#include <cstdio>
#include <memory>

#include "fcx/version.h"
#include "tools/commands.h"
#include "tools/completion.h"
#include "tools/man_page.h"

namespace cli {

void add_completion(Verb& tool, Invocation& invocation) {
  auto what = std::make_shared<std::string>();
  Choices choices = completion_scripts();
  choices.push_back({"man", "of man/man1/fcx.1"});
  Verb& command = add_command(
      tool, "completion", "Print what lets a shell complete fcx, or the manual page",
      "  source <(fcx completion bash)     in this shell\n"
      "  fcx completion man | man -l -     the manual page",
      [&tool, &invocation, what] {
        if (invocation.json) throw UsageError("completion prints a file, and no JSON object");
        if (*what == "man") return print_man_page(tool.definition(), FCX_VERSION);
        const char* script = completion_script(*what);
        if (script == nullptr) {
          throw UsageError("completion is of bash, zsh or fish, or a man page, not of \"" + *what +
                           "\"");
        }
        fputs(script, stdout);
      });
  command.add_option("what", *what, "bash, zsh, fish or man").required().completes(choices);
}

}  // namespace cli
