#include "station/references.h"

#include <algorithm>

namespace station {
namespace {

/// A word is compared with no more.
constexpr size_t kMostNames = 1000;

/// The first names of a map.
template <typename Map>
std::vector<std::string> names_in(const Map& map) {
  std::vector<std::string> names;
  for (const auto& [name, each] : map) {
    if (names.size() < kMostNames) names.push_back(name);
  }
  return names;
}

std::string line_of(Place place) { return "line " + std::to_string(place.line); }

}  // namespace

void References::begin(const Step& step) {
  ++order_;
  if (step.name.empty()) return;
  const bool has_answer = step.kind == Step::Kind::send || step.kind == Step::Kind::at;
  const auto [first, is_new] = steps_.emplace(step.name, Seen{step.place, order_, has_answer});
  if (!is_new) {
    errors_.add(step.place, "another step has this name, in " + line_of(first->second.place));
  }
}

void References::use_answer(const std::string& step, Place place) {
  answers_.push_back({errors_.step(), order_, step, place});
}

void References::use_variables(const Text& text, Place place) {
  for (const Piece& piece : text) {
    if (piece.is_variable) variables_.push_back({errors_.step(), order_, piece.text, place});
  }
}

void References::save(const std::string& variable, Place place) {
  saved_.emplace(variable, Seen{place, order_, true});
  saves_.push_back({errors_.step(), order_, variable, place});
}

void References::check_answer(const Use& use) {
  errors_.set_step(use.step);
  const auto found = steps_.find(use.name);
  if (found == steps_.end()) {
    errors_.add(use.place, unknown_name("step", use.name, names_in(steps_)));
  } else if (!found->second.has_answer) {
    errors_.add(use.place,
                "the step " + in_quotes(use.name) + " has no answer: only send and at have one");
  } else if (found->second.order == use.order) {
    errors_.add(use.place, "a step is compared with an earlier one, not with itself");
  } else if (found->second.order > use.order) {
    errors_.add(use.place, "the step " + in_quotes(use.name) + " comes later, in " +
                               line_of(found->second.place));
  }
}

void References::check_variable(const Use& use, const std::set<std::string>& given) {
  if (given.count(use.name) > 0) return;
  const auto found = saved_.find(use.name);
  if (found != saved_.end() && found->second.order < use.order) return;
  errors_.set_step(use.step);
  if (found != saved_.end()) {
    const std::string since = found->second.order == use.order
                                  ? "by this step itself"
                                  : "later, in " + line_of(found->second.place);
    errors_.add(use.place, "the variable " + in_quotes(use.name) + " is saved only " + since);
    return;
  }
  std::vector<std::string> names = names_in(saved_);
  for (const std::string& name : given) {
    if (names.size() < kMostNames && saved_.count(name) == 0) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  errors_.add(use.place, unknown_name("variable", use.name, names));
}

void References::check(const std::vector<Variable>& variables) {
  std::set<std::string> given;
  for (const Variable& variable : variables) given.insert(variable.name);
  for (const Use& use : answers_) {
    if (!errors_.is_full()) check_answer(use);
  }
  for (const Use& use : variables_) {
    if (!errors_.is_full()) check_variable(use, given);
  }
  for (const Use& use : saves_) {
    if (given.count(use.name) == 0) continue;
    errors_.set_step(use.step);
    errors_.add(use.place, "the variable " + in_quotes(use.name) +
                               " has its values from \"variables\": save under another name");
  }
  errors_.set_step("");
}

}  // namespace station
