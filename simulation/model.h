// What must be true of a phone after each thing that has happened to it. It shares no code with the
// library, and asks it nothing.
//
// Nothing disturbed: the new values, letter for letter, the answer, and nothing else. Disturbed:
// each value as before or as it would be, never a third; an answer that says "done" is the right
// one, or one of a few that are kept on purpose, and vouches for what it promises. The model goes
// on with what is there, but for what a start decides: a start that was interrupted may have
// settled each part of that or not, and the next start that nothing disturbs must end where one of
// these would.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulation/start_model.h"
#include "simulation/state.h"
#include "simulation/step.h"
#include "simulation/universe.h"

namespace simulation {

/// What was seen of a step while it ran.
struct Report {
  enum class End { answered, killed, power_cut, crashed, hung };
  End end = End::answered;
  std::string answer = {};  ///< or, where it crashed or hung, how
  bool is_done = false;
  struct Reboot {
    int64_t after_us;  ///< since the step began
    std::string detail;
  };
  std::optional<Reboot> reboot = {};  ///< that the library has asked for
};

/// The key of a failure that is about when the phone is rebooted, and for what reason.
constexpr char kReboot[] = "reboot";

struct Failure {
  enum class Kind { crash, hang, answer, value };
  Kind kind;
  std::string key = {};  ///< of a wrong value
  std::optional<std::string> expected = {};
  std::optional<std::string> found = {};
  size_t step = 0;

  /// Whether it is likely to have the same reason.
  bool is_like(const Failure& other) const { return kind == other.kind && key == other.key; }
};

class Model {
 public:
  /// @param fresh the phone as it was made
  Model(const Product& product, State fresh);

  /// Compares, and goes on with what is there now. @return what is wrong
  std::optional<Failure> check(const Step& step, const Report& report, const State& now);
  const State& last() const { return last_; }

 private:
  std::optional<Failure> check_start(const Step& step, const Report& report, const State& now);
  std::optional<Failure> check_disturbed_start(const Step& step, const State& now);
  std::optional<Failure> check_other(const Step& step, const Report& report, const State& now);
  /// In what is there now, the decision of one of the worlds.
  State in_world(const State& world) const;
  State restart(const State& before) const;
  /// Whether an answer says that all is done, and means it.
  bool is_vouched_for(const Step& step, const Report& report) const;
  /// Nobody may have flushed what an interrupted process has written.
  void note_changed_files(const State& now, bool are_flushed);
  /// Of these, what a power cut has taken away.
  void lose_unflushed(const State& now, State& state) const;
  /// What an interrupted start must have done before it notes what later starts go by.
  std::optional<Failure> check_note(const Note& note, const Step& step, const State& now) const;
  /// A restart may have carried out a factory reset, which takes decisions away.
  void forget_what_was_reset(const State& now);

  const Product& product_;
  State fresh_;
  State last_;
  /// What may have been decided so far: the values of decided_parts(). One, unless a start was
  /// disturbed.
  std::vector<State> worlds_;
  /// Files that a power cut may bring back to one of these.
  std::map<std::string, std::set<std::optional<std::string>>> unflushed_;
};

/// Both sides of the first difference; nothing where there is none.
std::optional<Failure> difference(const State& expected, const State& found);

/// In words.
std::string text_of(const Failure& failure);

}  // namespace simulation
