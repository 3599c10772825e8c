#include "tools/trace_pattern.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>

#include "tools/errors.h"
#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/faults/faults.h"

namespace cli {
namespace {

using virtual_phone::Access;
using virtual_phone::Part;

/// What a line begins with, and what may follow it.
struct PartRow {
  std::string_view name;
  std::vector<Access> operations;  ///< none where a line names none
  bool has_result = true;
};

const std::vector<PartRow>& part_rows() {
  static const std::vector<PartRow> rows = {
      {"property", {Access::read, Access::write}},
      {"item", {Access::read, Access::write}},
      {"file",
       {Access::open, Access::read, Access::write, Access::sync, Access::sync_directory,
        Access::rename, Access::remove, Access::stat, Access::chmod, Access::chown, Access::mkdir,
        Access::seek, Access::close, Access::ioctl, Access::mmap}},
      {"service", {Access::find, Access::call}},
      {"thread", {Access::start}},
      {"request", {}},
      {"sleep", {}, false},
  };
  return rows;
}

bool is_open(std::string_view word) { return word.find('*') != std::string_view::npos; }

/// The text with one blank where there are several, but for those in quotes, and none at its ends.
/// @param is_in_quotes whether quotes are still open at the end
std::string with_single_blanks(std::string_view text, bool& is_in_quotes) {
  std::string made;
  is_in_quotes = false;
  bool is_escaped = false;
  for (const char c : text) {
    const bool is_blank = c == ' ' || c == '\t' || c == '\r';
    if (c == '"' && !is_escaped) is_in_quotes = !is_in_quotes;
    is_escaped = is_in_quotes && c == '\\' && !is_escaped;
    if (is_blank && !is_in_quotes) {
      if (!made.empty() && made.back() != ' ') made += ' ';
    } else {
      made += c;
    }
  }
  while (!made.empty() && made.back() == ' ') made.pop_back();
  return made;
}

std::string with_single_blanks(std::string_view text) {
  bool ignored = false;
  return with_single_blanks(text, ignored);
}

/// The word at the beginning, which is taken off.
std::string_view take_word(std::string_view& line) {
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(word.size() + 1, line.size()));
  return word;
}

/// Takes a thread's number off.
void take_thread(std::string_view& line) {
  const size_t end = line.find("] ");
  if (line.substr(0, 1) != "[" || end == std::string_view::npos) return;
  const std::string_view number = line.substr(1, end - 1);
  if (number.find_first_not_of("0123456789*") == std::string_view::npos) {
    line.remove_prefix(end + 2);
  }
}

/// Why a line makes no sense, or nothing.
std::string mistake_in(std::string_view line, bool has_open_quotes) {
  if (has_open_quotes && !is_open(line)) return "its quotes have no end";
  const std::string_view whole = line;
  take_thread(line);
  const std::string_view part = take_word(line);
  if (is_open(part)) return "";
  const auto& rows = part_rows();
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const PartRow& each) { return each.name == part; });
  if (row == rows.end()) {
    std::string names;
    for (const PartRow& each : rows) names += (names.empty() ? "" : ", ") + std::string(each.name);
    return "no access begins with \"" + std::string(part) + "\": " + names;
  }
  const std::string_view word = take_word(line);
  if (word.empty()) return "\"" + std::string(part) + "\" is not all of an access";
  if (!row->operations.empty() && !is_open(word)) {
    const auto operation = virtual_phone::named<Access>(word);
    const auto& known = row->operations;
    if (!operation.has_value() ||
        std::find(known.begin(), known.end(), *operation) == known.end()) {
      return "\"" + std::string(part) + "\" has no operation \"" + std::string(word) + "\"";
    }
  }
  if (row->has_result && whole.find(" -> ") == std::string_view::npos && !is_open(whole)) {
    return "it does not say what came of it, after \" -> \"";
  }
  return "";
}

/// Whether `pattern`, in which '*' is anything, is all of `text`.
bool is_match(std::string_view pattern, std::string_view text) {
  size_t at = 0;
  size_t in_text = 0;
  std::optional<size_t> after_star;
  size_t star_ends = 0;
  while (in_text < text.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      after_star = ++at;
      star_ends = in_text;
    } else if (at < pattern.size() && pattern[at] == text[in_text]) {
      ++at;
      ++in_text;
    } else if (after_star.has_value()) {
      at = *after_star;
      in_text = ++star_ends;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

std::string content_of(const std::string& path) {
  constexpr size_t kLargest = 64 << 20;
  std::error_code failed;
  const auto status = std::filesystem::status(path, failed);
  if (std::filesystem::is_directory(status))
    failed = std::make_error_code(std::errc::is_a_directory);
  std::ifstream file(path, std::ios::binary);
  if (!failed && !file) failed = {errno, std::generic_category()};
  if (failed) throw std::system_error(failed, path);
  std::string content(std::istreambuf_iterator<char>(file), {});
  if (file.bad()) throw std::system_error(EIO, std::generic_category(), path);
  if (content.size() > kLargest) throw UsageError(path + " is too long to be a trace");
  return content;
}

}  // namespace

TracePattern::TracePattern(const std::string& path) {
  std::istringstream lines(content_of(path));
  for (std::string line; std::getline(lines, line);) {
    ++line_count_;
    bool has_open_quotes = false;
    std::string pattern = with_single_blanks(line, has_open_quotes);
    if (pattern.empty() || pattern.front() == '#') continue;
    const bool is_any_number = pattern == "...";
    const std::string mistake = is_any_number ? "" : mistake_in(pattern, has_open_quotes);
    if (!mistake.empty()) {
      throw UsageError(path + ", line " + std::to_string(line_count_) + ": " + mistake);
    }
    const size_t begin = line.find_first_not_of(" \t");
    lines_.push_back({line_count_, line.substr(begin), std::move(pattern), is_any_number});
  }
}

std::optional<TracePattern::Difference> TracePattern::difference(
    const std::vector<Line>& trace) const {
  std::vector<Line> found;
  for (const Line& line : trace) {
    found.push_back({with_single_blanks(line.shown), with_single_blanks(line.whole)});
  }
  const auto is_same = [&](size_t expected, size_t access) {
    const std::string& pattern = lines_[expected].pattern;
    return is_match(pattern, found[access].shown) || is_match(pattern, found[access].whole);
  };
  size_t at = 0;
  size_t access = 0;
  std::optional<size_t> after_any;  // the line after the last "..."
  size_t any_ends = 0;              // where what it stands for ends so far
  std::optional<Difference> furthest;
  const auto note = [&](std::optional<size_t> came, bool is_anywhere) {
    if (!furthest.has_value() || at > furthest->line) furthest = {at, {}, came, is_anywhere};
  };
  while (access < found.size()) {
    if (at < lines_.size() && lines_[at].is_any_number) {
      after_any = ++at;
      any_ends = access;
    } else if (at < lines_.size() && is_same(at, access)) {
      ++at;
      ++access;
    } else {
      note(access, after_any == at);
      if (!after_any.has_value()) break;
      at = *after_any;
      access = ++any_ends;
    }
  }
  if (access == found.size()) {
    while (at < lines_.size() && lines_[at].is_any_number) ++at;
    if (at == lines_.size()) return std::nullopt;
    note(std::nullopt, false);
  }
  const bool is_over = furthest->line == lines_.size();
  if (!is_over) furthest->expected = lines_[furthest->line].text;
  furthest->line = is_over ? line_count_ : lines_[furthest->line].number;
  return furthest;
}

}  // namespace cli
