// Device files. The library names files as the phone does; these functions find them below
// device_root(), and are the only ones that open, write, look up or remove a file. A relative
// device path is relative to the device's "/". None of them waits: a pipe or the like in a file's
// place is refused.
#pragma once

#include <android-base/unique_fd.h>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "common/result.h"
#include "platform/device_home.h"

namespace fcx {

/// The largest file that is read as a whole, in bytes. What claims to be larger, or never ends, is
/// none of the package's.
constexpr size_t kLargestFile = 16 << 20;

/// Where a device file lies in this home.
class DevicePath {
 public:
  explicit DevicePath(std::string_view device_path);

  /// Null for a path too long.
  const char* c_str() const { return fits_ ? path_.data() : nullptr; }
  /// The directory that the file is in. "/" is in itself.
  DevicePath directory() const;
  /// Adds text as it is.
  void append(std::string_view text);

 private:
  /// Part by part: where the device's "/" is a directory of this machine, ".." must not lead out of
  /// it.
  void append_below_root(std::string_view device_path);

  std::array<char, PATH_MAX> path_;
  size_t length_ = 0;
  bool fits_ = true;
};

/// A part of a device's memory that can be read. It outlives the file.
class DeviceMapping {
 public:
  DeviceMapping() = default;
  DeviceMapping(void* start, size_t size) : start_(start), size_(size) {}
  DeviceMapping(DeviceMapping&& other) noexcept { *this = std::move(other); }
  DeviceMapping& operator=(DeviceMapping&& other) noexcept {
    std::swap(start_, other.start_);
    std::swap(size_, other.size_);
    return *this;
  }
  ~DeviceMapping();

  void* start() const { return start_; }
  size_t size() const { return size_; }
  /// Leaves the part to the caller, who makes a DeviceMapping of it again to be rid of it.
  void* release() {
    size_ = 0;
    return std::exchange(start_, nullptr);
  }

 private:
  void* start_ = nullptr;
  size_t size_ = 0;
};

/// Which file it is, whatever its path.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const FileId& other) const {
    return device == other.device && inode == other.inode;
  }
};

/// Which devices a file may be.
enum class Devices { block, block_or_character };

/// An open device file, or the reason why it is not open.
class DeviceFile {
 public:
  /// Opens a file without waiting, close-on-exec. Regular files, directories and block devices are
  /// opened, and character devices where they are asked for; anything else gives ENOTSUP.
  /// @param device_path must outlive this
  /// @param flags, mode as for open()
  DeviceFile(const char* device_path, int flags, mode_t mode = 0, Devices devices = Devices::block);

  bool is_open() const { return error_ == 0; }
  bool is_absent() const { return ReadResult::is_absence(error_); }
  bool is_regular() const { return is_regular_; }
  bool is_directory() const { return is_directory_; }
  /// Of nothing when it is not open.
  const FileId& id() const { return id_; }
  /// Why it is not open; 0 when it is.
  int error() const { return error_; }
  const char* reason() const { return strerror(error_); }
  /// What the file system says of the size; what the kernel makes up has none.
  size_t size() const { return size_; }

  /// What the file system says of it.
  Result status(struct stat& found) const;
  /// Its size as seeking to its end tells it; what the kernel makes up tells anything. The next
  /// read begins at the start again.
  Result size_by_seeking(int64_t& size);
  /// The next read or write is at that distance from the start.
  Result seek(int64_t position);
  /// Asks a device, as ioctl().
  Result control(unsigned long request, void* argument);
  /// Maps the first `size` bytes, to be read as others change them.
  Result map(size_t size, DeviceMapping& mapping);
  /// Reads on, until `size` bytes or the end.
  ReadResult read(char* buffer, size_t size);
  /// Writes on, in place.
  Result write(std::string_view content);
  /// Takes its content away.
  Result make_empty();
  /// Ends it, with what only the end tells of the writes.
  Result close();
  /// Leaves the open descriptor to the caller, and is not open any more. -1 when it was not.
  int release();

 private:
  ReadResult read_on(char* buffer, size_t size);

  const char* device_path_;
  android::base::unique_fd fd_;
  int error_ = 0;
  bool is_regular_ = false;
  bool is_directory_ = false;
  FileId id_;
  size_t size_ = 0;
  std::optional<size_t> read_limit_;  ///< of all reads of this file, once there was one
  int read_error_ = 0;                ///< likewise
};

/// Reads a device file from its start, `size` bytes at most.
ReadResult read_device_file(const char* device_path, char* buffer, size_t size);

/// Whether there is a device file, readable or not; what cannot be found out is unknown.
enum class Presence { absent, present, unknown };
[[nodiscard]] Presence presence_of(const char* device_path);

/// What the file system says of a path; of a link, of what it leads to.
Result look_up(const char* device_path, struct stat& found);

/// What a path names. A link is a link, wherever it leads.
enum class FileType { regular, directory, link, other };
Result look_up_type(const char* device_path, FileType& type);

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};
using OpenDirectory = std::unique_ptr<DIR, CloseDirectory>;

/// The names in a device directory.
class DeviceDirectory {
 public:
  /// @param device_path must outlive this
  explicit DeviceDirectory(const char* device_path);

  /// The next name, good until the next call; names come in no order, and "." and ".." are none.
  /// Null at the end, and where the directory cannot be read, or read on: then error() says why.
  const char* next();
  /// 0 unless it could not be opened or read.
  int error() const { return error_; }
  const char* reason() const { return strerror(error_); }

 private:
  const char* device_path_;
  OpenDirectory directory_;
  int error_ = 0;
  bool is_begun_ = false;
};

/// Flushes the directory that a device file is in. One that may be written but not read cannot be
/// flushed, which is no failure.
Result flush_directory_of(const char* device_path);

/// Removes a device file. That there is none is no failure.
Result remove_device_file(const char* device_path);

/// Removes an empty directory. That there is none is no failure.
Result remove_device_directory(const char* device_path);

/// Gives a device file another name in the same file system, in place of what has it.
Result rename_device_file(const char* from, const char* to);

/// Makes a directory whose parent is there.
Result make_device_directory(const char* device_path, mode_t mode);

/// Gives a device file the owner and group of another, or its permissions.
Result give_owner_of(const char* model, const char* device_path);
Result give_mode_of(const char* model, const char* device_path);

/// Removes from a directory what interrupted replacements of its files have left: temporary files
/// that nobody holds any more. One that stays is in nobody's way.
void clear_temporaries(const char* directory);

/// A device file's new content, which takes the old one's place at once or not at all: it is
/// written to a temporary file beside it, flushed, and renamed. Whoever could read the old file can
/// read the new one. What is not put in place is removed again; what a killed process leaves, by
/// the next replacement in that directory.
class FileReplacement {
 public:
  /// Whether a file that may not be written is replaced all the same.
  enum class Unwritable { is_refused, is_replaced };

  /// @param device_path   must outlive this
  /// @param new_file_mode of a file that is not there yet; the process's mask decides
  explicit FileReplacement(const char* device_path, Unwritable unwritable = Unwritable::is_refused,
                           mode_t new_file_mode = 0664);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Whether the file itself can be opened for writing, or made.
  Result opened() const { return opened_; }
  /// Device path of the temporary file.
  const char* temporary_path() const;

  /// Writes `content` to the temporary file, where it is on disk when this is done.
  Result write(std::string_view content);
  /// Gives the temporary file the name of the one that it replaces; otherwise that is what it was.
  /// Outlives a power cut once the directory is flushed.
  Result put_in_place();
  /// Both, and flushes the directory.
  Result commit(std::string_view content);

 private:
  Result begin(Unwritable unwritable, mode_t new_file_mode);

  const char* device_path_;
  DevicePath target_;
  DevicePath temporary_;
  android::base::unique_fd fd_;  ///< of the temporary file, until it is in place
  Result opened_;
  Result begun_;
};

/// Replaces a device file's content, as FileReplacement::commit().
Result replace_device_file(const char* device_path, std::string_view content);

}  // namespace fcx
