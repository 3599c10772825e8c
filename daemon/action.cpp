#include "daemon/action.h"

#include "daemon/at_commands.h"
#include "daemon/at_line.h"
#include "daemon/boot.h"
#include "daemon/deliver.h"
#include "daemon/hex.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

Outcome send(vp::Phone& phone, const Action& action) {
  const Delivery delivery = deliver(phone, action.opcode, action.bytes);
  const std::string result = std::to_string(delivery.response.result);
  const std::string data(delivery.data());
  return {delivery.row != nullptr && delivery.response.result == QVCMD_OK,
          "result " + result + (data.empty() ? "" : ", " + as_word(data))};
}

Outcome send_line(vp::Phone& phone, const std::string& line) {
  if (const char* reason = why_no_at_line(line)) {
    throw vp::Refused("\"" + line + "\" is no AT line: " + reason);
  }
  const AtAnswer answer = answer_at_line(phone, line);
  std::string text;
  for (const std::string& each : answer.lines()) text += (text.empty() ? "" : " | ") + each;
  return {answer.is_ok, text};
}

const char* text_of(BootOutcome outcome) {
  switch (outcome) {
    case BootOutcome::complete:
      return "set-up is complete";
    case BootOutcome::out_of_time:
      return "set-up has waited for the SIM in vain";
    case BootOutcome::put_off:
      return "set-up is put off";
    case BootOutcome::not_started:
      break;
  }
  return "set-up could not be started";
}

Outcome start(vp::Phone& phone, Uptime uptime) {
  const BootOutcome outcome = boot(phone, uptime).outcome;
  return {outcome != BootOutcome::not_started, text_of(outcome)};
}

}  // namespace

Outcome carry_out(vp::Phone& phone, const Action& action) {
  switch (action.kind) {
    case Action::Kind::command:
      return send(phone, action);
    case Action::Kind::at_line:
      return send_line(phone, action.bytes);
    case Action::Kind::start:
      return start(phone, Uptime::begins);
    case Action::Kind::daemon_start:
      return start(phone, Uptime::goes_on);
    case Action::Kind::restart:
      break;
  }
  vp::restart(phone, action.bytes);
  return {true, "restarted"};
}

}  // namespace factory_daemon
