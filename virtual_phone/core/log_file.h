// The file that keeps the phone's log, and the full one that it took over from: NAME and NAME.1.
#pragma once

#include <android-base/unique_fd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_phone {

/// Any thread may append, and any process to the same file.
class LogFile {
 public:
  /// Opens the file at its end, and never waits. One that has grown past 8 MiB is renamed to NAME.1
  /// first, in place of the one that has that name. Throws Error for what is no regular file, or
  /// cannot be written.
  explicit LogFile(std::filesystem::path file);

  /// Writes one entry, also on into a new file when this one is full. A full disk loses the entry.
  void append(std::string_view line);

 private:
  void look_again();
  void take_over_from_a_full_one();

  std::filesystem::path file_;
  uint64_t directory_;  ///< the inode of the one that it is in
  android::base::unique_fd fd_;
  std::atomic<size_t> unchecked_ = 0;  ///< bytes appended since the file's size was looked at
};

/// Reads a log, and never waits. Every function throws Error for what is no regular file, or cannot
/// be read.
class LogReader {
 public:
  explicit LogReader(std::filesystem::path file);

  /// The last lines, at most `most`, oldest first: those of NAME.1, then those of the file.
  std::vector<std::string> last_lines(size_t most);
  /// What was appended since the last look: whole lines, also of a file that has taken over.
  std::string appended();

 private:
  std::filesystem::path file_;
  android::base::unique_fd fd_;
};

}  // namespace virtual_phone
