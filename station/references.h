// What steps say of each other, checked when all of them are known.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "station/errors.h"
#include "station/plan.h"

namespace station {

/// Collects, in the order of the plan, the steps and what they ask of earlier ones.
class References {
 public:
  explicit References(Errors& errors) : errors_(errors) {}

  /// The step that is read from now on. Says so where another has its name.
  void begin(const Step& step);
  /// The same step has the answer of another in its expectation.
  void use_answer(const std::string& step, Place place);
  /// It has a variable in one of its texts.
  void use_variables(const Text& text, Place place);
  /// It gives a variable its value.
  void save(const std::string& variable, Place place);

  /// Tells of what is asked of no step before.
  void check(const std::vector<Variable>& variables);

 private:
  struct Seen {
    Place place;
    size_t order;
    bool has_answer;
  };
  struct Use {
    std::string step;  ///< that asks
    size_t order;
    std::string name;
    Place place;
  };

  void check_answer(const Use& use);
  void check_variable(const Use& use, const std::set<std::string>& given);

  Errors& errors_;
  size_t order_ = 0;
  std::map<std::string, Seen> steps_;
  std::map<std::string, Seen> saved_;
  std::vector<Use> saves_;
  std::vector<Use> answers_;
  std::vector<Use> variables_;
};

}  // namespace station
