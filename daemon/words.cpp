#include "daemon/words.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>
#include <tuple>

namespace factory_daemon {
namespace {

/// How many letters must change to make one word of the other.
size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string in_lower_case(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(c));
  return text;
}

bool contains(const std::string& text, const std::string& part) {
  return in_lower_case(text).find(in_lower_case(part)) != std::string::npos;
}

std::vector<std::string> nearest(const std::string& typed, const std::vector<std::string>& names) {
  constexpr size_t kMost = 3;
  constexpr size_t kTooShort = 3;  // everything is near to a letter or two
  const std::string word = in_lower_case(typed);
  const size_t most_changes = std::max<size_t>(word.size() > kTooShort ? 2 : 1, word.size() / 3);
  std::vector<std::tuple<size_t, size_t, std::string>> near;
  for (const std::string& name : names) {
    const std::string known = in_lower_case(name);
    if (word.size() < kTooShort && known != word) continue;
    // A word may also be the beginning of a longer name.
    const size_t distance =
        contains(known, word)
            ? 0
            : std::min(edit_distance(word, known),
                       edit_distance(word, std::string_view(known).substr(0, word.size())));
    if (distance <= most_changes) near.emplace_back(distance, known.size(), name);
  }
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  std::vector<std::string> list;
  for (const auto& [distance, size, name] : near) {
    // What has the word in it is meant rather than what resembles it.
    const bool is_worse = std::get<0>(near.front()) == 0 && distance > 0;
    if (list.size() < kMost && !is_worse) list.push_back(name);
  }
  return list;
}

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return list;
}

}  // namespace factory_daemon
