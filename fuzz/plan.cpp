// Test plans, as people and programs write them: YAML and JSON.
//
// Up to the first NUL the plan, after it an answer.
#include "station/plan.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"
#include "station/pattern.h"

namespace {

using station::Step;

/// What every expectation says of an answer that is just any bytes.
void expect(const Step& step, const station::Values& values, std::string_view answer) {
  const station::Expectation& expected = step.expect;
  if (expected.min && expected.max) {
    fuzz::require(expected.min->compare(*expected.max) <= 0, "limits are in their order");
  }
  if (!expected.pattern.has_value()) return;
  const auto text = station::filled_pattern(*expected.pattern, values);
  if (!text.has_value()) return;
  std::string wrong;
  const auto pattern = station::Pattern::read(*text, wrong);
  // With values in it, it may be too long.
  if (!pattern.has_value()) return;
  fuzz::require(expected.capture <= pattern->groups(), "a captured group is there");
  if (const auto found = pattern->match(answer)) {
    fuzz::require(found->at(0) == answer, "a pattern matches all of an answer");
  }
}

void walk(const std::vector<Step>& steps, const station::Values& values, std::string_view answer) {
  for (const Step& step : steps) {
    fuzz::require(!step.name.empty() && step.repeat >= 1, "a step has a name, and is run");
    fuzz::require((step.kind == Step::Kind::group) != step.steps.empty(), "only groups have steps");
    expect(step, values, answer);
    walk(step.steps, values, answer);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string_view text = bytes.substr(0, bytes.find('\0'));
  const std::string_view answer = bytes.substr(std::min(text.size() + 1, bytes.size()));
  for (const char* file : {"plan.yaml", "plan.json"}) {
    // No file is there whose name has a device's folder for a folder.
    const station::PlanReading reading = station::parse_plan(text, file, "/dev/null");
    fuzz::require(reading.plan.has_value() == reading.errors.empty(), "a plan or its errors");
    fuzz::require(reading.errors.size() <= station::kMostErrors, "errors are few");
    if (!reading.plan.has_value()) continue;
    const station::PlanSize large = size_of(*reading.plan);
    fuzz::require(large.time_ms >= 0 && large.runs >= large.steps, "sizes do not overflow");
    const auto units = units_of(*reading.plan);
    fuzz::require(units != 0U, "there is a first unit");
    const auto values = values_for(*reading.plan, units.value_or(1) - 1);
    fuzz::require(values.has_value(), "and a last one, which has its values");
    walk(reading.plan->steps, *values, answer);
  }
  return 0;
}
