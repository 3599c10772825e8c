#include "exploration/image.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace exploration {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using android::base::unique_fd;

constexpr mode_t kPermissions = 07777;

[[noreturn]] void fail(const fs::path& path) {
  throw fs::filesystem_error("copy", path, std::error_code(errno, std::generic_category()));
}

/// Of a database that nobody has open its index says nothing; the log is another phone's.
bool is_left_out(const fs::path& path) {
  return path == "log" || path == vp::kDatabaseName + std::string("-shm");
}

/// Lets files be made with the very permissions that are asked for.
class NoMask {
 public:
  NoMask() : before_(umask(0)) {}
  ~NoMask() { umask(before_); }
  NoMask(const NoMask&) = delete;
  NoMask& operator=(const NoMask&) = delete;

 private:
  mode_t before_;
};

}  // namespace

PhoneImage::PhoneImage(const fs::path& phone) {
  vp::Phone used(phone);
  const std::lock_guard lock(used.mutex());
  // Nobody writes meanwhile.
  const vp::Transaction turn(used.fleeting());
  read_tree(phone, {});
}

void PhoneImage::read_tree(const fs::path& top, const fs::path& path) {
  for (const fs::directory_entry& each : fs::directory_iterator(top / path)) {
    const fs::path name = path / each.path().filename();
    if (is_left_out(name)) continue;
    entries_.push_back(read_entry(top, name));
    if (S_ISDIR(entries_.back().mode)) read_tree(top, name);
  }
}

PhoneImage::Entry PhoneImage::read_entry(const fs::path& top, const fs::path& path) {
  const fs::path from = top / path;
  struct stat found {};
  if (lstat(from.c_str(), &found) != 0) fail(from);
  Entry entry{path, found.st_mode, found.st_size, {}, {}};
  if (S_ISLNK(entry.mode)) entry.link = fs::read_symlink(from).string();
  if (!S_ISREG(entry.mode)) return entry;
  const unique_fd in(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!in.ok()) fail(from);
  for (off_t data = 0; data < entry.size;) {
    data = lseek(in.get(), data, SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;
    const off_t hole = lseek(in.get(), data, SEEK_HOLE);
    if (data < 0 || hole < 0) fail(from);
    Piece piece{data, std::string(static_cast<size_t>(hole - data), '\0')};
    if (pread(in.get(), piece.bytes.data(), piece.bytes.size(), data) != hole - data) fail(from);
    entry.pieces.push_back(std::move(piece));
    data = hole;
  }
  return entry;
}

void PhoneImage::write_to(const fs::path& to) const {
  fs::create_directories(to / "log");
  const NoMask no_mask;
  for (const Entry& entry : entries_) write_entry(entry, to / entry.path);
}

void PhoneImage::write_entry(const Entry& entry, const fs::path& to) {
  if (S_ISLNK(entry.mode)) return fs::create_symlink(entry.link, to);
  if (S_ISDIR(entry.mode)) {
    // What is in it must find its way in.
    if (mkdir(to.c_str(), (entry.mode & kPermissions) | S_IRWXU) != 0) fail(to);
    return;
  }
  // Nothing of ours makes others; what somebody put there is in nobody's way.
  if (!S_ISREG(entry.mode)) return;
  const unique_fd out(
      open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, entry.mode & kPermissions));
  if (!out.ok()) fail(to);
  off_t end = 0;
  for (const Piece& piece : entry.pieces) {
    const auto size = static_cast<off_t>(piece.bytes.size());
    if (pwrite(out.get(), piece.bytes.data(), piece.bytes.size(), piece.offset) != size) fail(to);
    end = piece.offset + size;
  }
  if (end != entry.size && ftruncate(out.get(), entry.size) != 0) fail(to);
}

}  // namespace exploration
