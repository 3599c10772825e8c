// Device files. The library names files as the phone does; these functions find them below
// device_root(), and are the only ones that open, write or remove a file. A relative device path is
// relative to the device's "/". Errors are left in errno.
#pragma once

#include <sys/types.h>

#include <array>
#include <climits>
#include <cstddef>
#include <string_view>

#include "platform/device_home.h"

namespace fcx {

/// An open file descriptor, closed with its owner.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  int release();
  /// Closes what is held, keeping errno, and takes `fd`.
  void reset(int fd = -1);
  bool operator!() const = delete;  // would read as "is 0"

 private:
  int fd_ = -1;
};

/// Where a device file lies in this home.
class DevicePath {
 public:
  using Buffer = std::array<char, PATH_MAX>;

  /// @param suffix goes behind the path
  explicit DevicePath(std::string_view device_path, std::string_view suffix = "");

  /// To be changed without growing.
  char* data() { return path_.data(); }
  /// Null, with errno ENAMETOOLONG, for a path too long.
  const char* c_str() const;

 private:
  void append(std::string_view text);
  /// Part by part: where the device's "/" is a directory of this machine, ".." must not lead out of
  /// it.
  void append_below_root(std::string_view device_path);

  Buffer path_;
  size_t length_ = 0;
  bool fits_ = true;
};

/// Opens a device file, close-on-exec.
UniqueFd open_device_file(const char* device_path, int flags, mode_t mode = 0);

/// Reads a device file from its start, `size` bytes at most.
/// @return the bytes read, or -1
ssize_t read_device_file(const char* device_path, char* buffer, size_t size);
/// The same from a file that is open already; `device_path` is its name.
ssize_t read_device_file(const UniqueFd& fd, const char* device_path, char* buffer, size_t size);

/// Writes to an open device file, in place; `device_path` is its name.
/// @return 0, or -1 when not all of it could be written
int write_device_file(const UniqueFd& fd, const char* device_path, std::string_view content);

/// A device file that is read from its start to its end, piece by piece. Never waits: what has that
/// name may be no file.
class DeviceFileReader {
 public:
  explicit DeviceFileReader(const char* device_path);

  bool is_open() const { return fd_.is_open(); }
  /// @return the bytes read, 0 at the end, or -1
  ssize_t read(char* buffer, size_t size);

 private:
  UniqueFd fd_;
  FileFault fault_;
};

/// Whether there is a device file, readable or not.
bool device_file_exists(const char* device_path);

/// Flushes the directory that a device file is in. One that may be written but not read cannot be
/// flushed, which is no failure. @return 0 or -1
int flush_directory_of(const char* device_path);

/// Removes a device file. @return 0 or -1
int remove_device_file(const char* device_path);

/// Removes those files of a directory whose names begin so.
void remove_device_files(const char* directory, std::string_view beginning);

/// Gives a device file another name in the same file system, in place of what has it.
/// @return 0 or -1
int rename_device_file(const char* from, const char* to);

/// A device file's new content, which takes the old one's place at once or not at all: it is
/// written beside it, flushed, and renamed. What is not committed is removed again.
class FileReplacement {
 public:
  /// Written to a file of the same name and ".tmp". What may not be written is not replaced.
  explicit FileReplacement(const char* device_path);
  /// Written to a file of its own. `temporary_template` ends in "XXXXXX", which becomes a name that
  /// is still free.
  FileReplacement(const char* device_path, const char* temporary_template);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Whether the file can be written at all.
  bool is_open() const { return fd_.is_open(); }
  /// Device path of the temporary file. Owned by this.
  const char* temporary_path() const;

  /// Writes `content` to the temporary file; it is on disk when this returns 0. Otherwise -1.
  int write(std::string_view content);
  /// Gives the temporary file the name of the one that it replaces. That survives a power cut once
  /// the directory is flushed. @return 0, or -1: the file is what it was
  int put_in_place();
  /// Both, and flushes the directory.
  int commit(std::string_view content);

 private:
  /// Whether there are paths to work with, and no fault; errno says why not.
  bool can_begin() const;

  const char* device_path_;
  DevicePath target_;
  DevicePath temporary_;
  UniqueFd fd_;
};

/// Replaces a device file's content. @return as FileReplacement::commit()
int replace_device_file(const char* device_path, std::string_view content);

}  // namespace fcx
