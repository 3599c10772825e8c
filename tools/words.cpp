#include "tools/words.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <string_view>
#include <utility>

namespace cli {
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

/// Of `names`, the ones nearest to a word; empty when none is near.
std::string nearest(std::string_view word, const std::vector<std::string>& names) {
  constexpr size_t kMost = 3;
  constexpr size_t kTooShort = 3;  // everything is near to a letter or two
  if (word.size() < kTooShort) return "";
  const size_t most_changes = word.size() > kTooShort ? 2 : 1;
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& known : names) {
    const bool part = word.size() > 2 && known.find(word) != std::string::npos;
    // A word may also be the beginning of a longer name.
    const size_t distance =
        part ? 0
             : std::min(edit_distance(word, known),
                        edit_distance(word, std::string_view(known).substr(0, word.size())));
    if (distance <= std::max<size_t>(most_changes, word.size() / 3))
      near.emplace_back(distance, known);
  }
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  std::string list;
  for (size_t i = 0; i < std::min(near.size(), kMost); ++i) {
    list += (i == 0 ? "" : ", ") + near[i].second;
  }
  return list;
}

}  // namespace

int64_t number_of(const std::string& text, const std::string& what) {
  int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) {
    throw UsageError(what + " is no number as large as " + text);
  }
  if (error != std::errc() || end != text.data() + text.size()) {
    throw UsageError(what + " is a whole number, not \"" + text + "\"");
  }
  return number;
}

size_t count_of(const std::string& text, const std::string& what) {
  const int64_t number = number_of(text, what);
  if (number < 0) throw UsageError(what + " takes no negative number");
  return static_cast<size_t>(number);
}

int bits_of(const std::string& text) {
  if (text == "16") return 16;
  if (text == "32") return 32;
  throw UsageError("--bits is 16 or 32, not \"" + text + "\"");
}

UsageError unknown_name(const std::string& kind, const std::string& word,
                        const std::vector<std::string>& names, const std::string& lists_them) {
  const std::string near = nearest(word, names);
  return UsageError("no " + kind + " is called \"" + word + "\"" +
                    (near.empty() ? "" : ". Near it: " + near) + ". `" + lists_them +
                    "` lists all of them.");
}

}  // namespace cli
