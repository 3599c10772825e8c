// How large a plan is, and how long it takes at most.
#include <algorithm>

#include "station/plan.h"

namespace station {
namespace {

/// What a time that would be larger counts as: 10,000 years.
constexpr int64_t kLongestMs = int64_t{10'000} * 365 * 24 * 3'600'000;

int64_t at_most(int64_t time_ms, int64_t limit_ms) {
  return limit_ms == 0 ? time_ms : std::min(time_ms, limit_ms);
}

void add(const Step& step, PlanSize& size);

void add_all(const std::vector<Step>& steps, PlanSize& size) {
  for (const Step& step : steps) add(step, size);
}

void add(const Step& step, PlanSize& size) {
  int64_t time_ms = step.kind == Step::Kind::pause ? step.pause_ms : step.time_limit_ms;
  if (step.kind == Step::Kind::group) {
    PlanSize once;
    add_all(step.steps, once);
    size.steps += once.steps;
    size.groups += once.groups + 1;
    // At most a million repeats of steps that a file of a mebibyte has.
    size.runs += once.runs * step.repeat;
    const bool is_longest = once.time_ms > kLongestMs / step.repeat;
    time_ms = at_most(is_longest ? kLongestMs : once.time_ms * step.repeat, step.time_limit_ms);
  } else {
    ++size.steps;
    ++size.runs;
  }
  size.time_ms = std::min(size.time_ms + time_ms, kLongestMs);
}

}  // namespace

PlanSize size_of(const Plan& plan) {
  PlanSize size;
  add_all(plan.steps, size);
  size.time_ms = at_most(size.time_ms, plan.time_limit_ms);
  return size;
}

}  // namespace station
