#include "simulation/step.h"

#include "daemon/hex.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;
using Kind = factory_daemon::Action::Kind;

/// A word of a shell's command line.
std::string word(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:=,+-";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string line_of(const factory_daemon::Action& action) {
  const std::string data =
      action.bytes.empty() ? "" : " " + word(factory_daemon::as_word(action.bytes));
  switch (action.kind) {
    case Kind::command:
      return "fcx send " + std::to_string(action.opcode) + data;
    case Kind::at_line:
      return "fcx at" + data;
    case Kind::start:
      return "fcx boot";
    case Kind::daemon_start:
      return "fcx boot --daemon";
    case Kind::restart:
      break;
  }
  return "fcx reboot" + data;
}

std::string line_of(const Step& step) {
  switch (step.kind) {
    case Step::Kind::action:
      return line_of(step.action);
    case Step::Kind::sim:
      break;
    case Step::Kind::network_code:
      return "fcx ntcode set " + word(step.text);
    case Step::Kind::modem_value:
      return "fcx modem set " + step.name + " " + word(step.text);
    case Step::Kind::card:
      return "fcx card " + step.name;
    case Step::Kind::power_cut:
      return std::string("fcx power-cut ") + vp::name_of(step.unflushed);
  }
  std::string line = "fcx sim delay " + std::to_string(step.sim.not_yet) + "; fcx sim ";
  if (step.sim.state == vp::SimState::absent) return line + "remove";
  if (step.sim.state == vp::SimState::error) return line + "error";
  return line + "insert " + word(step.sim.iccid);
}

std::string line_of(const vp::Fault& fault) {
  std::string line = std::string("fcx fault ") + vp::name_of(fault.part);
  if (!fault.target.empty()) line += " " + word(fault.target);
  line += std::string(" ") + vp::name_of(fault.effect);
  if (fault.effect == vp::Effect::cut) {
    line += std::string(" ") + vp::name_of(static_cast<vp::Unflushed>(fault.value));
  } else if (fault.effect == vp::Effect::late || fault.value != 0) {
    line += " " + std::to_string(fault.value);
  }
  if (fault.access != vp::Access::any) line += std::string(" --on ") + vp::name_of(fault.access);
  if (fault.after > 1) line += " --after " + std::to_string(fault.after);
  if (fault.remaining.has_value()) line += " --times " + std::to_string(*fault.remaining);
  return line;
}

}  // namespace

std::vector<std::string> command_lines(const Step& step) {
  std::vector<std::string> lines;
  if (step.disturbance.has_value()) lines.push_back(line_of(*step.disturbance));
  lines.push_back(line_of(step));
  if (step.disturbance.has_value()) lines.emplace_back("fcx fault clear");
  return lines;
}

}  // namespace simulation
