// A plan's steps, one after another, over one unit.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "station/judge.h"
#include "station/run.h"

namespace station {

int64_t elapsed_us(TimePoint since);

class UnitRun {
 public:
  /// @param result is filled; its number and key are there
  UnitRun(const Plan& plan, const RunOptions& options, UnitResult& result)
      : plan_(plan), options_(options), result_(result) {}

  /// Throws LedgerError.
  void run(UnitLink& link, Values values);
  /// It has ended before its end, or could not begin: what was not done is left out.
  void give_up(const std::string& why);

 private:
  struct Limit {
    TimePoint until;
    std::string whose;  ///< "" for the step's own
    int64_t limit_ms;
  };
  bool run_all(const std::vector<Step>& steps, OnFailure on_failure);
  bool run_group(const Step& group);
  bool run_step(const Step& step);
  void do_step(const Step& step, StepResult& result);
  void ask(const Step& step, StepResult& result);
  Answer answer_to(const Step& step);
  void start(const Step& step);
  void pause(int64_t ms);
  void claim(const Step& step, const std::string& value);
  void keep(const Step& step, const std::string& value);
  void skip(const std::vector<Step>& steps, size_t first);
  void note(const StepResult& result);
  void do_or_end(const Step& step, StepResult& result);
  void begin_limit(const std::string& whose, int64_t limit_ms);
  const Limit& nearest_limit() const;
  std::string late() const;
  bool is_stopped() const { return options_.stop != nullptr && *options_.stop; }

  const Plan& plan_;
  const RunOptions& options_;
  UnitResult& result_;
  UnitLink* link_ = nullptr;
  Values values_;
  Values answers_;
  std::vector<Limit> limits_;
  std::string inside_;  ///< of which groups, before a step's name
  bool is_over_ = false;
  bool echo_ = true;  ///< as the last AT line has left them
  uint8_t error_mode_ = 0;
};

}  // namespace station
