#include "tools/table.h"

#include <algorithm>
#include <cstdio>

namespace cli {

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
  std::vector<size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows_) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      line.append(widths[i] - row[i].size() + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    puts(line.c_str());
  }
}

}  // namespace cli
