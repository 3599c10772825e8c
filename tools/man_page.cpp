#include "tools/man_page.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string_view>

#include "tools/terminal.h"

namespace cli {
namespace {

/// Text of which nothing is an instruction to the formatter. `x` is bold.
std::string escaped(std::string_view text) {
  std::string page;
  bool is_bold = false;
  for (const char c : text) {
    switch (c) {
      case '\\':
        page += "\\e";
        break;
      case '-':
        page += "\\-";
        break;
      case '\'':
        page += "\\(aq";
        break;
      case '`':
        is_bold = !is_bold;
        page += is_bold ? "\\fB" : "\\fR";
        break;
      default:
        page += c;
    }
  }
  return page;
}

/// Lines as short as those who read the source like them.
void print_text(const std::string& text) {
  constexpr size_t kColumns = 78;
  // A dot that begins a line would be a macro, and a text must not be missing.
  for (const std::string& line : wrapped(text.empty() ? "\\&" : escaped(text), kColumns)) {
    printf("%s%s\n", line.compare(0, 1, ".") == 0 ? "\\&" : "", line.c_str());
  }
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

void print_row(const std::string& form, const std::string& meaning) {
  printf(".TP\n%s\n", form.c_str());
  print_text(meaning);
}

std::string form_in_bold(const OptionDefinition& option) {
  if (option.is_word) return italic(option.names.front());
  std::string form;
  for (const std::string& name : option.names) form += (form.empty() ? "" : ", ") + bold(name);
  return option.value.empty() ? form : form + " " + italic(option.value);
}

void print_options(const Definition& verb, bool is_tool) {
  for (const OptionDefinition& option : verb.options) {
    // Every verb has it, and the page tells of it once.
    const bool is_told_already = option.names.back() == "--help" && !is_tool;
    if (!is_told_already) print_row(form_in_bold(option), option.help);
  }
}

void print_lines(const std::vector<std::string>& lines) {
  puts(".nf");
  for (const std::string& line : lines) puts(escaped(line).c_str());
  puts(".fi");
}

void print_section(const Section& section) {
  if (!section.title.empty()) printf(".PP\n%s\n", escaped(section.title + ":").c_str());
  switch (section.kind) {
    case Section::Kind::text:
      puts(".PP");
      for (const std::string& line : section.lines) print_text(line);
      break;
    case Section::Kind::rows:
      for (const std::string& line : section.lines) {
        const auto [word, meaning] = cells_of(line);
        print_row(bold(word), meaning);
      }
      break;
    case Section::Kind::examples:
      print_lines(section.lines);
      break;
  }
}

/// A verb, and those after it. `before` is typed before its name.
void print_verb(const Definition& verb, const std::string& before) {
  const std::string typed = before + verb.name;
  printf(".SS %s\n", escaped(typed).c_str());
  print_text(verb.description + ".");
  printf(".PP\n%s %s\n", bold(typed).c_str(), escaped(usage_of(verb)).c_str());
  print_options(verb, false);
  for (const Section& section : verb.sections) print_section(section);
  for (const Definition& each : verb.subcommands) print_verb(each, typed + " ");
}

/// A part of the tool's own help as one of the page's.
void print_part(const Definition& tool, const char* title, const char* heading) {
  for (Section section : tool.sections) {
    if (section.title != title) continue;
    printf(".SH %s\n", heading);
    section.title.clear();
    print_section(section);
  }
}

std::string date() {
  time_t now = time(nullptr);
  if (const char* epoch = getenv("SOURCE_DATE_EPOCH"); epoch != nullptr) {
    const std::string_view digits = epoch;
    int64_t seconds = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
    if (error == std::errc() && end == digits.data() + digits.size()) {
      now = static_cast<time_t>(seconds);
    }
  }
  tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 16> text{};
  strftime(text.data(), text.size(), "%Y-%m-%d", &utc);
  return text.data();
}

}  // namespace

void print_man_page(const Definition& tool, const char* version) {
  printf(".TH FCX 1 %s \"fcx %s\"\n", date().c_str(), version);
  std::istringstream description(tool.description);
  std::string summary;
  std::getline(description, summary);
  const size_t colon = summary.find(": ");
  std::string what = summary.substr(colon == std::string::npos ? 0 : colon + 2);
  if (!what.empty() && what.back() == '.') what.pop_back();
  printf(".SH NAME\n%s \\- %s\n", tool.name.c_str(), escaped(what).c_str());
  printf(".SH SYNOPSIS\n%s [OPTIONS] %s ...\n", bold(tool.name).c_str(), italic("command").c_str());
  puts(".SH DESCRIPTION");
  for (std::string line; std::getline(description, line);) {
    if (!line.empty()) print_text(line);
  }
  for (const Section& section : tool.sections) {
    if (section.title.empty()) print_section(section);
  }
  puts(".SH OPTIONS\nEvery command takes these, before its name or after it.");
  print_options(tool, true);
  puts(".SH COMMANDS");
  for (const Definition& verb : tool.subcommands) print_verb(verb, tool.name + " ");
  print_part(tool, "Exit status", "EXIT STATUS");
  print_part(tool, "Environment", "ENVIRONMENT");
  print_part(tool, "First steps", "EXAMPLES");
}

}  // namespace cli
