#include "tools/words.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <numeric>
#include <string_view>
#include <tuple>
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

std::string in_lower_case(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(c));
  return text;
}

using NameList = std::vector<std::string>;

/// Of `names`, the ones nearest to a word, the nearest first; of equal ones the shortest. None
/// where none is near.
NameList nearest(const std::string& typed, const NameList& names) {
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
  NameList list;
  for (const auto& [distance, size, name] : near) {
    // What has the word in it is meant rather than what resembles it.
    const bool is_worse = std::get<0>(near.front()) == 0 && distance > 0;
    if (list.size() < kMost && !is_worse) list.push_back(name);
  }
  return list;
}

/// What people type for commands that are called something else.
constexpr std::pair<std::string_view, std::string_view> kOtherWords[] = {
    {"eject", "remove"}, {"rm", "remove"},         {"delete", "remove"},  {"delete", "clear"},
    {"remove", "clear"}, {"ls", "list"},           {"show", "get"},       {"read", "get"},
    {"write", "set"},    {"add", "insert"},        {"plug", "connect"},   {"pull", "disconnect"},
    {"pull", "remove"},  {"unplug", "disconnect"}, {"restart", "reboot"}, {"start", "boot"},
    {"new", "init"},     {"create", "init"},       {"run", "send"},       {"state", "status"},
    {"info", "status"},
};

std::string joined(const NameList& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return list;
}

/// What to say to a word that nothing of a kind is called. `typed` tells about all of them.
UsageError unknown(const std::string& kind, const std::string& word, const std::string& hint,
                   const std::string& typed) {
  return UsageError("no " + kind + " is called \"" + word + "\". " +
                    (hint.empty() ? "" : hint + ". ") + "`" + typed + "` lists all of them.");
}

std::string near_it(const NameList& near) { return near.empty() ? "" : "Near it: " + joined(near); }

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

Choices bits_choices() {
  return {{"16", "RGB565"}, {"32", "four bytes: red, green, blue, and what lets through"}};
}

bool contains(const std::string& text, const std::string& part) {
  return in_lower_case(text).find(in_lower_case(part)) != std::string::npos;
}

UsageError unknown_name(const std::string& kind, const std::string& word,
                        const std::vector<std::string>& names, const std::string& lists_them) {
  return unknown(kind, word, near_it(nearest(word, names)), lists_them);
}

UsageError unknown_verb(const std::string& word, const std::vector<std::string>& names,
                        const std::string& typed) {
  constexpr size_t kFew = 12;
  NameList near = nearest(word, names);
  for (const auto& [other, name] : kOtherWords) {
    if (other != in_lower_case(word)) continue;
    if (std::find(names.begin(), names.end(), name) == names.end()) continue;
    if (std::find(near.begin(), near.end(), name) == near.end()) near.emplace_back(name);
  }
  const bool are_told = near.empty() && names.size() <= kFew;
  return unknown(
      "command", word,
      are_told ? (names.size() == 1 ? "There is " : "There are ") + joined(names) : near_it(near),
      typed + " --help");
}

UsageError unknown_option(const std::string& option, const std::vector<std::string>& options,
                          const std::string& typed, bool takes_words) {
  const auto without_dashes = [](const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('-'), name.size()));
  };
  NameList names;
  for (const std::string& name : options) names.push_back(without_dashes(name));
  NameList near = nearest(without_dashes(option), names);
  for (std::string& name : near) name.insert(0, name.size() == 1 ? "-" : "--");
  const std::string other = takes_words ? "A word that begins with a dash stands after --" : "";
  return unknown("option of `" + typed + "`", option, near.empty() ? other : near_it(near),
                 typed + " --help");
}

}  // namespace cli
