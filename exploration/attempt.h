// One try: an action on a phone, disturbed, and how the phone goes on afterwards.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "daemon/action.h"
#include "exploration/apart.h"
#include "exploration/disturbance.h"
#include "exploration/places.h"

namespace exploration {

struct Run {
  Ending ending = Ending::error;
  std::string what;                 ///< unless it has ended: which signal, how long, or why not
  factory_daemon::Outcome outcome;  ///< once it has ended
  std::vector<virtual_phone::PlatformAccess> trace;  ///< likewise
  bool is_spoilt = false;  ///< an access has delivered something else than its content
};

/// Carries out an action on the phone in a process of its own.
Run run_apart(const std::filesystem::path& phone, const factory_daemon::Action& action,
              const std::vector<Disturbance>& disturbances, const Bounds& bounds);

/// A phone after an action, and after undisturbed ones that followed.
struct Aftermath {
  Places running;                     ///< right after it, with what a cut takes away
  Places cut;                         ///< after the power was cut, too
  std::vector<std::string> outcomes;  ///< of the undisturbed ones
  Places later;                       ///< after them, and another cut
};

/// Looks at the phone, cuts its power, repeats the action so often, and looks again. The phone is
/// this process's from then on.
Aftermath look_after(const std::filesystem::path& phone, const factory_daemon::Action& action,
                     int repeats);

}  // namespace exploration
