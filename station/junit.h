// A run's results as JUnit XML, in the form of docs/junit.xsd: a test suite a unit, a test case a
// step.
#pragma once

#include <functional>
#include <string>

#include "station/run.h"

namespace station {

struct JunitReport {
  std::string plan;
  std::string station;
  /// How a text of a unit is shown, which may be an identity.
  std::function<std::string(const UnitResult& unit, const std::string& text)> shown;
};

/// The file's text, in UTF-8. What is no XML in a text stands there as \xNN.
std::string junit_text(const JunitReport& report, const RunResult& run);

/// A measured value's limits: "20.5 to 38", "at least 3", "" for none.
std::string limits_of(const Step& step);

/// Why a step has not passed, in one line; "" when it has.
std::string reason_of(const StepResult& step);

/// "0.012345" of microseconds.
std::string seconds(int64_t us);

}  // namespace station
