// Runs a plan over one unit after another, on several places at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/books.h"
#include "station/link.h"
#include "station/plan.h"

namespace station {

enum class Verdict {
  passed,
  failed,   ///< what came is not what is expected
  timeout,  ///< it took longer than a time limit
  error,    ///< nobody knows: the phone could not be reached, or the ledger not be used
  skipped,  ///< it was left out
};
const char* name_of(Verdict verdict);

struct StepResult {
  const Step* step = nullptr;
  std::string name;  ///< with the groups that it is in, and their repeats
  Verdict verdict = Verdict::skipped;
  std::optional<std::string> value;  ///< the answer's, any bytes
  std::string expected;              ///< for people, as the rest
  std::string got;
  std::string why;  ///< it has not passed, where that is not told by the two
  int64_t took_us = 0;
};

struct UnitResult {
  uint64_t number = 0;  ///< in the run, from 1 on
  std::string key;
  std::string place;
  Verdict verdict = Verdict::skipped;
  std::string why;  ///< where no step tells it
  std::string begun_at;
  int64_t took_us = 0;
  std::vector<StepResult> steps;
  Values values;                        ///< of its variables that other units have otherwise
  std::vector<Identity> identities;     ///< that it was found to have
  std::vector<std::string> other_keys;  ///< of units that have one of them
};

struct RunResult {
  std::vector<UnitResult> units;  ///< those that were begun, by their numbers
  uint64_t passed = 0;
  uint64_t not_begun = 0;
  bool was_stopped = false;
  std::string begun_at;
  int64_t took_us = 0;
};

/// How far it is, for who waits.
struct RunState {
  std::atomic<uint64_t> done = 0;
  std::atomic<uint64_t> failed = 0;
};

struct RunOptions {
  uint64_t units = 1;                       ///< for which the plan has values
  Books* books = nullptr;                   ///< null: nothing is claimed, drawn or kept
  std::optional<std::string> key;           ///< the variable whose value is a unit's key
  bool is_fast = false;                     ///< a pause takes a thousandth of its time
  const std::atomic<bool>* stop = nullptr;  ///< the steps in hand come to their end, no others
};

/// Tests the units, at each place one after another, each place on a thread of its own. A place at
/// which there is no phone is given up.
RunResult run_plan(const Plan& plan, const std::vector<std::unique_ptr<PhonePlace>>& places,
                   const RunOptions& options, RunState& state);

}  // namespace station
