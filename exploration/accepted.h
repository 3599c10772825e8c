// Outcomes that are known and accepted, each with its reason.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "exploration/judgement.h"

namespace exploration {

/// One line of a file: ACTION | ACCESS | EFFECT | VERDICT | REASON. In the first three `*` stands
/// for anything.
struct Acceptance {
  int line = 0;
  std::string action;
  std::string access;
  std::string effect;
  Verdict verdict = Verdict::good;
  std::string reason;
};

/// Those of the library, which are in accepted.txt.
extern const std::string_view kAcceptedOutcomes;

/// Reads such lines; empty ones, and what begins with '#', count for nothing. Throws
/// virtual_phone::Refused, which begins with `name` and the line's number, for one that makes no
/// sense.
std::vector<Acceptance> read_accepted(std::string_view text, const std::string& name);

/// Whether `text` is such a text, where `*` stands for anything.
bool fits(const std::string& pattern, const std::string& text);

}  // namespace exploration
