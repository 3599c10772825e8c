// What the command line takes, as data: help, completion and the manual page are made of it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace cli {

/// A word that may be typed, and what it means.
struct Choice {
  std::string text;
  std::string meaning;
};
using Choices = std::vector<Choice>;

/// Names that a word or a value can be, which are known elsewhere.
enum class Names {
  none,
  command,      ///< a factory command
  device_path,  ///< a file of the phone
  directory,    ///< of this machine
  fault,        ///< one that is set on the phone
  file,         ///< of this machine
  item,
  modem_value,
  property,
  request,  ///< of the modem link
  verb,     ///< of the tool, after those that stand before it
};

/// What can be typed for a word or a value.
struct Values {
  Names names = Names::none;
  Choices choices;
};

struct OptionDefinition {
  std::vector<std::string> names;  ///< with their dashes, the long ones last; a word's has none
  std::string value;               ///< what help shows in place of a value; empty for a flag
  std::string help;
  bool is_word = false;
  bool is_required = false;
  Values values;
};

/// A part of the text at the end of a verb's help.
struct Section {
  enum class Kind {
    text,      ///< one paragraph
    rows,      ///< "  WORD  meaning", as many blanks between them as are needed
    examples,  ///< command lines, which stay as they are
  };
  Kind kind;
  std::string title;  ///< "Examples", or nothing
  std::vector<std::string> lines;
};

struct Definition {
  std::string name;
  std::string description;
  bool needs_subcommand = false;
  std::vector<OptionDefinition> options;  ///< words too, in their order
  std::vector<Section> sections;
  std::vector<Definition> subcommands;
};

/// Takes the text at the end of a verb's help apart: parts have an empty line between them, and one
/// that is not a paragraph begins with its title and a colon.
std::vector<Section> sections_of(const std::string& footer);

/// The examples of a group that are of the verb after it which is typed so; empty without any.
std::vector<std::string> examples_of(const std::vector<Section>& group, const std::string& typed);

/// A row of a section: the word or words before the last gap, and the meaning after it.
std::pair<std::string, std::string> cells_of(const std::string& row);

/// "-n,--lines N" of an option, "text" of a word.
std::string form_of(const OptionDefinition& option);

/// "[OPTIONS] command [text]" and the like: what follows a verb.
std::string usage_of(const Definition& verb);

/// What --help prints, in lines of at most so many columns where words allow it. `typed` is what
/// is typed for the verb. A plain one has no colours on any terminal.
std::string help_text(const Definition& verb, const std::string& typed, size_t columns,
                      bool is_plain);

}  // namespace cli
