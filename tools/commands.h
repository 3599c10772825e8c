// The tool's commands. Each adds itself to the command line; `session` lives as long as the tool.
#pragma once

#include "tools/cli.h"

namespace cli {

void add_init(CLI::App& tool, Session& session);
void add_demo(CLI::App& tool, Session& session);
void add_commands(CLI::App& tool, Session& session);
void add_send(CLI::App& tool, Session& session);
void add_prop(CLI::App& tool, Session& session);
void add_item(CLI::App& tool, Session& session);
void add_events(CLI::App& tool, Session& session);
void add_log(CLI::App& tool, Session& session);
void add_fault(CLI::App& tool, Session& session);
void add_reboot(CLI::App& tool, Session& session);

}  // namespace cli
