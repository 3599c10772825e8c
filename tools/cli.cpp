#include "tools/cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "daemon/open.h"
#include "tools/words.h"

namespace cli {
namespace {

/// Throws UsageError for the first word that stands where a command must and names none.
void check_command_words(const Verb& tool, const std::vector<std::string>& words) {
  const Verb* group = &tool;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--phone") ++i;
    if (i >= words.size() || words[i].substr(0, 1) == "-") continue;
    if (group->subcommands().empty()) return;
    const std::string asked = group == &tool ? tool.name() : tool.name() + " " + group->name();
    group = &group->subcommand(words[i], asked);
  }
}

}  // namespace

Option& Option::required() {
  option_.required();
  return *this;
}

Option& Option::type_name(const std::string& name) {
  option_.type_name(name);
  return *this;
}

Verb& Verb::add_subcommand(const std::string& name, const std::string& description) {
  app_->add_subcommand(name, description)->fallthrough();
  return subcommands_.emplace_back(app_->get_subcommand_ptr(name));
}

Option Verb::add_option(const std::string& names, std::string& value, const std::string& help) {
  return Option(*app_->add_option(names, value, help));
}

Option Verb::add_option(const std::string& names, std::optional<std::string>& value,
                        const std::string& help) {
  return Option(*app_->add_option(names, value, help));
}

void Verb::add_flag(const std::string& names, bool& value, const std::string& help) {
  app_->add_flag(names, value, help);
}

void Verb::footer(const std::string& text) { app_->footer(text); }

void Verb::callback(std::function<void()> run) { app_->callback(std::move(run)); }

void Verb::require_subcommand(int count) { app_->require_subcommand(count); }

void Verb::take_anything_unseen() { app_->group("")->fallthrough(false)->allow_extras(); }

bool Verb::has_subcommand() const { return !app_->get_subcommands().empty(); }

std::string Verb::name() const { return app_->get_name(); }

std::string Verb::help(const std::string& before) const {
  return app_->get_formatter()->make_help(app_.get(), before + name(), CLI::AppFormatMode::Normal);
}

const Verb& Verb::subcommand(const std::string& word, const std::string& asked) const {
  std::vector<std::string> names;
  for (const Verb& verb : subcommands_) {
    if (verb.name() == word) return verb;
    names.push_back(verb.name());
  }
  throw unknown_name("command", word, names, asked + " --help");
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

int run_command_line(const Program& program, int argc, char** argv, Invocation& invocation,
                     const std::function<void(Verb& tool)>& add_verbs) {
  const auto app = std::make_shared<CLI::App>(program.description, program.name);
  app->footer(program.footer);
  app->set_version_flag("--version", program.version);
  app->add_option("--phone", invocation.phone_directory, "The phone's directory");
  app->add_flag("--json", invocation.json, "Print one JSON object");
  app->require_subcommand(1);
  Verb tool(app);
  add_verbs(tool);
  try {
    app->parse(argc, argv);
  } catch (const CLI::RequiredError& error) {
    // CLI11 only says that a command is missing where there is one that it does not know.
    check_command_words(tool, {argv + 1, argv + argc});
    throw UsageError(std::string(error.what()) + "; --help tells more");
  } catch (const CLI::ParseError& error) {
    return app->exit(error) == 0 ? kDone : kUsage;
  }
  return invocation.exit_status;
}

}  // namespace cli
