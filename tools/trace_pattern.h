// What a trace must be: the lines of one, as somebody has written them down and edited them.
//
// Lines that begin with '#', empty ones, and how many blanks stand between two words count for
// nothing. '*' stands for anything within a line, "..." alone on a line for any number of accesses.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cli {

class TracePattern {
 public:
  /// Reads a file. Throws UsageError for one that makes no sense, with the number of its line, and
  /// std::system_error when it cannot be read.
  explicit TracePattern(const std::string& path);

  /// A line of a trace: as it is shown, and whole. Either may be the one that is expected.
  struct Line {
    std::string shown;
    std::string whole;
  };

  /// Where a trace begins to be another.
  struct Difference {
    size_t line = 0;                      ///< of the file; the last one when it ends too early
    std::optional<std::string> expected;  ///< the file's line; nothing when no more is expected
    std::optional<size_t> access;         ///< of the trace, from 0 on; nothing when it has ended
    bool is_anywhere = false;             ///< not found in that access, or any after it
  };
  std::optional<Difference> difference(const std::vector<Line>& trace) const;

 private:
  struct Expected {
    size_t number = 0;    ///< of the line in its file
    std::string text;     ///< as it is typed there
    std::string pattern;  ///< with single blanks
    bool is_any_number = false;
  };

  std::vector<Expected> lines_;
  size_t line_count_ = 0;
};

}  // namespace cli
