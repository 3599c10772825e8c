#include "tools/definition.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "tools/terminal.h"

namespace cli {
namespace {

constexpr char kMargin[] = "  ";

/// Rows of two columns, the second one wrapped. What is too long for the first has a line of its
/// own.
void add_rows(std::string& help, const Choices& rows, size_t columns) {
  constexpr size_t kWidest = 28;
  size_t width = 0;
  for (const Choice& row : rows) {
    if (row.text.size() <= kWidest) width = std::max(width, row.text.size());
  }
  constexpr size_t kFewest = 20;  // for a meaning beside its word
  const size_t beside = width + 2 * (sizeof kMargin - 1);
  const bool is_below = beside + kFewest > columns;
  const size_t left = is_below ? 3 * (sizeof kMargin - 1) : beside;
  for (const Choice& row : rows) {
    std::string line = kMargin + row.text;
    if (row.meaning.empty() || row.text.size() > kWidest || is_below) {
      help += line + "\n";
      line.clear();
    }
    if (row.meaning.empty()) continue;
    for (const std::string& part : wrapped(row.meaning, columns - left)) {
      line.resize(left, ' ');
      help += line + part + "\n";
      line.clear();
    }
  }
}

/// Whether a line of a section goes on with the row before it.
bool is_continuation(const std::string& line) { return line.compare(0, 4, "    ") == 0; }

/// An example, which stays as it is where it fits; else what it means is below it.
void add_example(std::string& help, const std::string& line, size_t columns) {
  constexpr size_t kIndent = 6;
  const auto [typed, meaning] = cells_of(line);
  const bool goes_on = is_continuation(line);
  if (line.size() <= columns || (meaning.empty() && !goes_on)) {
    help += line + "\n";
    return;
  }
  if (!goes_on) help += kMargin + typed + "\n";
  for (const std::string& part : wrapped(goes_on ? typed : meaning, columns - kIndent)) {
    help += std::string(kIndent, ' ') + part + "\n";
  }
}

std::string title_in(const std::string& title, bool is_plain) {
  return is_plain ? title : heading(title);
}

void add_section(std::string& help, const Section& section, size_t columns, bool is_plain) {
  help += "\n";
  if (!section.title.empty()) help += title_in(section.title + ":", is_plain) + "\n";
  if (section.kind == Section::Kind::rows) {
    Choices rows;
    for (const std::string& line : section.lines) {
      const auto [word, meaning] = cells_of(line);
      rows.push_back({word, meaning});
    }
    return add_rows(help, rows, columns);
  }
  for (const std::string& line : section.lines) {
    if (section.kind == Section::Kind::examples) {
      add_example(help, line, columns);
      continue;
    }
    for (const std::string& part : wrapped(line, columns)) help += part + "\n";
  }
}

}  // namespace

std::vector<Section> sections_of(const std::string& footer) {
  std::vector<Section> sections;
  std::istringstream in(footer);
  bool begins = true;
  for (std::string line; std::getline(in, line);) {
    if (line.empty()) {
      begins = true;
      continue;
    }
    const bool is_title = begins && line.back() == ':';
    if (is_title) {
      const std::string title = line.substr(0, line.size() - 1);
      const bool has_examples = title.compare(0, 7, "Example") == 0 || title == "First steps";
      sections.push_back({has_examples ? Section::Kind::examples : Section::Kind::rows, title, {}});
    } else if (begins) {
      sections.push_back({Section::Kind::text, "", {line}});
    } else if (Section& last = sections.back(); last.kind == Section::Kind::text) {
      last.lines.back() += " " + line;
    } else if (is_continuation(line) && last.kind == Section::Kind::rows && !last.lines.empty()) {
      last.lines.back() += line.substr(line.find_first_not_of(' ') - 1);
    } else {
      last.lines.push_back(line);
    }
    begins = false;
  }
  return sections;
}

std::vector<std::string> examples_of(const std::vector<Section>& group, const std::string& typed) {
  std::vector<std::string> lines;
  for (const Section& section : group) {
    if (section.kind != Section::Kind::examples) continue;
    std::copy_if(section.lines.begin(), section.lines.end(), std::back_inserter(lines),
                 [&](const std::string& line) {
                   return (line + " ").compare(0, typed.size() + 3, kMargin + typed + " ") == 0;
                 });
  }
  return lines;
}

std::pair<std::string, std::string> cells_of(const std::string& row) {
  const size_t begin = std::min(row.find_first_not_of(' '), row.size());
  const size_t gap = row.rfind("  ");
  if (gap == std::string::npos || gap < begin) return {row.substr(begin), ""};
  const size_t end = row.find_last_not_of(' ', gap) + 1;
  return {row.substr(begin, end - begin), row.substr(gap + 2)};
}

std::string form_of(const OptionDefinition& option) {
  std::string form;
  for (const std::string& name : option.names) form += (form.empty() ? "" : ",") + name;
  return option.is_word || option.value.empty() ? form : form + " " + option.value;
}

std::string usage_of(const Definition& verb) {
  std::string usage = "[OPTIONS]";
  for (const OptionDefinition& option : verb.options) {
    if (!option.is_word) continue;
    usage += option.is_required ? " " + option.names.front() : " [" + option.names.front() + "]";
  }
  if (verb.subcommands.empty()) return usage;
  return usage + (verb.needs_subcommand ? " SUBCOMMAND" : " [SUBCOMMAND]");
}

std::string help_text(const Definition& verb, const std::string& typed, size_t columns,
                      bool is_plain) {
  std::string help;
  std::istringstream description(verb.description);
  for (std::string line; std::getline(description, line);) {
    for (const std::string& part : wrapped(line, columns)) help += part + "\n";
  }
  const std::string usage = "Usage:";
  help += "\n";
  for (const std::string& line : wrapped(usage + " " + typed + " " + usage_of(verb), columns)) {
    const bool is_first = line.compare(0, usage.size(), usage) == 0;
    help += is_first ? title_in(usage, is_plain) + line.substr(usage.size()) : kMargin + line;
    help += "\n";
  }
  Choices words, options, subcommands;
  for (const OptionDefinition& option : verb.options) {
    (option.is_word ? words : options).push_back({form_of(option), option.help});
  }
  for (const Definition& each : verb.subcommands) {
    subcommands.push_back({each.name, each.description});
  }
  const std::pair<const char*, const Choices&> parts[] = {
      {"Words:", words}, {"Options:", options}, {"Subcommands:", subcommands}};
  for (const auto& [title, rows] : parts) {
    if (rows.empty()) continue;
    help += "\n" + title_in(title, is_plain) + "\n";
    add_rows(help, rows, columns);
  }
  for (const Section& section : verb.sections) add_section(help, section, columns, is_plain);
  return help;
}

}  // namespace cli
