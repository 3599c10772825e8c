#include "tools/extract.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>
#include <vector>

#include "fcx/make_zip_file.h"
#include "tools/temporary_phone.h"
#include "virtual_phone/core/scratch.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using factory_daemon::Lines;

constexpr char kArchive[] = "/archive.zip";

[[noreturn]] void fail(const fs::path& file, int error) {
  throw vp::Error(file.string() + ": " + strerror(error));
}

std::vector<fs::path> entries_of(const fs::path& directory) {
  std::vector<fs::path> entries;
  for (const auto& entry : fs::directory_iterator(directory)) entries.push_back(entry.path());
  std::sort(entries.begin(), entries.end());
  return entries;
}

/// Gives a file or a folder a name that is free.
void move_to(const fs::path& to, const fs::path& from) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
  // Not every file system can.
  if (errno != EINVAL && errno != ENOSYS) fail(to, errno);
  if (fs::exists(fs::symlink_status(to))) fail(to, EEXIST);
  fs::rename(from, to);
}

/// A directory that is there, or is made and gone again unless it is kept.
class Directory {
 public:
  explicit Directory(const fs::path& path) {
    const bool is_link = fs::is_symlink(path);
    if (is_link && !fs::exists(path)) throw vp::Error(path.string() + " is a link to nowhere");
    if (fs::exists(path) && !fs::is_directory(path)) {
      throw vp::Error(path.string() + " is no directory");
    }
    is_mine_ = fs::create_directory(path);
    path_ = fs::canonical(path);
  }
  ~Directory() {
    std::error_code ignored;  // as of one in which others have put something
    if (is_mine_) fs::remove(path_, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  const fs::path& path() const { return path_; }
  void keep() { is_mine_ = false; }

 private:
  fs::path path_;
  bool is_mine_ = false;
};

/// Where the archive is extracted to: there is nothing but what is made here, which is gone again
/// unless it is kept.
class Target {
 public:
  explicit Target(const fs::path& directory)
      : directory_(directory), work_(directory_.path(), "extract", vp::Scratch::Kind::folder) {
    std::vector<fs::path> others = entries_of(directory_.path());
    others.erase(std::remove(others.begin(), others.end(), work_.path()), others.end());
    if (others.empty()) return;
    const size_t more = others.size() - 1;
    throw vp::Error(directory.string() + " is not empty, it has \"" +
                    others.front().filename().string() + "\"" +
                    (more == 0 ? "" : " and " + std::to_string(more) + " more") + ": left alone");
  }
  ~Target() {
    std::error_code ignored;
    for (const fs::path& each : moved_) fs::remove_all(each, ignored);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  /// In the directory's own file system, from where the result needs not be copied.
  fs::path work() const { return work_.path(); }
  void take(const fs::path& entry) {
    const fs::path to = directory_.path() / entry.filename();
    move_to(to, entry);
    moved_.push_back(to);
  }
  void keep() {
    moved_.clear();
    directory_.keep();
  }

 private:
  Directory directory_;
  vp::Scratch work_;
  std::vector<fs::path> moved_;
};

class OpenArchive {
 public:
  bool open(std::string path) { return archive_.OpenUnZip(path.data()); }
  bool extract(const Extraction& wanted) {
    constexpr int kOverwrite = 1;
    return archive_.FolderFromZip(wanted.is_flat ? 1 : 0, kOverwrite,
                                  wanted.password ? wanted.password->c_str() : nullptr) == 0;
  }
  // It was only read.
  ~OpenArchive() { static_cast<void>(archive_.CloseUnZip()); }
  OpenArchive() = default;
  OpenArchive(const OpenArchive&) = delete;
  OpenArchive& operator=(const OpenArchive&) = delete;

 private:
  MakeZipFile archive_;
};

/// Throws Error unless the archive can be read. @return whether it is one without entries, which
/// minizip takes for none
bool is_without_entries(const fs::path& archive) {
  // The record at the end of an archive, of no entries and without a remark.
  constexpr std::array<char, 22> kNoEntries = {'P', 'K', 5, 6};
  std::array<char, kNoEntries.size() + 1> start{};
  const android::base::unique_fd file(open(archive.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!file.ok() || fstat(file.get(), &found) != 0) fail(archive, errno);
  if (!S_ISREG(found.st_mode)) throw vp::Error(archive.string() + " is no file");
  const ssize_t size = read(file.get(), start.data(), start.size());
  if (size < 0) fail(archive, errno);
  return size == static_cast<ssize_t>(kNoEntries.size()) &&
         std::equal(kNoEntries.begin(), kNoEntries.end(), start.begin());
}

TemporaryPhone phone_in(const Target& target, const fs::path& directory) {
  try {
    return TemporaryPhone("blank", target.work());
  } catch (const vp::Error& error) {
    // Which of the phone's files it was is nobody's business.
    const std::string why = error.what();
    const size_t end = why.rfind(": ");
    throw vp::Error(directory.string() + ": " +
                    (end == std::string::npos ? why : why.substr(end + 2)));
  }
}

void empty(const fs::path& directory) {
  for (const fs::path& entry : entries_of(directory)) fs::remove_all(entry);
}

bool is_locked(const Extraction& wanted, const Lines& lines) {
  return wanted.password.has_value() &&
         std::any_of(lines.errors.begin(), lines.errors.end(), [](const std::string& line) {
           return line.find("unzOpenCurrentFilePassword") != std::string::npos;
         });
}

std::optional<Refusal> extract_into(Target& target, const Extraction& wanted) {
  Lines lines;
  const TemporaryPhone temporary = phone_in(target, wanted.directory);
  const fs::path root = temporary.phone().root();
  empty(root);
  // While the archive is open its name is free for an entry.
  std::error_code refused;
  fs::create_symlink(fs::canonical(wanted.archive), root.string() + kArchive, refused);
  // Not every file system has links.
  if (refused) fs::copy_file(wanted.archive, root.string() + kArchive);
  const factory_daemon::Listener listener(lines);
  OpenArchive archive;
  const bool is_open = archive.open(kArchive);
  fs::remove(root.string() + kArchive);
  if (!is_open) return Refusal{false, lines, false};
  if (!archive.extract(wanted)) return Refusal{true, lines, is_locked(wanted, lines)};
  for (const fs::path& entry : entries_of(root)) target.take(entry);
  return std::nullopt;
}

}  // namespace

std::optional<Refusal> extract(const Extraction& wanted) {
  const bool is_empty = is_without_entries(wanted.archive);
  try {
    Target target(wanted.directory);
    auto refusal = is_empty ? std::nullopt : extract_into(target, wanted);
    if (!refusal.has_value()) target.keep();
    return refusal;
  } catch (const std::system_error& error) {
    throw vp::Error(wanted.directory.string() + ": " + error.code().message());
  }
}

}  // namespace cli
