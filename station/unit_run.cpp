#include "station/unit_run.h"

#include <algorithm>
#include <thread>

#include "daemon/at_line.h"
#include "daemon/deliver.h"
#include "station/characters.h"
#include "station/ledger_text.h"

namespace station {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Nothing can be sent, or what came is not what it must be.
class StepFailed : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The station was stopped meanwhile.
class StepStopped : public std::runtime_error {
 public:
  StepStopped() : std::runtime_error("the station was stopped") {}
};

/// Which of two verdicts tells more of a unit.
int weight_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed:
      return 0;
    case Verdict::skipped:
      return 1;
    case Verdict::failed:
      return 2;
    case Verdict::error:
      return 3;
    case Verdict::timeout:
      break;
  }
  return 4;
}

std::string filled_or_failed(const Text& text, const Values& values, size_t most) {
  auto made = filled(text, values);
  if (!made.has_value()) throw StepFailed("a variable in it has no value: its step was left out");
  if (made->size() > most) {
    throw StepFailed("with its variables it has " + std::to_string(made->size()) +
                     " bytes, more than " + std::to_string(most));
  }
  return *made;
}

}  // namespace

int64_t elapsed_us(TimePoint since) {
  return duration_cast<microseconds>(steady_clock::now() - since).count();
}

void UnitRun::run(UnitLink& link, Values values) {
  link_ = &link;
  values_ = std::move(values);
  if (plan_.time_limit_ms > 0) begin_limit("the plan", plan_.time_limit_ms);
  run_all(plan_.steps, plan_.on_failure);
  result_.verdict = Verdict::passed;
  for (const StepResult& step : result_.steps) {
    if (weight_of(step.verdict) > weight_of(result_.verdict)) result_.verdict = step.verdict;
  }
  if (result_.verdict == Verdict::skipped) result_.why = "the station was stopped";
}

void UnitRun::give_up(const std::string& why) {
  result_.verdict = Verdict::error;
  result_.why = why;
  if (result_.steps.empty()) skip(plan_.steps, 0);
}

bool UnitRun::run_all(const std::vector<Step>& steps, OnFailure on_failure) {
  bool has_passed = true;
  for (size_t i = 0; i < steps.size(); ++i) {
    is_over_ = is_over_ || is_stopped();
    if (is_over_ || (!has_passed && on_failure == OnFailure::stop)) {
      skip(steps, i);
      return false;
    }
    const Step& step = steps[i];
    const bool is_group = step.kind == Step::Kind::group;
    if (step.time_limit_ms > 0) begin_limit(is_group ? step.name : "", step.time_limit_ms);
    has_passed = (is_group ? run_group(step) : run_step(step)) && has_passed;
    if (step.time_limit_ms > 0) limits_.pop_back();
  }
  return has_passed;
}

bool UnitRun::run_group(const Step& group) {
  const std::string outside = inside_;
  bool has_passed = true;
  for (uint32_t round = 1; round <= group.repeat; ++round) {
    if (is_over_ || (!has_passed && group.on_failure == OnFailure::stop)) break;
    inside_ = outside + group.name;
    if (group.repeat > 1) inside_ += " #" + std::to_string(round);
    inside_ += " / ";
    has_passed = run_all(group.steps, group.on_failure) && has_passed;
  }
  inside_ = outside;
  return has_passed;
}

bool UnitRun::run_step(const Step& step) {
  StepResult result;
  result.step = &step;
  result.name = inside_ + step.name;
  const auto begun = steady_clock::now();
  do_or_end(step, result);
  result.took_us = elapsed_us(begun);
  try {
    note(result);
  } catch (const LedgerError& error) {
    result.verdict = Verdict::error;
    result.why = error.what();
    is_over_ = true;
  }
  result_.steps.push_back(std::move(result));
  return result_.steps.back().verdict == Verdict::passed;
}

void UnitRun::do_or_end(const Step& step, StepResult& result) {
  const auto end = [&](Verdict verdict, const std::string& why, bool ends_unit) {
    result.verdict = verdict;
    result.why = why;
    is_over_ = is_over_ || ends_unit;
  };
  try {
    result.verdict = Verdict::passed;
    do_step(step, result);
  } catch (const StepFailed& failed) {
    end(Verdict::failed, failed.what(), false);
  } catch (const StepStopped& stopped) {
    end(Verdict::skipped, stopped.what(), true);
  } catch (const RequestRefused& refused) {
    end(Verdict::failed, refused.what(), false);
  } catch (const LinkLate&) {
    end(Verdict::timeout, late(), true);
  } catch (const LinkLost& lost) {
    end(Verdict::error, lost.what(), true);
  } catch (const LedgerError& error) {
    end(Verdict::error, error.what(), true);
  }
}

void UnitRun::do_step(const Step& step, StepResult& result) {
  switch (step.kind) {
    case Step::Kind::send:
    case Step::Kind::at:
      return ask(step, result);
    case Step::Kind::boot:
      return start(step);
    case Step::Kind::pause:
      return pause(step.pause_ms);
    case Step::Kind::group:
      break;
  }
}

void UnitRun::ask(const Step& step, StepResult& result) {
  // Those of an earlier repeat are none of this one.
  answers_.erase(step.name);
  if (step.expect.save.has_value()) values_.erase(*step.expect.save);
  const Answer answer = answer_to(step);
  Judgement judged = judge(step, answer, values_, answers_);
  result.value = judged.value;
  result.expected = std::move(judged.expected);
  result.got = std::move(judged.got);
  if (judged.value.has_value()) keep(step, *judged.value);
  if (!judged.holds) {
    result.verdict = Verdict::failed;
  } else if (step.identity.has_value()) {
    claim(step, *judged.value);
  }
}

Answer UnitRun::answer_to(const Step& step) {
  const TimePoint until = nearest_limit().until;
  Answer answer;
  if (step.kind == Step::Kind::send) {
    constexpr size_t kMost = QVCMD_DATA_SIZE - 1;
    const std::string data =
        step.bytes.has_value() ? *step.bytes : filled_or_failed(step.text, values_, kMost);
    if (!step.bytes.has_value() && data.find('\0') != std::string::npos) {
      throw StepFailed("a variable in its argument has a NUL, at which a text ends");
    }
    const auto answered = link_->command({step.opcode, data}, until);
    answer.result = answered.response.result;
    answer.bytes = factory_daemon::data_of(answered.response);
    return answer;
  }
  const std::string line = filled_or_failed(step.text, values_, factory_daemon::kLongestAtLine);
  if (has_controls(line)) throw StepFailed("a variable in its line has a control character");
  auto answered = link_->at_line({echo_, error_mode_, line}, until);
  echo_ = answered.echo;
  error_mode_ = answered.error_mode;
  answer.is_ok = answered.is_ok;
  answer.reason = std::move(answered.reason);
  answer.bytes = std::move(answered.lines);
  if (!answer.bytes.empty() && answer.bytes.back() == '\n') answer.bytes.pop_back();
  return answer;
}

void UnitRun::keep(const Step& step, const std::string& value) {
  answers_[step.name] = value;
  if (step.expect.save.has_value()) values_[*step.expect.save] = value;
  if (step.identity.has_value()) result_.identities.push_back({*step.identity, value});
}

void UnitRun::claim(const Step& step, const std::string& value) {
  if (options_.books == nullptr) return;
  const Claimed claimed = options_.books->claim(result_.key, *step.identity, value);
  if (claimed.why_not.empty()) return;
  result_.other_keys.push_back(claimed.whose);
  throw StepFailed(claimed.why_not);
}

void UnitRun::start(const Step& step) {
  factory_daemon::StartRequest request;
  request.is_daemon_only = step.only_daemon;
  if (!link_->start(request, nearest_limit().until).is_started) {
    throw StepFailed("carrier set-up could not be started");
  }
}

void UnitRun::pause(int64_t ms) {
  constexpr microseconds kStep(20'000);  // after which somebody may have stopped the station
  constexpr int64_t kFasterBy = 1000;
  const auto wanted = microseconds(options_.is_fast ? ms * 1000 / kFasterBy : ms * 1000);
  const TimePoint until = steady_clock::now() + wanted;
  for (;;) {
    const TimePoint now = steady_clock::now();
    if (now >= until) return;
    if (!limits_.empty() && now >= nearest_limit().until) throw LinkLate();
    if (is_stopped()) throw StepStopped();
    std::this_thread::sleep_for(std::min(duration_cast<microseconds>(until - now), kStep));
  }
}

void UnitRun::skip(const std::vector<Step>& steps, size_t first) {
  for (size_t i = first; i < steps.size(); ++i) {
    const Step& step = steps[i];
    if (step.kind == Step::Kind::group) {
      const std::string outside = inside_;
      inside_ += step.name + " / ";
      skip(step.steps, 0);
      inside_ = outside;
      continue;
    }
    StepResult& left_out = result_.steps.emplace_back();
    left_out.step = &step;
    left_out.name = inside_ + step.name;
  }
}

void UnitRun::note(const StepResult& result) {
  if (options_.books == nullptr) return;
  const Expectation& expect = result.step->expect;
  LedgerResult noted;
  noted.unit = result_.key;
  noted.position = static_cast<int>(result_.steps.size()) + 1;
  noted.step = result.name;
  noted.verdict = name_of(result.verdict);
  noted.value = result.value.value_or("");
  if (expect.min.has_value()) noted.low = expect.min->text();
  if (expect.max.has_value()) noted.high = expect.max->text();
  options_.books->note(std::move(noted));
}

void UnitRun::begin_limit(const std::string& whose, int64_t limit_ms) {
  limits_.push_back({steady_clock::now() + milliseconds(limit_ms), whose, limit_ms});
}

const UnitRun::Limit& UnitRun::nearest_limit() const {
  return *std::min_element(limits_.begin(), limits_.end(),
                           [](const Limit& a, const Limit& b) { return a.until < b.until; });
}

std::string UnitRun::late() const {
  const Limit& limit = nearest_limit();
  const std::string whose = limit.whose.empty() ? "its" : "\"" + limit.whose + "\"'s";
  return "ended by " + whose + " time limit of " + std::to_string(limit.limit_ms) + " ms";
}

}  // namespace station
