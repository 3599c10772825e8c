// What is made in a directory for a while: before it is put in its place, or to work in.
#pragma once

#include <android-base/unique_fd.h>

#include <filesystem>
#include <string>

namespace virtual_phone {

/// A file or a folder of this process's own, gone with this object unless it was renamed. It is
/// held (flock) meanwhile: what a killed process has left there, which nobody holds, goes first.
class Scratch {
 public:
  enum class Kind { file, folder };

  /// Makes ".fcx-USE-XXXXXX". Throws std::system_error.
  Scratch(const std::filesystem::path& directory, const std::string& use, Kind kind);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// For a phone in it, whose maker holds the directory above: that must not be this one.
  std::filesystem::path phones() const { return path_ / "phones"; }
  int fd() const { return fd_.get(); }

 private:
  std::filesystem::path path_;
  android::base::unique_fd fd_;
};

/// Where files are quickest: in memory where that can be had.
std::filesystem::path quick_directory();

}  // namespace virtual_phone
