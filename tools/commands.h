// The tool's commands. Each adds itself to the command line; `invocation` lives as long as the
// tool.
#pragma once

#include "tools/cli.h"

namespace cli {

void add_completion(Verb& tool, Invocation& invocation);
void add_help(Verb& tool, Invocation& invocation);
void add_init(Verb& tool, Invocation& invocation);
void add_status(Verb& tool, Invocation& invocation);
void add_demo(Verb& tool, Invocation& invocation);
void add_commands(Verb& tool, Invocation& invocation);
void add_send(Verb& tool, Invocation& invocation);
void add_at(Verb& tool, Invocation& invocation);
void add_prop(Verb& tool, Invocation& invocation);
void add_item(Verb& tool, Invocation& invocation);
void add_modem(Verb& tool, Invocation& invocation);
void add_sim(Verb& tool, Invocation& invocation);
void add_ntcode(Verb& tool, Invocation& invocation);
void add_card(Verb& tool, Invocation& invocation);
void add_boot(Verb& tool, Invocation& invocation);
void add_trace(Verb& tool, Invocation& invocation);
void add_version(Verb& tool, Invocation& invocation);
void add_events(Verb& tool, Invocation& invocation);
void add_log(Verb& tool, Invocation& invocation);
void add_logs(Verb& tool, Invocation& invocation);
void add_explore(Verb& tool, Invocation& invocation);
void add_fault(Verb& tool, Invocation& invocation);
void add_reboot(Verb& tool, Invocation& invocation);
void add_power(Verb& tool, Invocation& invocation);
void add_power_cut(Verb& tool, Invocation& invocation);
void add_usb(Verb& tool, Invocation& invocation);
void add_screen(Verb& tool, Invocation& invocation);
void add_capture(Verb& tool, Invocation& invocation);
void add_serve(Verb& tool, Invocation& invocation);
void add_simulate(Verb& tool, Invocation& invocation);
void add_station(Verb& tool, Invocation& invocation);
void add_ledger(Verb& tool, Invocation& invocation);

}  // namespace cli
