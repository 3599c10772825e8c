// All that can go wrong with an action, tried: every access fails once in every way, and the power
// is cut after every change.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "exploration/accepted.h"
#include "exploration/judgement.h"

namespace exploration {

struct Request {
  std::filesystem::path phone;  ///< which is copied and left alone
  factory_daemon::Action action;
  std::string name;    ///< of the action, as it is typed
  bool pairs = false;  ///< two failures at a time, instead
  int share = 100;     ///< of the tries, in percent
  uint64_t seed = 0;   ///< which share
  std::vector<Acceptance> accepted;
};

/// One try.
struct Try {
  std::string access;                                       ///< that was disturbed; of two both
  std::string effect;                                       ///< that it was disturbed with
  std::vector<std::pair<std::string, std::string>> struck;  ///< each access, with its effect
  std::string came_out;                                     ///< in a few words
  Judgement judgement;
  std::string accepted;               ///< the reason of a bad verdict that is accepted
  std::vector<std::string> shown_by;  ///< `fcx` command lines that do the same
};

struct Report {
  factory_daemon::Outcome outcome;  ///< with nothing in its way
  std::vector<virtual_phone::PlatformAccess> trace;
  std::vector<Try> tries;
  std::vector<Acceptance> unseen;  ///< of this action, and not seen
  /// Tries with a bad verdict that is not accepted.
  size_t bad() const;
};

/// Tries everything, on copies in memory, in processes of their own on all processors.
/// @param progress is told of how many are done, and of how many there are
/// This process must have no other threads, and no phone open. Throws virtual_phone::Error,
/// std::filesystem::filesystem_error and std::system_error.
Report explore(const Request& request, const std::function<void(size_t, size_t)>& progress);

}  // namespace exploration
