// The command line: the tool's verbs, their options, and what all of them take. The option parser
// itself is known to cli.cpp alone, since it takes long to compile.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/definition.h"
#include "tools/errors.h"
#include "virtual_phone/core/phone.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

/// What can be typed for the options and words of all verbs.
using ValuesOfOptions = std::map<const CLI::Option*, Values>;

/// An option of a verb, or a word that follows it.
class Option {
 public:
  Option(CLI::Option& option, ValuesOfOptions& values) : option_(option), values_(values) {}

  Option& required();
  /// An empty value means something. Of any other option it is a mistake, as an unset variable of a
  /// script's: UsageError.
  Option& may_be_empty();
  /// What its help shows in place of a value.
  Option& type_name(const std::string& name);
  /// What it can be, for whoever completes it on the command line.
  Option& completes(Names names);
  Option& completes(Choices choices);
  Option& completes(Values values);

 private:
  CLI::Option& option_;
  ValuesOfOptions& values_;
};

/// A word that says what to do: the tool itself, or one of its commands and their subcommands.
class Verb {
 public:
  Verb(std::shared_ptr<CLI::App> app, std::shared_ptr<ValuesOfOptions> values)
      : app_(std::move(app)), values_(std::move(values)) {}
  Verb(const Verb&) = delete;
  Verb& operator=(const Verb&) = delete;

  /// A verb after this one. It lives as long as this one does.
  Verb& add_subcommand(const std::string& name, const std::string& description);
  /// An option ("--times", "-n,--lines"), or a word ("text"). `value` is set when it is given, and
  /// outlives the verb.
  Option add_option(const std::string& names, std::string& value, const std::string& help);
  Option add_option(const std::string& names, std::optional<std::string>& value,
                    const std::string& help);
  void add_flag(const std::string& names, bool& value, const std::string& help);

  /// Text at the end of its help.
  void footer(const std::string& text);
  /// What it does.
  void callback(std::function<void()> run);
  /// So many verbs must follow it.
  void require_subcommand(int count);
  /// For a word that is no verb any more: it is not shown in help, takes whatever follows it, and
  /// says what to type instead.
  void take_anything_unseen();
  /// Whether it is on the command line that was read.
  bool is_typed() const;
  /// Its options, as "--times" and "-n".
  std::vector<std::string> options() const;
  /// Whether words follow it that are no verbs.
  bool takes_words() const;
  /// The words that it needs and the command line that was read has not.
  std::vector<std::string> missing_words() const;
  /// Whether one follows it on the command line that was read.
  bool has_subcommand() const;

  std::string name() const;
  /// What its --help prints, without colours for what is no terminal. `before` is typed before its
  /// name.
  std::string help(const std::string& before, bool is_plain = false) const;
  /// All that it takes, and what help shows of it.
  Definition definition() const;
  /// The verb after this one that a word names. Throws UsageError; `asked` is how this one is
  /// typed.
  const Verb& subcommand(const std::string& word, const std::string& asked) const;
  /// The names of those that help shows.
  std::vector<std::string> subcommand_names() const;
  const std::list<Verb>& subcommands() const { return subcommands_; }

 private:
  std::shared_ptr<CLI::App> app_;
  std::shared_ptr<ValuesOfOptions> values_;
  std::list<Verb> subcommands_;
};

/// The options that every command takes, what went wrong beside what is asked for, and the status
/// that the tool ends with.
struct Invocation {
  std::string phone_directory;
  bool json = false;
  int exit_status = kDone;
  std::vector<std::string> complaints;  ///< with --json: for the object that is printed

  /// Says a line on standard error, or keeps it with --json: nothing is printed beside an object.
  void complain(const std::string& line);

  std::filesystem::path directory() const;
  /// Opens the phone for this process. Throws virtual_phone::Error.
  virtual_phone::Phone& open_phone() const;
};

/// Prints a verb's help, or an object with it. `before` is typed before its name.
void print_help(const Verb& verb, const std::string& before, bool as_json);

/// Adds a command to the tool. Its last argument runs it.
Verb& add_command(Verb& parent, const char* name, const std::string& description,
                  const std::string& examples, std::function<void()> run);

/// The tool as a program.
struct Program {
  const char* name;
  const char* description;
  const char* footer;
  const char* version;
};

/// Whether --json stands anywhere on the command line, also on one that cannot be read.
bool asks_for_json(int argc, char** argv);

/// Reads the command line with the verbs and options that `add_verbs` gives the tool, and runs what
/// it says, or prints the help that it asks for. @return the exit status. Throws UsageError, and
/// what the verb throws.
int run_command_line(const Program& program, int argc, char** argv, Invocation& invocation,
                     const std::function<void(Verb& tool)>& add_verbs);

}  // namespace cli
