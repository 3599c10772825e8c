// What the commands that lives are made of do to a phone, and what they answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulation/random.h"
#include "simulation/state.h"
#include "simulation/step.h"
#include "simulation/universe.h"

namespace simulation {

struct Change {
  std::string key;
  std::string value;
  bool is_emptied_first = false;  ///< in a write of its own
  /// Whether "done" vouches for it, also where something has failed meanwhile.
  bool is_promised = true;
  const char* instead = nullptr;  ///< what is there when the rest of the command has failed
};

/// What a command does when nothing disturbs it.
struct Effect {
  std::vector<Change> changes;  ///< in the order in which they are written
  std::string answer;
  bool restarts = false;       ///< the phone, after all of them
  const char* reason = "fcx";  ///< of the restart
};

/// Draws a command and what is sent with it.
factory_daemon::Action draw_command(Random& random);

/// The effect of a step that is no start and no restart.
Effect effect_of(const Step& step, const State& before, const Product& product);

/// Whether that may be said to be done where something has failed, although it is not the answer of
/// a phone that is well. The library keeps these on purpose.
bool is_excused(const Step& step, const std::string& answer);

/// A fault on something that a command, or another step, uses; nothing where it uses nothing that
/// can fail.
std::optional<virtual_phone::Fault> draw_fault(Random& random, const Step& step,
                                               const Product& product);

/// About as many changes as it makes: the creation of a file, its content and its name are three.
uint32_t most_changes(const Step& step);

/// 15 digits, the last one their check digit or not.
std::string draw_imei(Random& random, bool is_right);

}  // namespace simulation
