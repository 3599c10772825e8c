// Holds answers against what a plan expects of them.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "station/plan.h"

namespace station {

/// What a command or an AT line was answered.
struct Answer {
  int32_t result = 0;  ///< of a command
  bool is_ok = false;  ///< of an AT line
  std::string reason;  ///< of ERROR, for people
  std::string bytes;
};

struct Judgement {
  bool holds = false;
  std::optional<std::string> value;  ///< nothing where the pattern has not matched
  std::string expected;              ///< all of it, for people
  std::string got;
};

/// @param step    of kind `send` or `at`
/// @param values  those of variables so far
/// @param answers the values of earlier steps, by their names
Judgement judge(const Step& step, const Answer& answer, const Values& values,
                const Values& answers);

}  // namespace station
