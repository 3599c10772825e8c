// at: one AT line, as a station sends it.
#include <cstdio>
#include <memory>

#include "daemon/at_commands.h"
#include "daemon/at_line.h"
#include "tools/commands.h"
#include "tools/json.h"

namespace cli {
namespace {

using factory_daemon::answer_at_command;
using factory_daemon::AtAnswer;
using factory_daemon::AtCommand;
using factory_daemon::AtLine;
using factory_daemon::AtLineReader;

/// The command of the one line that `sent` is, whose texts are in it. Throws UsageError.
AtCommand read_line(std::string_view sent) {
  const AtLine read = AtLineReader().next(sent);
  if (read.state == AtLine::State::incomplete) throw UsageError("the AT line is empty");
  if (read.state == AtLine::State::invalid) {
    throw UsageError(std::string("this is no AT line: ") + read.reason);
  }
  if (read.consumed < sent.size()) throw UsageError("give one AT line, without its end");
  return read.command;
}

void send_line(Invocation& invocation, const std::string& line) {
  const std::string sent = line + "\r";
  const AtCommand command = read_line(sent);
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
  auto line = std::make_shared<std::string>();
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
      [&invocation, line] { send_line(invocation, *line); });
  command.add_option("line", *line, "The line without its end").required();
}

}  // namespace cli
