// at: one AT line, as a station sends it.
#include <cstdio>
#include <memory>
#include <sstream>

#include "daemon/at_commands.h"
#include "tools/action_verbs.h"
#include "tools/commands.h"
#include "tools/connect.h"
#include "tools/json.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::AtAnswer;

AtAnswer answered(const Invocation& invocation, const Connect& connect, const std::string& line) {
  if (!connect.is_asked_for()) {
    return factory_daemon::answer_at_line(invocation.open_phone(), line);
  }
  factory_daemon::AtResult result = connect.client(invocation).at_line({true, 0, line});
  AtAnswer answer{{}, result.is_ok, std::move(result.reason)};
  std::istringstream lines(result.lines);
  for (std::string each; std::getline(lines, each);) answer.information.push_back(each);
  return answer;
}

void send_line(Invocation& invocation, const Connect& connect, const std::string& line) {
  const AtAnswer answer = answered(invocation, connect, line);
  if (!answer.is_ok) {
    const std::string& reason = answer.reason;
    invocation.complain(
        "fcx: " + (reason.empty() ? "`fcx log` shows what the library did" : harmless(reason)));
    invocation.exit_status = kCommandFailed;
  }
  if (invocation.json) {
    return print({{"line", line},
                  {"answer", answer.information},
                  {"result", answer.is_ok ? "OK" : "ERROR"},
                  {"complaints", invocation.complaints}});
  }
  for (const std::string& text : answer.lines()) puts(harmless(text).c_str());
}

}  // namespace

void add_at(Verb& tool, Invocation& invocation) {
  Verb& command = add_command(
      tool, "at", "Send one AT line and print its answer",
      "  fcx at AT                               is somebody there?\n"
      "  fcx at AT+CGSN                          the IMEI, as the modem has it\n"
      "  fcx at 'AT%BTAD?;%WLAD?'                the Bluetooth address, and the WLAN address\n"
      "  fcx at 'AT%BTAD=?'                      how it is given\n"
      "  fcx at 'AT%BTAD=02FC0A123456'           write it; its digits may have commas between "
      "them\n"
      "  fcx at 'AT%FCX=4018,123456789012345'    any factory command, with a text\n"
      "  fcx at AT --connect /tmp/phone          to a running server, see `fcx serve`\n"
      "\n"
      "It knows E, V, I, +CGMI, +CGMM, +CGMR, +CGSN, +CIMI, +CPIN, +CFUN, +CMEE, +CSCS, +GCAP,\n"
      "%BTAD, %WLAD and %FCX. The answer ends in OK or ERROR. The exit status is 3 for ERROR. What "
      "a command leaves on a\n"
      "thread is awaited.",
      {});
  auto connect = takes_connection(command);
  command.callback([&invocation, connect, read = takes_at_line(command)] {
    send_line(invocation, *connect, read().bytes);
  });
}

}  // namespace cli
