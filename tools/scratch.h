// What the tool makes in somebody's directory before it is put in its place.
#pragma once

#include <android-base/unique_fd.h>

#include <filesystem>
#include <string>

namespace cli {

/// A file or a folder of the tool's own, gone with this object unless it was renamed. It is held
/// (flock) meanwhile: what a killed tool has left there, which nobody holds, goes first.
class Scratch {
 public:
  enum class Kind { file, folder };

  /// Makes ".fcx-USE-XXXXXX". Throws std::system_error.
  Scratch(const std::filesystem::path& directory, const std::string& use, Kind kind);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& path() const { return path_; }
  int fd() const { return fd_.get(); }

 private:
  std::filesystem::path path_;
  android::base::unique_fd fd_;
};

}  // namespace cli
