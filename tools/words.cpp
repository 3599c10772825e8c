#include "tools/words.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace cli {
namespace {

using factory_daemon::in_lower_case;
using factory_daemon::joined;
using factory_daemon::nearest;
using NameList = std::vector<std::string>;

/// What people type for commands that are called something else.
constexpr std::pair<std::string_view, std::string_view> kOtherWords[] = {
    {"eject", "remove"}, {"rm", "remove"},         {"delete", "remove"},  {"delete", "clear"},
    {"remove", "clear"}, {"ls", "list"},           {"show", "get"},       {"read", "get"},
    {"write", "set"},    {"add", "insert"},        {"plug", "connect"},   {"pull", "disconnect"},
    {"pull", "remove"},  {"unplug", "disconnect"}, {"restart", "reboot"}, {"start", "boot"},
    {"new", "init"},     {"create", "init"},       {"run", "send"},       {"state", "status"},
    {"info", "status"},
};

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
