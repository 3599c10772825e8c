// An open file of the host.
#pragma once

#include <unistd.h>

#include <utility>

namespace virtual_phone {

/// A file descriptor, closed with its owner.
class HostFile {
 public:
  explicit HostFile(int fd = -1) : fd_(fd) {}
  ~HostFile() {
    if (fd_ >= 0) close(fd_);
  }
  HostFile(HostFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  HostFile& operator=(HostFile&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }

 private:
  int fd_;
};

}  // namespace virtual_phone
