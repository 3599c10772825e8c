#include "virtual_phone/core/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <utility>

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr off_t kFullLog = 8 << 20;
/// How much is appended before the size is looked at again.
constexpr size_t kCheckedEvery = 64 << 10;

fs::path full_one(const fs::path& file) { return file.string() + ".1"; }

/// Which file it is; nothing when there is none.
struct Found {
  ino_t inode = 0;
  off_t size = 0;
  bool is_removed = false;
};

Found found_at(const fs::path& file) {
  struct stat found {};
  if (stat(file.c_str(), &found) != 0) return {};
  return {found.st_ino, found.st_size, found.st_nlink == 0};
}

Found found_in(const unique_fd& fd) {
  struct stat found {};
  if (fstat(fd.get(), &found) != 0) return {};
  return {found.st_ino, found.st_size, found.st_nlink == 0};
}

void check_is_regular(const fs::path& file, const struct stat& found) {
  if (S_ISREG(found.st_mode)) return;
  throw Error(file.string() + " is no regular file, as the phone's log must be. Remove it.");
}

/// A pipe, which would let its opener wait, is refused before and after the opening.
unique_fd open_regular(const fs::path& file, int flags, const char* advice) {
  struct stat found {};
  if (stat(file.c_str(), &found) == 0) check_is_regular(file, found);
  unique_fd fd(open(file.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0664));
  if (!fd.ok() || fstat(fd.get(), &found) != 0) {
    throw Error(file.string() + ": " + strerror(errno) + advice);
  }
  check_is_regular(file, found);
  return fd;
}

unique_fd open_to_append(const fs::path& file) {
  return open_regular(file, O_WRONLY | O_CREAT | O_APPEND,
                      ". A phone is for users who may write to its directory.");
}

unique_fd open_to_read(const fs::path& file) { return open_regular(file, O_RDONLY, ""); }

/// Renames a full file, which `fd` has open. Of several processes that find it full one does so;
/// none waits for it.
void put_away(const fs::path& file, const unique_fd& fd) {
  if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return;
  if (found_at(file).inode == found_in(fd).inode) {
    std::error_code ignored;  // then the file goes on to grow
    fs::rename(file, full_one(file), ignored);
  }
  // Closing would end it, too.
  static_cast<void>(flock(fd.get(), LOCK_UN));
}

/// What is left of an open file.
std::string rest_of(const unique_fd& fd, const fs::path& file) {
  std::string text;
  std::array<char, 65536> piece;
  while (true) {
    const ssize_t got = TEMP_FAILURE_RETRY(read(fd.get(), piece.data(), piece.size()));
    if (got < 0) throw Error(file.string() + ": " + strerror(errno));
    if (got == 0) return text;
    text.append(piece.data(), static_cast<size_t>(got));
  }
}

/// The last lines of a text, put in front of those that follow, until there are enough.
void put_in_front(std::string_view text, size_t most, std::deque<std::string>& lines) {
  if (text.empty()) return;
  if (text.back() == '\n') text.remove_suffix(1);
  while (lines.size() < most && text.data() != nullptr) {
    const size_t before = text.rfind('\n');
    lines.emplace_front(text.substr(before == std::string_view::npos ? 0 : before + 1));
    text = before == std::string_view::npos ? std::string_view() : text.substr(0, before);
  }
}

}  // namespace

LogFile::LogFile(fs::path file)
    : file_(std::move(file)),
      directory_(found_at(file_.parent_path()).inode),
      fd_(open_to_append(file_)) {
  take_over_from_a_full_one();
}

void LogFile::append(std::string_view line) {
  // Others may have put two full ones away since the last entry.
  if (found_in(fd_).is_removed) look_again();
  // One write an entry: entries of several processes do not mix.
  static_cast<void>(write(fd_.get(), line.data(), line.size()) >= 0);
  if (unchecked_ += line.size(); unchecked_ >= kCheckedEvery) look_again();
}

void LogFile::look_again() {
  unchecked_ = 0;
  try {
    take_over_from_a_full_one();
  } catch (const Error&) {
    // It goes on in the file that is open.
  }
}

void LogFile::take_over_from_a_full_one() {
  const Found mine = found_in(fd_);
  if (mine.size > kFullLog) put_away(file_, fd_);
  // Another process may have put it away, too. A phone that was made anew meanwhile has another
  // log.
  const bool is_replaced = mine.is_removed && found_at(file_.parent_path()).inode == directory_;
  if (!is_replaced && found_at(full_one(file_)).inode != mine.inode) return;
  const unique_fd next = open_to_append(file_);
  // At once: other threads write to it meanwhile.
  static_cast<void>(dup3(next.get(), fd_.get(), O_CLOEXEC) >= 0);
}

LogReader::LogReader(fs::path file) : file_(std::move(file)), fd_(open_to_read(file_)) {}

std::vector<std::string> LogReader::last_lines(size_t most) {
  std::deque<std::string> lines;
  // Opened before the newer one is read: none is put away in between.
  const fs::path full = full_one(file_);
  const Found old = found_at(full);
  const bool is_another = old.inode != 0 && old.inode != found_in(fd_).inode;
  const unique_fd old_fd = is_another ? open_to_read(full) : unique_fd();
  put_in_front(rest_of(fd_, file_), most, lines);
  if (is_another && lines.size() < most) put_in_front(rest_of(old_fd, full), most, lines);
  return {lines.begin(), lines.end()};
}

std::string LogReader::appended() {
  std::string text = rest_of(fd_, file_);
  const Found now = found_at(file_);
  if (now.inode == 0 || now.inode == found_in(fd_).inode) return text;
  // The log goes on in another file when it has grown large, or with a new phone.
  unique_fd next = open_to_read(file_);
  text += rest_of(fd_, file_);
  fd_ = std::move(next);
  return text + rest_of(fd_, file_);
}

}  // namespace virtual_phone
