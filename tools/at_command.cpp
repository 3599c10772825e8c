// at: one AT line, as a station sends it.
#include <cstdio>
#include <memory>

#include "daemon/at_commands.h"
#include "tools/action_verbs.h"
#include "tools/commands.h"
#include "tools/json.h"

namespace cli {
namespace {

using factory_daemon::answer_at_command;
using factory_daemon::AtAnswer;
using factory_daemon::AtCommand;

void send_line(Invocation& invocation, const std::string& line) {
  const std::string sent = line + "\r";
  const AtCommand command = read_at_line(sent);
  const AtAnswer answer = answer_at_command(invocation.open_phone(), command);
  if (!answer.is_ok) {
    const std::string& reason = answer.reason;
    invocation.complain("fcx: " +
                        (reason.empty() ? "`fcx log` shows what the library did" : reason));
    invocation.exit_status = kCommandFailed;
  }
  if (invocation.json) {
    return print({{"line", line},
                  {"answer", answer.information},
                  {"result", answer.is_ok ? "OK" : "ERROR"},
                  {"complaints", invocation.complaints}});
  }
  for (const std::string& text : answer.lines()) puts(text.c_str());
}

}  // namespace

void add_at(Verb& tool, Invocation& invocation) {
  Verb& command = add_command(
      tool, "at", "Send one AT line and print its answer",
      "  fcx at AT                               is somebody there?\n"
      "  fcx at 'AT%BTAD?'                       the Bluetooth address\n"
      "  fcx at 'AT%BTAD=?'                      how it is given\n"
      "  fcx at 'AT%BTAD=02FC0A123456'           write it; its digits may have commas between "
      "them\n"
      "  fcx at 'AT%WLAD?'                       the WLAN address, which is written likewise\n"
      "  fcx at 'AT%FCX=4018,123456789012345'    any factory command, with a text\n"
      "\n"
      "The answer ends in OK or ERROR. The exit status is 3 for ERROR. What a command leaves on a\n"
      "thread is awaited.",
      {});
  command.callback(
      [&invocation, read = takes_at_line(command)] { send_line(invocation, read().bytes); });
}

}  // namespace cli
