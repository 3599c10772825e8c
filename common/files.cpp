#include "common/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

namespace fcx {
namespace {

using android::base::unique_fd;

constexpr std::string_view kTemporary = ".temp.";
constexpr size_t kUniqueLength = 6;

/// What every file is opened with: nothing waits, and no child inherits it.
constexpr int kAlways = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/// Does `work`, unless a fault says that the operation fails. It is given the fault.
template <typename Work>
Result operate(const FileAccess& access, Work work) {
  const FileFault fault = platform_file_begins(access);
  const Result result = fault.error != 0 ? Result::failed(fault.error) : work(fault);
  platform_file_ends(access, result.error());
  return result;
}

/// The same on an open file, with what a system call returns.
template <typename Work>
Result operate_on(const char* device_path, const unique_fd& fd, FileOperation operation,
                  Work work) {
  return operate({device_path, operation, nullptr, fd.get()},
                 [&](const FileFault&) { return Result::of(work()); });
}

/// The same on a path, unless that is too long.
template <typename Work>
Result operate_at(FileAccess access, const DevicePath& path, Work work) {
  if (path.c_str() == nullptr) return Result::failed(ENAMETOOLONG);
  // It names nothing; made a path, it would be the device's "/".
  if (access.device_path[0] == '\0') return Result::failed(ENOENT);
  access.path = path.c_str();
  return operate(access, [&](const FileFault&) { return Result::of(work(path.c_str())); });
}

template <typename Work>
Result operate_at(const char* device_path, FileOperation operation, Work work) {
  return operate_at({device_path, operation}, DevicePath(device_path), work);
}

/// Characters for a name that no other temporary file has now; who is as quick tries again.
std::array<char, kUniqueLength> unique_characters() {
  constexpr char kAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  static std::atomic<uint32_t> serial = 0;
  timespec now{};
  // One of three sources: it needs no success.
  static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &now));
  uint64_t number = static_cast<uint64_t>(now.tv_nsec) * 1'000'003 +
                    static_cast<uint64_t>(getpid()) * 7919 + ++serial;
  std::array<char, kUniqueLength> characters;
  for (char& each : characters) {
    each = kAlphabet[number % (sizeof kAlphabet - 1)];
    number /= sizeof kAlphabet - 1;
  }
  return characters;
}

/// Takes a temporary file for its maker, as long as that lives. False when it is another's.
bool take(const unique_fd& fd) { return flock(fd.get(), LOCK_EX | LOCK_NB) == 0; }

/// Makes a temporary file in the directory, for new content of `device_path`, and adds its name to
/// the path.
Result make_temporary(const char* device_path, DevicePath& path, mode_t mode, unique_fd& fd) {
  constexpr int kTries = 100;
  const DevicePath directory = path;
  for (int i = 0; i < kTries; ++i) {
    const auto unique = unique_characters();
    path = directory;
    path.append("/");
    path.append(kTemporary);
    path.append({unique.data(), unique.size()});
    // Exclusive: a link or a file that somebody has planted there is never written to.
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kAlways;
    const Result made = operate_at({device_path, FileOperation::open, nullptr, -1, kFlags}, path,
                                   [&](const char* name) {
                                     fd.reset(open(name, kFlags, mode));
                                     return fd.get();
                                   });
    if (!made.ok() && made.error() != EEXIST) return made;
    if (!made.ok()) continue;
    // Between making and taking it another process may have taken it for a left-over and removed
    // it.
    struct stat status {};
    if (take(fd) && fstat(fd.get(), &status) == 0 && status.st_nlink > 0) return Result();
  }
  return Result::failed(EEXIST);
}

/// Writes all of a device file's content; `device_path` is its name.
Result write_all(const char* device_path, const unique_fd& fd, std::string_view content) {
  const FileAccess access{device_path, FileOperation::write, nullptr, fd.get(), 0, content};
  return operate(access, [&](const FileFault& fault) {
    const size_t allowed = std::min(content.size(), fault.limit);
    for (size_t done = 0; done < allowed;) {
      const ssize_t put = write(fd.get(), content.data() + done, allowed - done);
      if (put < 0 && errno == EINTR) continue;
      // A kernel attribute that takes nothing would be asked for ever.
      if (put <= 0) return Result::failed(put == 0 ? EIO : errno);
      done += static_cast<size_t>(put);
    }
    return allowed == content.size() ? Result() : Result::failed(ENOSPC);
  });
}

/// Gives a new file the access that the old one has. The owner is kept where that is allowed.
Result keep_access(const char* device_path, const unique_fd& fd, const struct stat& old) {
  const mode_t mode = old.st_mode & 07777;
  const FileAccess access{device_path, FileOperation::chmod, nullptr, fd.get(),
                          static_cast<int>(mode)};
  return operate(access, [&](const FileFault&) {
    // Only a privileged process may; the others' new files are their own.
    if (fchown(fd.get(), old.st_uid, old.st_gid) != 0 && errno != EPERM) {
      return Result::failed(errno);
    }
    return Result::of(fchmod(fd.get(), mode));
  });
}

/// Removes the temporary files of a directory that nobody holds any more.
void clear_temporaries_in(const DevicePath& directory) {
  const OpenDirectory open(directory.c_str() == nullptr ? nullptr : opendir(directory.c_str()));
  if (open == nullptr) return;
  while (const dirent* entry = readdir(open.get())) {
    const std::string_view name = entry->d_name;
    const bool is_temporary = name.size() == kTemporary.size() + kUniqueLength &&
                              name.substr(0, kTemporary.size()) == kTemporary;
    if (!is_temporary) continue;
    const unique_fd fd(openat(dirfd(open.get()), entry->d_name, O_RDONLY | O_NOFOLLOW | kAlways));
    // Nobody makes links: one was planted.
    const bool is_left_over = fd.ok() ? take(fd) : errno == ELOOP;
    // One that stays is in nobody's way, and is tried again.
    if (is_left_over) static_cast<void>(unlinkat(dirfd(open.get()), entry->d_name, 0));
  }
}

}  // namespace

DevicePath::DevicePath(std::string_view device_path) {
  append(device_root());
  if (length_ > 0) {
    append_below_root(device_path);
  } else {
    if (device_path.substr(0, 1) != "/") append("/");
    append(device_path);
  }
}

void DevicePath::append(std::string_view text) {
  fits_ = fits_ && text.size() < path_.size() - length_;
  if (!fits_) return;
  length_ += text.copy(path_.data() + length_, text.size());
  path_[length_] = '\0';
}

void DevicePath::append_below_root(std::string_view device_path) {
  const size_t root = length_;
  while (!device_path.empty()) {
    const size_t end = std::min(device_path.find('/'), device_path.size());
    const std::string_view part = device_path.substr(0, end);
    device_path.remove_prefix(std::min(end + 1, device_path.size()));
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      while (length_ > root && path_[--length_] != '/') {
      }
    } else {
      append("/");
      append(part);
    }
  }
  // With a NUL after it, also where parts were taken away.
  append(length_ == root ? "/" : "");
}

DevicePath DevicePath::directory() const {
  DevicePath parent = *this;
  while (parent.length_ > 0 && parent.path_[--parent.length_] != '/') {
  }
  parent.length_ = std::max<size_t>(parent.length_, 1);
  parent.path_[parent.length_] = '\0';
  return parent;
}

DeviceMapping::~DeviceMapping() {
  // Of what was mapped it cannot fail.
  if (start_ != nullptr) static_cast<void>(munmap(start_, size_));
}

DeviceFile::DeviceFile(const char* device_path, int flags, mode_t mode, Devices devices)
    : device_path_(device_path) {
  const int all_flags = flags | kAlways;
  const Result opened = operate_at({device_path, FileOperation::open, nullptr, -1, all_flags},
                                   DevicePath(device_path), [&](const char* path) {
                                     fd_.reset(open(path, all_flags, mode));
                                     return fd_.get();
                                   });
  struct stat found {};
  if (!opened.ok()) {
    error_ = opened.error();
  } else if (fstat(fd_.get(), &found) != 0) {
    error_ = errno;
  } else if (!S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode) && !S_ISBLK(found.st_mode) &&
             !(S_ISCHR(found.st_mode) && devices == Devices::block_or_character)) {
    error_ = ENOTSUP;
  }
  is_regular_ = S_ISREG(found.st_mode);
  is_directory_ = S_ISDIR(found.st_mode);
  id_ = {found.st_dev, found.st_ino};
  size_ = static_cast<size_t>(found.st_size);
}

Result DeviceFile::status(struct stat& found) const {
  if (!is_open()) return Result::failed(error_);
  return operate_on(device_path_, fd_, FileOperation::stat,
                    [&] { return fstat(fd_.get(), &found); });
}

Result DeviceFile::size_by_seeking(int64_t& size) {
  if (!is_open()) return Result::failed(error_);
  return operate({device_path_, FileOperation::seek, nullptr, fd_.get()},
                 [&](const FileFault& fault) {
                   const off_t end = lseek(fd_.get(), 0, SEEK_END);
                   size = fault.size >= 0 ? fault.size : end;
                   return Result::of(end < 0 ? -1 : lseek(fd_.get(), 0, SEEK_SET));
                 });
}

Result DeviceFile::seek(int64_t position) {
  if (!is_open()) return Result::failed(error_);
  FileAccess access{device_path_, FileOperation::seek, nullptr, fd_.get()};
  access.size = position;
  return operate(access, [&](const FileFault&) {
    return Result::of(lseek64(fd_.get(), position, SEEK_SET) < 0 ? -1 : 0);
  });
}

Result DeviceFile::control(unsigned long request, void* argument) {
  if (!is_open()) return Result::failed(error_);
  return operate_on(device_path_, fd_, FileOperation::ioctl,
                    [&] { return platform_ioctl(fd_.get(), request, argument); });
}

Result DeviceFile::map(size_t size, DeviceMapping& mapping) {
  if (!is_open()) return Result::failed(error_);
  FileAccess access{device_path_, FileOperation::mmap, nullptr, fd_.get()};
  access.size = static_cast<int64_t>(size);
  return operate(access, [&](const FileFault&) {
    void* const start = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd_.get(), 0);
    if (start == MAP_FAILED) return Result::failed(errno);
    mapping = DeviceMapping(start, size);
    return Result();
  });
}

ReadResult DeviceFile::read(char* buffer, size_t size) {
  if (!is_open()) return ReadResult::failed(error_);
  if (read_limit_.has_value()) return read_on(buffer, size);
  FileAccess access{device_path_, FileOperation::read, nullptr, fd_.get()};
  access.size = static_cast<int64_t>(size);
  const FileFault fault = platform_file_begins(access);
  read_limit_ = fault.limit;
  read_error_ = fault.error;
  const ReadResult result = read_on(buffer, size);
  platform_file_ends(access, result.error(), {buffer, result.size()});
  return result;
}

ReadResult DeviceFile::read_on(char* buffer, size_t size) {
  constexpr size_t kPiece = 64 << 10;
  if (read_error_ != 0) return ReadResult::failed(read_error_);
  const size_t wanted = std::min(size, *read_limit_);
  size_t done = 0;
  while (done < wanted) {
    // In pieces: a file may have far less than the caller, who knows its size, has been told.
    const ssize_t got = ::read(fd_.get(), buffer + done, std::min(wanted - done, kPiece));
    if (got < 0 && errno == EINTR) continue;
    // A descriptor that is open: whatever the reason, this is no absence.
    if (got < 0) return ReadResult::failed(ReadResult::is_absence(errno) ? EIO : errno);
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  *read_limit_ -= done;
  return ReadResult::content(done);
}

Result DeviceFile::write(std::string_view content) {
  return is_open() ? write_all(device_path_, fd_, content) : Result::failed(error_);
}

Result DeviceFile::make_empty() {
  if (!is_open()) return Result::failed(error_);
  return operate_on(device_path_, fd_, FileOperation::write,
                    [&] { return ftruncate(fd_.get(), 0); });
}

Result DeviceFile::close() {
  if (!is_open()) return Result::failed(error_);
  error_ = EBADF;
  const FileAccess access{device_path_, FileOperation::close, nullptr, fd_.get()};
  const FileFault fault = platform_file_begins(access);
  // Closed in any case: a fault only tells.
  const Result closed = Result::of(::close(fd_.release()));
  const Result result = fault.error != 0 ? Result::failed(fault.error) : closed;
  platform_file_ends(access, result.error());
  return result;
}

int DeviceFile::release() {
  if (!is_open()) return -1;
  error_ = EBADF;
  return fd_.release();
}

ReadResult read_device_file(const char* device_path, char* buffer, size_t size) {
  return DeviceFile(device_path, O_RDONLY).read(buffer, size);
}

Presence presence_of(const char* device_path) {
  const Result found = operate_at(device_path, FileOperation::stat,
                                  [](const char* path) { return access(path, F_OK); });
  if (found.ok()) return Presence::present;
  return ReadResult::is_absence(found.error()) ? Presence::absent : Presence::unknown;
}

Result look_up(const char* device_path, struct stat& found) {
  return operate_at(device_path, FileOperation::stat,
                    [&](const char* path) { return stat(path, &found); });
}

Result look_up_type(const char* device_path, FileType& type) {
  struct stat found {};
  const Result looked_up = operate_at(device_path, FileOperation::stat,
                                      [&](const char* path) { return lstat(path, &found); });
  type = S_ISREG(found.st_mode)   ? FileType::regular
         : S_ISDIR(found.st_mode) ? FileType::directory
         : S_ISLNK(found.st_mode) ? FileType::link
                                  : FileType::other;
  return looked_up;
}

DeviceDirectory::DeviceDirectory(const char* device_path) : device_path_(device_path) {
  const Result opened =
      operate_at({device_path, FileOperation::open, nullptr, -1, O_RDONLY | O_DIRECTORY},
                 DevicePath(device_path), [&](const char* path) {
                   directory_.reset(opendir(path));
                   return directory_ == nullptr ? -1 : 0;
                 });
  error_ = opened.error();
}

const char* DeviceDirectory::next() {
  if (error_ != 0) return nullptr;
  if (!is_begun_) {
    const FileAccess access{device_path_, FileOperation::read};
    error_ = platform_file_begins(access).error;
    platform_file_ends(access, error_);
    is_begun_ = true;
    if (error_ != 0) return nullptr;
  }
  // The end and a failure differ in errno alone.
  errno = 0;
  while (const dirent* entry = readdir(directory_.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return entry->d_name;
  }
  error_ = errno;
  return nullptr;
}

Result flush_directory_of(const char* device_path) {
  // The device's name of the directory, under which a fault stands on it.
  const std::string_view path = device_path;
  const size_t slash = path.rfind('/');
  const std::string_view parent =
      slash == std::string_view::npos || slash == 0 ? "/" : path.substr(0, slash);
  std::array<char, PATH_MAX> directory{};
  if (parent.size() >= directory.size()) return Result::failed(ENAMETOOLONG);
  parent.copy(directory.data(), parent.size());
  return operate_at({directory.data(), FileOperation::sync_directory}, DevicePath(parent),
                    [](const char* opened) {
                      const unique_fd fd(open(opened, O_RDONLY | O_DIRECTORY | kAlways));
                      if (fd.ok()) return platform_flush(fd.get());
                      return errno == EACCES ? 0 : -1;
                    });
}

Result remove_device_file(const char* device_path) {
  const Result removed =
      operate_at(device_path, FileOperation::remove, [](const char* path) { return unlink(path); });
  return ReadResult::is_absence(removed.error()) ? Result() : removed;
}

Result remove_device_directory(const char* device_path) {
  const Result removed =
      operate_at(device_path, FileOperation::remove, [](const char* path) { return rmdir(path); });
  return ReadResult::is_absence(removed.error()) ? Result() : removed;
}

Result rename_device_file(const char* from, const char* to) {
  const DevicePath new_path(to);
  if (new_path.c_str() == nullptr) return Result::failed(ENAMETOOLONG);
  if (to[0] == '\0') return Result::failed(ENOENT);
  return operate_at({from, FileOperation::rename, nullptr, -1, 0, {}, to, new_path.c_str()},
                    DevicePath(from),
                    [&](const char* old_path) { return rename(old_path, new_path.c_str()); });
}

Result make_device_directory(const char* device_path, mode_t mode) {
  return operate_at({device_path, FileOperation::mkdir, nullptr, -1, static_cast<int>(mode)},
                    DevicePath(device_path),
                    [&](const char* path) { return platform_mkdir(path, mode); });
}

Result give_owner_of(const char* model, const char* device_path) {
  struct stat found {};
  const Result looked_up = look_up(model, found);
  if (!looked_up.ok()) return looked_up;
  return operate_at(device_path, FileOperation::chown,
                    [&](const char* path) { return chown(path, found.st_uid, found.st_gid); });
}

Result give_mode_of(const char* model, const char* device_path) {
  struct stat found {};
  const Result looked_up = look_up(model, found);
  if (!looked_up.ok()) return looked_up;
  const mode_t mode = found.st_mode & 07777;
  return operate_at({device_path, FileOperation::chmod, nullptr, -1, static_cast<int>(mode)},
                    DevicePath(device_path), [&](const char* path) { return chmod(path, mode); });
}

void clear_temporaries(const char* directory) { clear_temporaries_in(DevicePath(directory)); }

FileReplacement::FileReplacement(const char* device_path, Unwritable unwritable,
                                 mode_t new_file_mode)
    : device_path_(device_path),
      target_(device_path),
      temporary_(target_.directory()),
      begun_(begin(unwritable, new_file_mode)) {}

Result FileReplacement::begin(Unwritable unwritable, mode_t new_file_mode) {
  std::optional<struct stat> old;
  // Opened, so that all that could keep the file from being written has its say.
  constexpr int kFlags = O_WRONLY | kAlways;
  const FileAccess looked{device_path_, FileOperation::open, nullptr, -1, kFlags};
  opened_ = operate_at(looked, target_, [&](const char* path) -> int {
    const unique_fd fd(open(path, kFlags));
    if (!fd.ok() && errno == ENOENT) return 0;
    struct stat found {};
    if (!fd.ok() || fstat(fd.get(), &found) != 0) return -1;
    if (S_ISREG(found.st_mode)) {
      old = found;
      return 0;
    }
    errno = ENOTSUP;
    return -1;
  });
  const bool is_refused = !opened_.ok() && unwritable == Unwritable::is_refused;
  if (is_refused) return opened_;
  clear_temporaries_in(temporary_);
  const Result made = make_temporary(device_path_, temporary_, new_file_mode, fd_);
  if (made.ok()) return old.has_value() ? keep_access(device_path_, fd_, *old) : Result();
  if (!old.has_value()) opened_ = made;
  return made;
}

const char* FileReplacement::temporary_path() const {
  return temporary_.c_str() == nullptr ? "" : temporary_.c_str() + strlen(device_root());
}

FileReplacement::~FileReplacement() {
  // One that stays is cleared away by the next replacement in its directory.
  if (fd_.ok()) static_cast<void>(unlink(temporary_.c_str()));
}

Result FileReplacement::write(std::string_view content) {
  if (!begun_.ok()) return begun_;
  const Result written = write_all(device_path_, fd_, content);
  if (!written.ok()) return written;
  return operate({device_path_, FileOperation::sync, temporary_.c_str(), fd_.get()},
                 [&](const FileFault&) { return Result::of(platform_flush(fd_.get())); });
}

Result FileReplacement::put_in_place() {
  if (!begun_.ok()) return begun_;
  const FileAccess access{device_path_, FileOperation::rename, nullptr, -1, 0, {},
                          nullptr,      target_.c_str()};
  const Result renamed = operate_at(
      access, temporary_, [&](const char* path) { return rename(path, target_.c_str()); });
  if (renamed.ok()) fd_.reset();
  return renamed;
}

Result FileReplacement::commit(std::string_view content) {
  if (const Result written = write(content); !written.ok()) return written;
  if (const Result placed = put_in_place(); !placed.ok()) return placed;
  return flush_directory_of(device_path_);
}

Result replace_device_file(const char* device_path, std::string_view content) {
  FileReplacement file(device_path);
  return file.commit(content);
}

}  // namespace fcx
