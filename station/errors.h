// What is wrong with a plan, and where.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/node.h"

namespace station {

struct PlanError {
  std::string file;  ///< the plan, or a file that it names
  Place place;
  std::string step;  ///< in which it is, where there is one that has a name
  std::string what;  ///< what is wrong, and what would be right

  /// "FILE:LINE:COLUMN: step "NAME": what is wrong".
  std::string line() const;
};

/// So many errors of a plan are told.
constexpr size_t kMostErrors = 20;

/// Collects the errors of a plan while it is read.
class Errors {
 public:
  explicit Errors(std::string file) : file_(std::move(file)) {}

  /// At a place of the plan, in the step that is being read. Past kMostErrors none is kept.
  void add(Place place, std::string what) { add_in(file_, place, std::move(what)); }
  /// The same in another file.
  void add_in(const std::string& file, Place place, std::string what);
  bool is_full() const { return list_.size() >= kMostErrors; }
  bool empty() const { return list_.empty(); }

  /// The step that is being read; "" between them.
  const std::string& step() const { return step_; }
  void set_step(std::string name) { step_ = std::move(name); }

  /// What was found, by place; those of other files last.
  std::vector<PlanError> take();

 private:
  std::string file_;
  std::string step_;
  std::vector<PlanError> list_;
};

/// A text from a file in quotes, for an error: the beginning of a long one, and nothing in it that
/// steers a terminal.
std::string in_quotes(std::string_view text);

/// ". Near it: a, b", or nothing where no name is near to the word.
std::string near_it(const std::string& word, const std::vector<std::string>& names);

/// What to say to a word that is none of `names`: "no KIND is called "WORD"", and the nearest ones,
/// or all of a few.
std::string unknown_name(const std::string& kind, const std::string& word,
                         const std::vector<std::string>& names);

}  // namespace station
