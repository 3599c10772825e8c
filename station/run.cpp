#include "station/run.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <thread>

#include "daemon/deliver.h"
#include "station/ledger_text.h"
#include "station/unit_run.h"

namespace station {
namespace {

using std::chrono::steady_clock;

class Run {
 public:
  Run(const Plan& plan, const RunOptions& options, RunState& state)
      : plan_(plan), options_(options), state_(state) {}

  RunResult run(const std::vector<std::unique_ptr<PhonePlace>>& places) {
    const auto begun = steady_clock::now();
    RunResult result;
    result.begun_at = time_now();
    std::vector<std::thread> threads;
    next_ = places.size();
    for (size_t i = 0; i < places.size(); ++i) {
      threads.emplace_back([this, &places, i] { test_at(*places[i], i); });
    }
    for (std::thread& thread : threads) thread.join();
    {
      const std::lock_guard lock(mutex_);
      result.units = std::move(units_);
    }
    std::sort(result.units.begin(), result.units.end(),
              [](const UnitResult& a, const UnitResult& b) { return a.number < b.number; });
    for (const UnitResult& unit : result.units) {
      result.passed += unit.verdict == Verdict::passed ? 1 : 0;
    }
    result.not_begun = options_.units - result.units.size();
    result.was_stopped = is_stopped();
    result.took_us = elapsed_us(begun);
    return result;
  }

 private:
  bool is_stopped() const { return options_.stop != nullptr && *options_.stop; }

  /// @param unit the first one: the phone at each place is tested before a second one at any
  void test_at(PhonePlace& place, uint64_t unit) {
    for (; unit < options_.units && !is_stopped(); unit = next_++) {
      UnitResult result;
      result.number = unit + 1;
      result.place = place.name();
      result.begun_at = time_now();
      const auto begun = steady_clock::now();
      const bool has_phones = test(place, result);
      result.took_us = elapsed_us(begun);
      ++state_.done;
      state_.failed += result.verdict == Verdict::passed ? 0 : 1;
      {
        const std::lock_guard lock(mutex_);
        units_.push_back(std::move(result));
      }
      if (!has_phones) return;
    }
  }

  /// @return whether there was a phone
  bool test(PhonePlace& place, UnitResult& result) {
    std::unique_ptr<UnitLink> link;
    UnitRun unit(plan_, options_, result);
    try {
      Values values = values_of(result);
      link = place.next();
      unit.run(*link, std::move(values));
      if (options_.books != nullptr) options_.books->settle();
    } catch (const std::exception& error) {
      unit.give_up(error.what());
    }
    return link != nullptr;
  }

  /// Those of its variables. It has its key then.
  Values values_of(UnitResult& result) {
    Values values = values_for(plan_, result.number - 1).value_or(Values());
    if (options_.key.has_value()) result.key = values.at(*options_.key);
    if (options_.books != nullptr) {
      if (!options_.key.has_value()) result.key = options_.books->key_of(result.number);
      check_key(result.key);
      values.merge(options_.books->draw(result.key));
    }
    for (const Variable& variable : plan_.variables) {
      if (variable.from == Variable::From::value) continue;
      result.values[variable.name] = values[variable.name];
    }
    return values;
  }

  void check_key(const std::string& key) {
    const std::lock_guard lock(mutex_);
    if (keys_.insert(key).second) return;
    throw LedgerError("another unit of this run has the key " + plain_text(key) + ", too");
  }

  const Plan& plan_;
  const RunOptions& options_;
  RunState& state_;
  std::atomic<uint64_t> next_ = 0;
  std::mutex mutex_;
  std::vector<UnitResult> units_ GUARDED_BY(mutex_);
  std::set<std::string> keys_ GUARDED_BY(mutex_);
};

}  // namespace

const char* name_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed:
      return "passed";
    case Verdict::failed:
      return "failed";
    case Verdict::timeout:
      return "timeout";
    case Verdict::error:
      return "error";
    case Verdict::skipped:
      break;
  }
  return "skipped";
}

RunResult run_plan(const Plan& plan, const std::vector<std::unique_ptr<PhonePlace>>& places,
                   const RunOptions& options, RunState& state) {
  return Run(plan, options, state).run(places);
}

}  // namespace station
