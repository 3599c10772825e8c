#include "station/errors.h"

#include <algorithm>
#include <tuple>

#include "daemon/words.h"
#include "station/characters.h"

namespace station {

std::string PlanError::line() const {
  return file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " +
         (step.empty() ? "" : "step " + in_quotes(step) + ": ") + what;
}

void Errors::add_in(const std::string& file, Place place, std::string what) {
  if (!is_full()) list_.push_back({file, place, step_, std::move(what)});
}

std::vector<PlanError> Errors::take() {
  std::stable_sort(list_.begin(), list_.end(), [&](const PlanError& a, const PlanError& b) {
    const bool a_is_other = a.file != file_;
    const bool b_is_other = b.file != file_;
    return std::tie(a_is_other, a.place.line, a.place.column) <
           std::tie(b_is_other, b.place.line, b.place.column);
  });
  return std::move(list_);
}

std::string in_quotes(std::string_view text) {
  constexpr size_t kMost = 60;
  std::string shown = "\"";
  Characters characters(text);
  for (size_t count = 0; characters.next(); ++count) {
    if (count == kMost) {
      shown += "...";
      break;
    }
    shown += characters.shown();
  }
  return shown + "\"";
}

std::string near_it(const std::string& word, const std::vector<std::string>& names) {
  constexpr size_t kLongest = 100;  // of a word that somebody has mistyped
  if (word.size() > kLongest) return "";
  const std::vector<std::string> near = factory_daemon::nearest(word, names);
  return near.empty() ? "" : ". Near it: " + factory_daemon::joined(near);
}

std::string unknown_name(const std::string& kind, const std::string& word,
                         const std::vector<std::string>& names) {
  constexpr size_t kFew = 12;
  std::string hint = near_it(word, names);
  if (hint.empty() && !names.empty() && names.size() <= kFew) {
    hint = (names.size() == 1 ? ". There is " : ". There are ") + factory_daemon::joined(names);
  }
  return "no " + kind + " is called " + in_quotes(word) + hint;
}

}  // namespace station
