// The tool's commands. Each adds itself to the command line; `invocation` lives as long as the
// tool.
#pragma once

#include "tools/cli.h"

namespace cli {

void add_init(CLI::App& tool, Invocation& invocation);
void add_demo(CLI::App& tool, Invocation& invocation);
void add_commands(CLI::App& tool, Invocation& invocation);
void add_send(CLI::App& tool, Invocation& invocation);
void add_prop(CLI::App& tool, Invocation& invocation);
void add_item(CLI::App& tool, Invocation& invocation);
void add_modem(CLI::App& tool, Invocation& invocation);
void add_sim(CLI::App& tool, Invocation& invocation);
void add_ntcode(CLI::App& tool, Invocation& invocation);
void add_boot(CLI::App& tool, Invocation& invocation);
void add_events(CLI::App& tool, Invocation& invocation);
void add_log(CLI::App& tool, Invocation& invocation);
void add_fault(CLI::App& tool, Invocation& invocation);
void add_reboot(CLI::App& tool, Invocation& invocation);

}  // namespace cli
