// The phones that are measured on.
#pragma once

#include <filesystem>
#include <string>

namespace bench {

/// A directory in memory where there is one: the disk's noise is larger than what is measured here.
std::filesystem::path quiet_directory();

/// Log lines are formatted and then dropped, for the same reason.
void drop_log_lines();

/// A fresh phone in `parent`, which is this process's while this lives; then the one before it is
/// again.
class Phone {
 public:
  Phone(const std::filesystem::path& parent, const std::string& name);
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

 private:
  const Phone* before_;
  std::filesystem::path directory_;
};

}  // namespace bench
