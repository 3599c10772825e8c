#include "virtual_phone/core/scratch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <vector>

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr std::string_view kRandom = "XXXXXX";

unique_fd open_folder(const fs::path& path) {
  return unique_fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Removes what has such a name and is held by nobody. What cannot be removed stays.
void remove_left(const fs::path& directory, const std::string& start) {
  std::error_code ignored;
  std::vector<fs::path> left;
  for (fs::directory_iterator entry(directory, ignored), end; entry != end;
       entry.increment(ignored)) {
    const std::string name = entry->path().filename().string();
    if (name.size() == start.size() + kRandom.size() && name.compare(0, start.size(), start) == 0)
      left.push_back(entry->path());
  }
  for (const fs::path& path : left) {
    struct stat found {};
    const unique_fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd.ok() || fstat(fd.get(), &found) != 0) continue;
    const bool may_be_ours = S_ISREG(found.st_mode) || S_ISDIR(found.st_mode);
    if (may_be_ours && flock(fd.get(), LOCK_EX | LOCK_NB) == 0) fs::remove_all(path, ignored);
  }
}

/// Whether what is open still has that name.
bool is_at(const fs::path& path, const unique_fd& fd) {
  struct stat named {};
  struct stat opened {};
  return lstat(path.c_str(), &named) == 0 && fstat(fd.get(), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

}  // namespace

Scratch::Scratch(const fs::path& directory, const std::string& use, Kind kind) {
  constexpr int kMostTries = 100;
  const std::string start = ".fcx-" + use + "-";
  const fs::path in = directory.empty() ? "." : directory;
  remove_left(in, start);
  for (int i = 0; i < kMostTries; ++i) {
    std::string name = (in / (start + std::string(kRandom))).string();
    if (kind == Kind::file) {
      fd_.reset(mkostemp(name.data(), O_CLOEXEC));
    } else {
      fd_ = mkdtemp(name.data()) == nullptr ? unique_fd() : open_folder(name);
    }
    // Another who starts may have found it before it was held.
    if (!fd_.ok() && errno == ENOENT && fs::is_directory(in)) continue;
    if (!fd_.ok()) break;
    path_ = name;
    // A file system that cannot hold anything lets nobody remove it, either.
    if (flock(fd_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) continue;
    if (is_at(path_, fd_)) return;
    errno = EAGAIN;
  }
  throw std::system_error(errno, std::generic_category(), in.string());
}

Scratch::~Scratch() {
  std::error_code ignored;  // the next one that is made there removes it
  fs::remove_all(path_, ignored);
}

fs::path quick_directory() {
  constexpr char kMemory[] = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? fs::path(kMemory) : fs::temp_directory_path();
}

}  // namespace virtual_phone
