// A life, lived by a phone.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "simulation/life.h"
#include "simulation/model.h"

namespace simulation {

struct Counts {
  int days = 0;
  int starts = 0;
  int commands = 0;
  int faults = 0;  ///< that were set; whether they struck is the library's affair
  int kills = 0;
  int cuts = 0;
};

struct Lived {
  Counts counts;
  std::optional<Failure> failure;  ///< of the last step that was taken
};

/// Who looks on.
struct Watch {
  /// Each step's line, without an end.
  std::function<void(const std::string& line)> line = {};
  /// After each step, before the phone is looked at.
  std::function<void(size_t step, virtual_phone::Phone& phone)> after = {};
};

/// Lives until something is wrong. Each step is a process of its own, on a clock that begins at the
/// step's time. No phone may be open in this process. Throws virtual_phone::Error.
/// @param directory where the phone is made anew
Lived live(const Life& life, const std::filesystem::path& directory, const Watch& watch = {});

}  // namespace simulation
