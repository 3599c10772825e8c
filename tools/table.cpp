#include "tools/table.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "tools/terminal.h"

namespace cli {
namespace {

constexpr size_t kGap = 2;  // blanks between columns

using Widths = std::vector<size_t>;

size_t total(const Widths& widths) {
  return std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * kGap);
}

/// Takes from the widest of the columns that are wider than they must be, again and again, until
/// all fit. @return whether they do
bool narrow(Widths& widths, size_t columns, const Widths& least) {
  while (total(widths) > columns) {
    size_t* widest = nullptr;
    for (size_t i = 0; i < widths.size(); ++i) {
      if (widths[i] > least[i] && (widest == nullptr || widths[i] > *widest)) widest = &widths[i];
    }
    if (widest == nullptr) return false;
    --*widest;
  }
  return true;
}

/// How narrow columns may become and still be read well: names and numbers stay whole.
Widths readable(Widths widths) {
  constexpr size_t kName = 24;
  constexpr size_t kWords = 14;
  for (size_t& width : widths) width = width > kName ? kWords : width;
  return widths;
}

/// A cell in lines of its column. A word that is longer than it goes on in the next line: names
/// that begin alike could not be told apart if they were cut.
std::vector<std::string> lines_of(const std::string& cell, size_t width) {
  std::vector<std::string> lines;
  // What begins with blanks is moved in, and so are its further lines.
  const size_t indent = std::min(cell.find_first_not_of(' '), cell.size());
  const std::string margin(indent < width ? indent : 0, ' ');
  const size_t room = width - margin.size();
  for (const std::string& line : wrapped(std::string_view(cell).substr(indent), room)) {
    for (const std::string& piece : split_at(line, room)) lines.push_back(margin + piece);
  }
  return lines;
}

/// The lines of a row side by side.
std::vector<std::string> lines_of(const std::vector<std::string>& row, const Widths& widths) {
  std::vector<std::string> lines;
  size_t left = 0;
  for (size_t i = 0; i < widths.size(); ++i) {
    const auto cell =
        columns_of(row[i]) <= widths[i] ? std::vector{row[i]} : lines_of(row[i], widths[i]);
    lines.resize(std::max(lines.size(), cell.size()));
    for (size_t j = 0; j < cell.size(); ++j) {
      if (cell[j].empty()) continue;
      lines[j].append(left - columns_of(lines[j]), ' ').append(cell[j]);
    }
    left += widths[i] + kGap;
  }
  return lines;
}

}  // namespace

TextTable::TextTable(std::vector<std::string> head) { add(std::move(head)); }

void TextTable::add(std::vector<std::string> row) {
  // One line a row, whatever a cell holds.
  for (std::string& cell : row) {
    for (size_t at = 0; (at = cell.find('\n', at)) != std::string::npos; ++at) {
      cell.replace(at, 1, "\\n");
    }
  }
  rows_.push_back(std::move(row));
}

void TextTable::print() const {
  constexpr size_t kNarrowest = 4;
  constexpr size_t kIndent = 4;  // of a last column that is below the others
  Widths widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns_of(row[i]));
  }
  const size_t columns = output_columns().value_or(SIZE_MAX);
  Widths fitting = widths;
  const bool is_below = !narrow(fitting, columns, readable(widths)) && widths.size() > 2;
  if (is_below) {
    widths.pop_back();
    fitting = widths;
    narrow(fitting, columns, readable(widths));
  }
  narrow(fitting, columns, Widths(fitting.size(), kNarrowest));
  for (const auto& row : rows_) {
    auto lines = lines_of(row, fitting);
    if (is_below && !row.back().empty()) {
      for (const auto& line : lines_of(row.back(), columns - kIndent)) {
        lines.push_back(std::string(kIndent, ' ') + line);
      }
    }
    for (std::string& line : lines) {
      line.erase(line.find_last_not_of(' ') + 1);
      puts((&row == &rows_.front() ? heading(line) : line).c_str());
    }
  }
}

}  // namespace cli
