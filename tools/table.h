// Rows of text in columns as wide as they need.
#pragma once

#include <string>
#include <vector>

namespace cli {

class TextTable {
 public:
  explicit TextTable(std::vector<std::string> head);
  /// Adds a row, with as many cells as the head has.
  void add(std::vector<std::string> row);
  void print() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace cli
