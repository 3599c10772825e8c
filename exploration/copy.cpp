#include "exploration/copy.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace exploration {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using android::base::unique_fd;

[[noreturn]] void fail(const fs::path& path) {
  throw fs::filesystem_error("copy", path, std::error_code(errno, std::generic_category()));
}

/// Copies what takes room: the partition of the items is nearly all holes.
void copy_regular(const fs::path& from, const fs::path& to) {
  const unique_fd in(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!in.ok() || fstat(in.get(), &found) != 0) fail(from);
  const unique_fd out(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!out.ok() || fchmod(out.get(), found.st_mode & 07777) != 0) fail(to);
  if (ftruncate(out.get(), found.st_size) != 0) fail(to);
  for (off_t data = 0; data < found.st_size;) {
    data = lseek(in.get(), data, SEEK_DATA);
    if (data < 0 && errno == ENXIO) return;
    const off_t hole = lseek(in.get(), data, SEEK_HOLE);
    if (data < 0 || hole < 0 || lseek(out.get(), data, SEEK_SET) < 0) fail(from);
    while (data < hole) {
      const ssize_t sent = sendfile(out.get(), in.get(), &data, static_cast<size_t>(hole - data));
      if (sent <= 0) fail(to);
    }
  }
}

void copy_tree(const fs::path& from, const fs::path& to) {
  fs::create_directories(to);
  for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
    const fs::path target = to / entry.path().filename();
    const fs::file_type type = entry.symlink_status().type();
    if (type == fs::file_type::directory) copy_tree(entry.path(), target);
    if (type == fs::file_type::regular) copy_regular(entry.path(), target);
    if (type == fs::file_type::symlink) fs::copy_symlink(entry.path(), target);
  }
}

}  // namespace

void copy_phone(const fs::path& from, const fs::path& to) {
  fs::create_directories(to / "log");
  for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
    const fs::path name = entry.path().filename();
    // Of a database that nobody has open that file says nothing.
    if (name == "log" || name == vp::kDatabaseName + std::string("-shm")) continue;
    if (entry.is_directory()) copy_tree(entry.path(), to / name);
    if (entry.is_regular_file()) copy_regular(entry.path(), to / name);
  }
}

void copy_phone_in_use(const fs::path& from, const fs::path& to) {
  vp::Phone phone(from);
  const std::lock_guard lock(phone.mutex());
  // Nobody writes meanwhile.
  const vp::Transaction turn(phone.fleeting());
  copy_phone(from, to);
}

}  // namespace exploration
