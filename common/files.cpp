#include "common/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace fcx {
namespace {

constexpr char kTemporarySuffix[] = ".tmp";
constexpr mode_t kNewFileMode = 0664;

/// False, with errno set, when a fault says that the operation fails.
bool may_go_on(const FileFault& fault) {
  if (fault.error == 0) return true;
  errno = fault.error;
  return false;
}

/// Whether a file is not there, or a regular one that may be written; errno says why not.
bool may_be_replaced(const char* path) {
  struct stat old {};
  if (stat(path, &old) != 0) return true;
  if (S_ISREG(old.st_mode)) return access(path, W_OK) == 0;
  errno = EISDIR;
  return false;
}

/// Whoever could read the old file can read the new one. The owner is kept where that is allowed.
void keep_access(const UniqueFd& fd, const char* old_path) {
  struct stat old {};
  if (!fd.is_open() || stat(old_path, &old) != 0) return;
  static_cast<void>(fchmod(fd.get(), old.st_mode & 07777) == 0 &&
                    fchown(fd.get(), old.st_uid, old.st_gid) == 0);
}

}  // namespace

int UniqueFd::release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

void UniqueFd::reset(int fd) {
  if (fd_ >= 0) {
    const int error = errno;
    close(fd_);
    errno = error;
  }
  fd_ = fd;
}

DevicePath::DevicePath(std::string_view device_path, std::string_view suffix) {
  append(device_root());
  if (length_ > 0) {
    append_below_root(device_path);
  } else {
    if (device_path.substr(0, 1) != "/") append("/");
    append(device_path);
  }
  append(suffix);
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
  // With a NUL behind it, also where parts were taken away.
  append(length_ == root ? "/" : "");
}

const char* DevicePath::c_str() const {
  if (fits_) return path_.data();
  errno = ENAMETOOLONG;
  return nullptr;
}

UniqueFd open_device_file(const char* device_path, int flags, mode_t mode) {
  const DevicePath path(device_path);
  if (path.c_str() == nullptr) return {};
  if (!may_go_on(platform_file_fault(device_path, FileOperation::open))) return {};
  return UniqueFd(open(path.c_str(), flags | O_CLOEXEC, mode));
}

ssize_t read_device_file(const char* device_path, char* buffer, size_t size) {
  const UniqueFd fd = open_device_file(device_path, O_RDONLY);
  if (!fd.is_open()) return -1;
  return read_device_file(fd, device_path, buffer, size);
}

ssize_t read_device_file(const UniqueFd& fd, const char* device_path, char* buffer, size_t size) {
  const FileFault fault = platform_file_fault(device_path, FileOperation::read);
  if (!may_go_on(fault)) return -1;
  const size_t wanted = std::min(size, fault.limit);
  size_t done = 0;
  while (done < wanted) {
    const ssize_t got = read(fd.get(), buffer + done, wanted - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

int write_device_file(const UniqueFd& fd, const char* device_path, std::string_view content) {
  const FileFault fault = platform_file_fault(device_path, FileOperation::write);
  if (!may_go_on(fault)) return -1;
  const size_t allowed = std::min(content.size(), fault.limit);
  for (size_t done = 0; done < allowed;) {
    const ssize_t put = write(fd.get(), content.data() + done, allowed - done);
    if (put < 0 && errno == EINTR) continue;
    if (put == 0) errno = EIO;  // a kernel attribute that takes nothing would be asked for ever
    if (put <= 0) return -1;
    done += static_cast<size_t>(put);
  }
  if (allowed == content.size()) return 0;
  errno = ENOSPC;
  return -1;
}

DeviceFileReader::DeviceFileReader(const char* device_path)
    : fd_(open_device_file(device_path, O_RDONLY | O_NONBLOCK)) {
  if (is_open()) fault_ = platform_file_fault(device_path, FileOperation::read);
}

ssize_t DeviceFileReader::read(char* buffer, size_t size) {
  if (!may_go_on(fault_)) return -1;
  ssize_t got = -1;
  do {
    got = ::read(fd_.get(), buffer, std::min(size, fault_.limit));
  } while (got < 0 && errno == EINTR);
  if (got > 0) fault_.limit -= static_cast<size_t>(got);
  return got;
}

bool device_file_exists(const char* device_path) {
  const DevicePath path(device_path);
  return path.c_str() != nullptr && access(path.c_str(), F_OK) == 0;
}

int rename_device_file(const char* from, const char* to) {
  const DevicePath old_path(from);
  const DevicePath new_path(to);
  if (old_path.c_str() == nullptr || new_path.c_str() == nullptr) return -1;
  return rename(old_path.c_str(), new_path.c_str());
}

int flush_directory_of(const char* device_path) {
  DevicePath path(device_path);
  if (path.c_str() == nullptr) return -1;
  char* slash = strrchr(path.data(), '/');
  slash[slash == path.data() ? 1 : 0] = '\0';
  const UniqueFd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd.is_open() ? fsync(fd.get()) : 0;
}

int remove_device_file(const char* device_path) {
  const DevicePath path(device_path);
  return path.c_str() == nullptr ? -1 : unlink(path.c_str());
}

void remove_device_files(const char* directory, std::string_view beginning) {
  struct Close {
    void operator()(DIR* open) const { closedir(open); }
  };
  const DevicePath path(directory);
  const std::unique_ptr<DIR, Close> open(path.c_str() == nullptr ? nullptr : opendir(path.c_str()));
  if (open == nullptr) return;
  while (const dirent* entry = readdir(open.get())) {
    const std::string_view name = entry->d_name;
    if (name.substr(0, beginning.size()) != beginning) continue;
    unlinkat(dirfd(open.get()), entry->d_name, 0);
  }
}

FileReplacement::FileReplacement(const char* device_path)
    : device_path_(device_path), target_(device_path), temporary_(device_path, kTemporarySuffix) {
  if (!can_begin() || !may_be_replaced(target_.c_str())) return;
  fd_.reset(open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
  keep_access(fd_, target_.c_str());
}

FileReplacement::FileReplacement(const char* device_path, const char* temporary_template)
    : device_path_(device_path), target_(device_path), temporary_(temporary_template) {
  if (!can_begin()) return;
  fd_.reset(mkostemp(temporary_.data(), O_CLOEXEC));
  keep_access(fd_, target_.c_str());
}

bool FileReplacement::can_begin() const {
  if (target_.c_str() == nullptr || temporary_.c_str() == nullptr) return false;
  return may_go_on(platform_file_fault(device_path_, FileOperation::open));
}

const char* FileReplacement::temporary_path() const {
  return temporary_.c_str() == nullptr ? "" : temporary_.c_str() + strlen(device_root());
}

FileReplacement::~FileReplacement() {
  if (is_open()) unlink(temporary_.c_str());
}

int FileReplacement::write(std::string_view content) {
  if (!is_open() || write_device_file(fd_, device_path_, content) != 0) return -1;
  return fsync(fd_.get());
}

int FileReplacement::put_in_place() {
  if (!is_open() || rename(temporary_.c_str(), target_.c_str()) != 0) return -1;
  fd_.reset();
  return 0;
}

int FileReplacement::commit(std::string_view content) {
  if (write(content) != 0 || put_in_place() != 0) return -1;
  return flush_directory_of(device_path_);
}

int replace_device_file(const char* device_path, std::string_view content) {
  FileReplacement file(device_path);
  return file.commit(content);
}

}  // namespace fcx
