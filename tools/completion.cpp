#include "tools/completion.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string_view>

#include "fcx/command_table.h"
#include "fcx/factory_item_table.h"
#include "modem/link/requests.h"
#include "tools/command_name.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/faults/faults.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

bool is_option(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

const Definition* find_verb(const Definition& group, const std::string& name) {
  const auto& verbs = group.subcommands;
  const auto found =
      std::find_if(verbs.begin(), verbs.end(), [&](const auto& each) { return each.name == name; });
  return found == verbs.end() ? nullptr : &*found;
}

/// The words before the one that is typed.
class Typed {
 public:
  Typed(const Definition& tool, const std::vector<std::string>& words) : verbs_{&tool} {
    for (const std::string& word : words) read(word);
  }

  /// The tool, and the verbs that were typed.
  const std::vector<const Definition*>& verbs() const { return verbs_; }
  /// What follows the last verb and is no option.
  const std::vector<std::string>& words() const { return words_; }
  /// The option whose value comes next, or null.
  const OptionDefinition* waiting() const { return waiting_; }
  /// Whether an option can come next.
  bool takes_options() const { return !only_words_; }

  fs::path phone() const { return phone_.empty() ? vp::default_directory() : fs::path(phone_); }

  /// An option of a verb that was typed, which all take that follow it; or null.
  const OptionDefinition* option(const std::string& name) const {
    for (const Definition* verb : verbs_) {
      for (const OptionDefinition& each : verb->options) {
        const auto& names = each.names;
        if (std::find(names.begin(), names.end(), name) != names.end() && !each.is_word)
          return &each;
      }
    }
    return nullptr;
  }

 private:
  void read(const std::string& word) {
    if (waiting_ != nullptr) {
      take_value(*waiting_, word);
      waiting_ = nullptr;
    } else if (!only_words_ && word == "--") {
      only_words_ = true;
    } else if (!only_words_ && is_option(word)) {
      read_option(word);
    } else if (const Definition* verb = find_verb(*verbs_.back(), word);
               verb != nullptr && words_.empty()) {
      verbs_.push_back(verb);
    } else {
      words_.push_back(word);
    }
  }

  void read_option(const std::string& word) {
    const size_t sign = word.find('=');
    const OptionDefinition* known = option(word.substr(0, sign));
    if (known == nullptr || known->value.empty()) return;
    if (sign == std::string::npos) {
      waiting_ = known;
    } else {
      take_value(*known, word.substr(sign + 1));
    }
  }

  void take_value(const OptionDefinition& option, const std::string& value) {
    if (option.names.back() == "--phone") phone_ = value;
  }

  std::vector<const Definition*> verbs_;
  std::vector<std::string> words_;
  const OptionDefinition* waiting_ = nullptr;
  bool only_words_ = false;
  std::string phone_;
};

/// What the word can become.
struct Reply {
  const char* kind = "words";
  Choices choices;
};

bool is_number(const std::string& word) {
  return !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
}

Choices command_names(bool as_numbers) {
  Choices choices;
  for (const fcx::Command& row : fcx::command_table()) {
    if (as_numbers) {
      choices.push_back({std::to_string(row.opcode), row.summary});
      continue;
    }
    for (const char* handler : {row.handler, row.writer}) {
      if (handler != nullptr) choices.push_back({command_name(handler), row.summary});
    }
  }
  return choices;
}

Choices item_names(bool as_numbers) {
  Choices choices;
  for (const fcx::FactoryItem& item : fcx::kFactoryItems) {
    choices.push_back({as_numbers ? std::to_string(item.index) : item.name, item.meaning});
  }
  return choices;
}

Choices request_names(bool as_numbers) {
  Choices choices;
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    choices.push_back({as_numbers ? std::to_string(row.number) : row.name, row.meaning});
  }
  return choices;
}

/// Of a phone whose state is only looked at: nothing is started for it.
Choices fault_numbers(vp::Phone& phone) {
  Choices choices;
  for (const vp::Fault& fault : vp::faults(phone)) {
    choices.push_back({std::to_string(fault.id), std::string(vp::name_of(fault.part)) + " " +
                                                     fault.target + " " +
                                                     vp::name_of(fault.effect)});
  }
  return choices;
}

/// Those that ready-made phones have, whatever this one has.
std::set<std::string> known_properties() {
  std::set<std::string> names;
  for (const vp::Profile& profile : vp::profiles()) {
    for (const vp::ProfileProperty& property : profile.properties) names.insert(property.name);
  }
  return names;
}

Choices property_names(const fs::path& directory) {
  std::set<std::string> names = known_properties();
  try {
    vp::Phone phone(directory);
    for (const auto& [name, value] : vp::properties(phone)) names.insert(name);
  } catch (const vp::Error&) {
    // Without a phone there are the known ones.
  }
  Choices choices;
  for (const std::string& name : names) choices.push_back({name, ""});
  return choices;
}

/// The phone's files in the directory that a word begins with.
Choices device_paths(const fs::path& directory, const std::string& word) {
  const std::string folder = word.empty() ? "/" : word.substr(0, word.rfind('/') + 1);
  // Nothing above the phone's own tree.
  if (folder.empty() || folder.find("/../") != std::string::npos) return {};
  Choices choices;
  std::error_code unreadable;
  for (const auto& entry : fs::directory_iterator(directory / ("root" + folder), unreadable)) {
    const char* end = entry.is_directory(unreadable) ? "/" : "";
    choices.push_back({folder + entry.path().filename().string() + end, ""});
  }
  return choices;
}

Reply verb_names(const Definition* verb, const std::vector<std::string>& before) {
  for (const std::string& word : before) {
    if (verb != nullptr) verb = find_verb(*verb, word);
  }
  Reply reply;
  if (verb == nullptr) return reply;
  for (const Definition& each : verb->subcommands) {
    reply.choices.push_back({each.name, each.description});
  }
  return reply;
}

/// What a word or a value can be.
Reply reply_of(const Values& values, const Typed& typed, const std::string& word) {
  switch (values.names) {
    case Names::none:
      return {"words", values.choices};
    case Names::command:
      return {"words", command_names(is_number(word))};
    case Names::device_path:
      return {"parts", device_paths(typed.phone(), word)};
    case Names::directory:
      return {"directories", {}};
    case Names::fault: {
      vp::Phone phone(typed.phone());
      return {"words", fault_numbers(phone)};
    }
    case Names::file:
      return {"files", {}};
    case Names::item:
      return {"words", item_names(is_number(word))};
    case Names::modem_value: {
      Reply reply;
      for (const vp::ModemValue& row : vp::known_modem_values())
        reply.choices.push_back({row.name, row.meaning});
      return reply;
    }
    case Names::property:
      return {"words", property_names(typed.phone())};
    case Names::request:
      return {"words", request_names(is_number(word))};
    case Names::verb:
      return verb_names(typed.verbs().front(), typed.words());
  }
  return {};
}

/// The options of all verbs that were typed, the last verb's first.
Reply options_of(const Typed& typed) {
  Reply reply;
  std::set<std::string> seen;
  for (size_t i = typed.verbs().size(); i-- > 0;) {
    for (const OptionDefinition& option : typed.verbs()[i]->options) {
      const std::string& name = option.names.back();
      if (!option.is_word && seen.insert(name).second) reply.choices.push_back({name, option.help});
    }
  }
  return reply;
}

/// What follows a verb and is no option.
Reply words_of(const Typed& typed, const std::string& word) {
  const Definition& verb = *typed.verbs().back();
  Reply reply;
  size_t number = 0;
  for (const OptionDefinition& option : verb.options) {
    if (option.is_word && number++ == typed.words().size())
      reply = reply_of(option.values, typed, word);
  }
  if (!typed.words().empty()) return reply;
  for (const Definition& each : verb.subcommands) {
    reply.choices.push_back({each.name, each.description});
  }
  return reply;
}

Reply reply_to(const Typed& typed, const std::string& word) {
  if (typed.waiting() != nullptr) return reply_of(typed.waiting()->values, typed, word);
  const size_t sign = word.find('=');
  if (!typed.takes_options() || word.empty() || word.front() != '-') {
    Reply reply = words_of(typed, word);
    const bool is_nothing = reply.choices.empty() && std::string_view(reply.kind) == "words";
    return is_nothing && word.empty() && typed.takes_options() ? options_of(typed) : reply;
  }
  if (sign == std::string::npos) return options_of(typed);
  const OptionDefinition* option = typed.option(word.substr(0, sign));
  if (option == nullptr) return {};
  Reply reply = reply_of(option->values, typed, word.substr(sign + 1));
  for (Choice& each : reply.choices) each.text.insert(0, word, 0, sign + 1);
  return reply;
}

/// In one line, without the tab that ends the word.
std::string in_one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
  return text;
}

}  // namespace

bool asks_for_completion(int argc, char** argv) {
  return argc > 2 && std::string_view(argv[1]) == "completion" &&
         std::string_view(argv[2]) == "reply";
}

void print_completions(const Definition& tool, const std::vector<std::string>& words) {
  const std::string word = words.empty() ? "" : words.back();
  const Typed typed(tool, {words.begin(), words.end() - (words.empty() ? 0 : 1)});
  Reply reply;
  try {
    reply = reply_to(typed, word);
  } catch (const vp::Error&) {
    // What only the phone knows is not known without one.
  }
  puts(reply.kind);
  for (const Choice& each : reply.choices) {
    if (each.text.compare(0, word.size(), word) != 0) continue;
    printf("%s\t%s\n", in_one_line(each.text).c_str(), in_one_line(each.meaning).c_str());
  }
}

}  // namespace cli
