#include "tools/cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "daemon/open.h"
#include "tools/command_name.h"
#include "tools/completion.h"
#include "tools/json.h"
#include "tools/terminal.h"
#include "tools/words.h"

namespace cli {
namespace {

constexpr char kNotEmpty[] = "not empty";

bool is_option(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

UsageError is_empty(const std::string& name) {
  return UsageError(name + " is empty, and an empty argument never stands for none");
}

/// What sets `value` to what was typed, whatever that looks like to the parser.
template <typename Value>
CLI::callback_t setter(Value& value) {
  return [&value](const CLI::results_t& typed) {
    value = typed.front();
    return true;
  };
}

CLI::Option& add_text(CLI::App& app, const std::string& names, const CLI::callback_t& set,
                      const std::string& help) {
  const std::string name = is_option(names) ? names : "the " + names;
  const auto check = [name](const std::string& typed) -> std::string {
    if (typed.empty()) throw is_empty(name);
    return "";
  };
  return *app.add_option(names, set, help)
              ->type_name("TEXT")
              ->check(CLI::Validator(check, "", kNotEmpty));
}

/// The words before "--", behind which all are taken as they are.
std::vector<std::string> words_to_read(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  words.erase(std::find(words.begin(), words.end(), "--"), words.end());
  return words;
}

/// "a", "b" as they were typed.
std::string quoted(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) list += (list.empty() ? "\"" : ", \"") + word + "\"";
  return list;
}

/// "--name=" takes the next word for its value, which nobody means.
void check_option_values(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    const bool is_long = word.compare(0, 2, "--") == 0;
    if (is_long && word.back() == '=') throw is_empty(word.substr(0, word.size() - 1));
  }
}

OptionDefinition definition_of(const CLI::Option& option, const ValuesOfOptions& values) {
  OptionDefinition definition;
  definition.is_word = option.get_positional();
  for (const std::string& name : option.get_snames()) definition.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) definition.names.push_back("--" + name);
  if (definition.is_word) definition.names = {option.get_name(true)};
  if (option.get_type_size() != 0) definition.value = option.get_type_name();
  definition.help = option.get_description();
  definition.is_required = option.get_required();
  const auto found = values.find(&option);
  if (found != values.end()) definition.values = found->second;
  return definition;
}

std::string typed_for(const CLI::App& app) {
  const CLI::App* group = app.get_parent();
  return group == nullptr ? app.get_name() : typed_for(*group) + " " + app.get_name();
}

/// The parts at the end of a verb's help. One without examples of its own has those of its group.
std::vector<Section> parts_of(const CLI::App& app) {
  auto sections = sections_of(app.get_footer());
  const bool has_examples = std::any_of(sections.begin(), sections.end(), [](const auto& each) {
    return each.kind == Section::Kind::examples;
  });
  if (has_examples || app.get_parent() == nullptr) return sections;
  auto lines = examples_of(sections_of(app.get_parent()->get_footer()), typed_for(app));
  if (!lines.empty()) {
    sections.insert(sections.begin(), {Section::Kind::examples, "Examples", std::move(lines)});
  }
  return sections;
}

Definition definition_of(const CLI::App& app, const ValuesOfOptions& values) {
  Definition definition;
  definition.name = app.get_name();
  definition.description = app.get_description();
  definition.needs_subcommand = app.get_require_subcommand_min() > 0;
  definition.sections = parts_of(app);
  for (const CLI::Option* option : app.get_options()) {
    definition.options.push_back(definition_of(*option, values));
  }
  for (const CLI::App* each : app.get_subcommands({})) {
    if (!each->get_group().empty()) definition.subcommands.push_back(definition_of(*each, values));
  }
  return definition;
}

}  // namespace

Option& Option::completes(Names names) { return completes(Values{names, {}}); }

Option& Option::completes(Choices choices) {
  return completes(Values{Names::none, std::move(choices)});
}

Option& Option::completes(Values values) {
  values_[&option_] = std::move(values);
  return *this;
}

Option& Option::required() {
  option_.required();
  return *this;
}

Option& Option::may_be_empty() {
  option_.get_validator(kNotEmpty)->active(false);
  return *this;
}

Option& Option::type_name(const std::string& name) {
  option_.type_name(name);
  return *this;
}

Verb& Verb::add_subcommand(const std::string& name, const std::string& description) {
  app_->add_subcommand(name, description)->fallthrough();
  app_->require_subcommand(static_cast<int>(app_->get_require_subcommand_min()), 1);
  return subcommands_.emplace_back(app_->get_subcommand_ptr(name), values_);
}

Option Verb::add_option(const std::string& names, std::string& value, const std::string& help) {
  return Option(add_text(*app_, names, setter(value), help), *values_);
}

Option Verb::add_option(const std::string& names, std::optional<std::string>& value,
                        const std::string& help) {
  return Option(add_text(*app_, names, setter(value), help), *values_);
}

void Verb::add_flag(const std::string& names, bool& value, const std::string& help) {
  app_->add_flag(names, value, help);
}

void Verb::footer(const std::string& text) { app_->footer(text); }

void Verb::callback(std::function<void()> run) { app_->callback(std::move(run)); }

void Verb::require_subcommand(int count) { app_->require_subcommand(count); }

void Verb::take_anything_unseen() { app_->group("")->fallthrough(false)->allow_extras(); }

bool Verb::has_subcommand() const { return !app_->get_subcommands().empty(); }

bool Verb::is_typed() const { return app_->parsed(); }

std::vector<std::string> Verb::options() const {
  std::vector<std::string> names;
  for (const CLI::Option* option : std::as_const(*app_).get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

bool Verb::takes_words() const {
  const auto all = std::as_const(*app_).get_options();
  return std::any_of(all.begin(), all.end(),
                     [](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<std::string> Verb::missing_words() const {
  std::vector<std::string> names;
  for (const CLI::Option* option : std::as_const(*app_).get_options()) {
    const bool is_missing = option->get_required() && option->count() == 0;
    if (is_missing && option->get_positional()) names.push_back(option->get_name());
  }
  return names;
}

std::string Verb::name() const { return app_->get_name(); }

std::string Verb::help(const std::string& before, bool is_plain) const {
  return help_text(definition(), before + name(), text_columns(), is_plain);
}

Definition Verb::definition() const { return definition_of(*app_, *values_); }

const Verb& Verb::subcommand(const std::string& word, const std::string& asked) const {
  for (const Verb& verb : subcommands_) {
    if (verb.name() == word) return verb;
  }
  if (subcommands_.empty()) {
    throw UsageError("`" + asked + "` has no command after it, and no \"" + word + "\"");
  }
  throw unknown_verb(word, subcommand_names(), asked);
}

std::vector<std::string> Verb::subcommand_names() const {
  std::vector<std::string> names;
  for (const Verb& verb : subcommands_) {
    if (!verb.app_->get_group().empty()) names.push_back(verb.name());
  }
  return names;
}

void Invocation::complain(const std::string& line) {
  if (json) {
    complaints.push_back(line);
  } else {
    fprintf(stderr, "%s\n", line.c_str());
  }
}

std::filesystem::path Invocation::directory() const {
  return phone_directory.empty() ? virtual_phone::default_directory()
                                 : std::filesystem::path(phone_directory);
}

virtual_phone::Phone& Invocation::open_phone() const { return factory_daemon::open(directory()); }

Verb& add_command(Verb& parent, const char* name, const std::string& description,
                  const std::string& examples, std::function<void()> run) {
  Verb& command = parent.add_subcommand(name, description);
  if (!examples.empty()) command.footer("Examples:\n" + examples);
  if (run) command.callback(std::move(run));
  return command;
}

namespace {

/// The verb that the command line has come to, and how that is typed.
struct Reached {
  const Verb& verb;
  std::string typed;
};

/// @param before a word that stands after it; nothing stops at an empty one
Reached reached(const Verb& tool, const std::vector<std::string>& words,
                const std::string& before) {
  const Verb* verb = &tool;
  std::string typed = tool.name();
  auto at = words.begin();
  const auto end = before.empty() ? words.end() : std::find(at, words.end(), before);
  for (bool is_last = false; !is_last;) {
    is_last = true;
    for (const Verb& next : verb->subcommands()) {
      if (!next.is_typed()) continue;
      const auto found = std::find(at, words.end(), next.name());
      if (found > end) break;
      at = found;
      verb = &next;
      typed += " " + next.name();
      is_last = false;
      break;
    }
  }
  return {*verb, typed};
}

/// What to say to words that nobody takes, in the order in which they were typed.
UsageError not_expected(const Verb& tool, const std::vector<std::string>& words,
                        const std::vector<std::string>& extras) {
  const std::string& first = extras.front();
  const auto [verb, typed] = reached(tool, words, is_option(first) ? "" : first);
  if (is_option(first)) {
    std::vector<std::string> known = verb.options();
    const std::string name = first.substr(0, first.find('='));
    if (std::find(known.begin(), known.end(), name) != known.end()) {
      return UsageError(name + " belongs after `" + typed + "`");
    }
    for (const std::string& option : tool.options()) {
      if (std::find(known.begin(), known.end(), option) == known.end()) known.push_back(option);
    }
    return unknown_option(name, known, typed, verb.takes_words());
  }
  if (verb.subcommands().empty()) {
    return UsageError("`" + typed + "` takes no more words, and not " + quoted(extras) + ". `" +
                      typed + " --help` tells more.");
  }
  if (&verb == &tool && command_called(first) != nullptr) {
    return UsageError("\"" + first + "\" is a factory command: `" + typed + " send " + first +
                      "` sends it");
  }
  return unknown_verb(first, verb.subcommand_names(), typed);
}

/// What to say where a word is missing.
UsageError incomplete(const Verb& tool, const std::vector<std::string>& words) {
  const auto [verb, typed] = reached(tool, words, "");
  std::string missing;
  for (const std::string& name : verb.missing_words()) missing += " " + name;
  if (!missing.empty()) {
    return UsageError("`" + typed + "` needs words after it:" + missing + ". `" + typed +
                      " --help` tells more.");
  }
  std::string names;
  for (const std::string& name : verb.subcommand_names()) {
    names += (names.empty() ? "" : ", ") + name;
  }
  return UsageError("`" + typed + "` needs a command after it: " + names + ". `" + typed +
                    " --help` tells more.");
}

}  // namespace

void print_help(const Verb& verb, const std::string& before, bool as_json) {
  const std::string text = verb.help(before, as_json);
  if (as_json) return print({{"help", text}});
  printf("%s", text.c_str());
}

bool asks_for_json(int argc, char** argv) {
  const auto words = words_to_read(argc, argv);
  return std::find(words.begin(), words.end(), "--json") != words.end();
}

int run_command_line(const Program& program, int argc, char** argv, Invocation& invocation,
                     const std::function<void(Verb& tool)>& add_verbs) {
  const auto app = std::make_shared<CLI::App>(program.description, program.name);
  app->footer(program.footer);
  app->set_version_flag("-V,--version", program.version, "Print the version, and nothing else");
  app->require_subcommand(1);
  Verb tool(app, std::make_shared<ValuesOfOptions>());
  tool.add_option("--phone", invocation.phone_directory,
                  "The phone's directory. This, --json and --wide may stand anywhere")
      .type_name("DIR")
      .completes(Names::directory);
  tool.add_flag("--json", invocation.json, "Print one JSON object, for an error too");
  tool.add_flag("--wide", is_wide, "Print tables whole, also what is wider than the terminal");
  add_verbs(tool);
  if (asks_for_completion(argc, argv)) {
    print_completions(tool.definition(), {argv + 3, argv + argc});
    return kDone;
  }
  check_option_values(words_to_read(argc, argv));
  try {
    app->parse(argc, argv);
  } catch (const CLI::Success& success) {
    if (dynamic_cast<const CLI::CallForHelp*>(&success) == nullptr) return app->exit(success);
    const auto [verb, typed] = reached(tool, {argv + 1, argv + argc}, "");
    print_help(verb, typed.substr(0, typed.size() - verb.name().size()), invocation.json);
    return kDone;
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string what = error.what();
    const bool is_twice = what.find("At Most") != std::string::npos;
    throw UsageError(what.substr(0, what.find(':')) +
                     (is_twice ? " is given twice" : " needs a value after it"));
  } catch (const CLI::ParseError& error) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    auto extras = app->remaining();
    extras.erase(std::remove(extras.begin(), extras.end(), "--"), extras.end());
    if (!extras.empty()) throw not_expected(tool, words, extras);
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ConversionError)) {
      throw UsageError("a flag takes no value. " + std::string(error.what()));
    }
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError)) {
      throw UsageError(error.what());
    }
    // Whoever types nothing but the tool's name asks what there is.
    if (!tool.has_subcommand()) {
      print_help(tool, "", invocation.json);
      return kDone;
    }
    throw incomplete(tool, words);
  }
  return invocation.exit_status;
}

}  // namespace cli
