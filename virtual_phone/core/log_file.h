// The file behind the phone's log.
#pragma once

#include <filesystem>
#include <string_view>

namespace virtual_phone {

class LogFile {
 public:
  /// Opens the file at its end. One that has grown past 8 MiB is renamed to system.log.1 first.
  explicit LogFile(const std::filesystem::path& file);
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  void append(std::string_view line) const;

 private:
  int fd_;
};

}  // namespace virtual_phone
