// One thing that happens in a phone's life.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "daemon/action.h"
#include "virtual_phone/faults/faults.h"
#include "virtual_phone/modem/sim.h"
#include "virtual_phone/power/power_cut.h"

namespace simulation {

struct Step {
  enum class Kind {
    action,        ///< what the daemon is asked to do
    sim,           ///< the SIM is another
    network_code,  ///< the list is rewritten with `text`
    modem_value,   ///< the modem keeps `text` as its value `name`
    card,          ///< the SD card is put in, or taken out: `name`
    power_cut,     ///< of a phone at rest
  };
  Kind kind = Kind::action;
  int64_t time_us = 0;  ///< since 1970
  factory_daemon::Action action = {};
  virtual_phone::Sim sim = {};
  std::string name = {};
  std::string text = {};
  virtual_phone::Unflushed unflushed = virtual_phone::Unflushed::dropped;
  /// What it meets: a fault, a kill, or a power cut.
  std::optional<virtual_phone::Fault> disturbance = {};

  bool is_action(factory_daemon::Action::Kind wanted) const {
    return kind == Kind::action && action.kind == wanted;
  }
  bool is_start() const {
    return is_action(factory_daemon::Action::Kind::start) ||
           is_action(factory_daemon::Action::Kind::daemon_start);
  }
  bool is_struck_by(virtual_phone::Part part) const {
    return disturbance.has_value() && disturbance->part == part;
  }
};

/// The card is put in by a step of this name, and taken out by any other.
constexpr char kInsert[] = "insert";
constexpr char kRemove[] = "remove";

/// A day's beginning, and that of every life.
constexpr int64_t kDayUs = int64_t{86'400} * 1'000'000;
constexpr int64_t kFirstDayUs = 18'414 * kDayUs;  // 2020-06-01

/// What is typed for it, line by line.
std::vector<std::string> command_lines(const Step& step);

}  // namespace simulation
