// The lines of a phone's log, taken apart, and which of them somebody wants to see.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/definition.h"

namespace cli {

/// A line in the form "11-21 06:26:00.123  1234  1234 I Tag     : message".
struct LogLine {
  std::string time;  ///< "11-21 06:26:00.123"
  int pid = 0;
  int tid = 0;
  char priority = '?';
  std::string tag;
  std::string message;
};

/// A line, taken apart; nothing of one in another form.
std::optional<LogLine> log_line(const std::string& line);

/// What must be true of a line, all of it at once.
struct LogFilter {
  std::optional<std::string> tag;   ///< the whole of it
  std::optional<char> priority;     ///< at least: one of V, D, I, W, E, F
  std::optional<std::string> text;  ///< in its message, in whatever case
  std::optional<int64_t> since_us;  ///< 1970, on the phone's clock
  std::optional<int64_t> until_us;  ///< the same; all of the second, where it is one

  bool is_empty() const { return !tag && !priority && !text && !since_us && !until_us; }
  /// Whether a line passes. One in another form passes where nothing is wanted.
  bool passes(const std::string& line) const;
};

/// A priority by its letter or its name, in whatever case. Throws UsageError.
char log_priority(const std::string& word);
/// All of them.
Choices log_priorities();

/// The time that a word stands for: "10m", before now, in s, m, h or d; "12:00", "12:00:05" or
/// "12:00:05.123", of today; the same with "06-01" and a blank before it, of that day. A time
/// without seconds is the begin of the minute, or its last microsecond when it is an `is_end`.
/// Throws UsageError that names `option`.
int64_t log_time(const std::string& word, const std::string& option, bool is_end);

}  // namespace cli
