#include "virtual_phone/modem/efs.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>

#include "virtual_phone/core/flush.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr size_t kPathSize = 128;
constexpr size_t kPieceSize = 2032;
constexpr int kMostDescriptors = 64;

/// The descriptors of this process.
struct Descriptors {
  std::mutex mutex;
  std::map<int32_t, unique_fd> files GUARDED_BY(mutex);

  static Descriptors& instance() {
    static Descriptors descriptors;
    return descriptors;
  }
};

int32_t word_at(std::string_view payload, size_t offset) {
  int32_t word = 0;
  memcpy(&word, payload.substr(offset, sizeof word).data(), sizeof word);
  return word;
}

/// The path at byte 1, which has no NUL when it is as long as its field.
std::string_view path_of(std::string_view payload) {
  const std::string_view field = payload.substr(1, kPathSize);
  return field.substr(0, field.find('\0'));
}

/// Where a path leads: its last part, in the open directory that holds it.
struct Place {
  int error = 0;  ///< errno value, when it leads nowhere
  unique_fd directory;
  std::string name;
};

bool is_link(int directory, const std::string& name) {
  struct stat found {};
  return fstatat(directory, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISLNK(found.st_mode);
}

unique_fd open_directory(int parent, const std::string& name, bool make) {
  if (make) mkdirat(parent, name.c_str(), 0775);  // when it fails, so does the opening
  return unique_fd(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Walks part by part and follows no link, so that nothing leads out of the tree.
Place find_place(Phone& phone, std::string_view path, bool make_directories) {
  Place place{0, open_directory(AT_FDCWD, (phone.directory() / kEfsName).string(), true), ""};
  if (!place.directory.ok()) return {errno, unique_fd(), ""};
  for (const fs::path& each : fs::path(path)) {
    const std::string part = each.string();
    if (part.empty() || part == "." || part.find_first_not_of('/') == std::string::npos) continue;
    if (part == "..") return {EACCES, unique_fd(), ""};
    if (!place.name.empty()) {
      unique_fd next = open_directory(place.directory.get(), place.name, make_directories);
      if (!next.ok()) {
        const int error = errno;
        return {is_link(place.directory.get(), place.name) ? EACCES : error, unique_fd(), ""};
      }
      place.directory = std::move(next);
    }
    place.name = part;
  }
  if (place.name.empty()) place.error = path.empty() ? ENOENT : EISDIR;
  return place;
}

/// What a power cut would leave in place of what is about to be changed is kept.
void keep(Phone& phone, const fcx::FileAccess& access) {
  if (keep_flushed(phone, access)) phone.count_change();
}

/// The path of a place, for this process.
std::string path_of(const Place& place) {
  return "/proc/self/fd/" + std::to_string(place.directory.get()) + "/" + place.name;
}

int32_t efs_open(Phone& phone, std::string_view path, int flags, int mode) {
  if ((flags & O_ACCMODE) == O_ACCMODE) return -EINVAL;
  Descriptors& open_now = Descriptors::instance();
  const std::lock_guard lock(open_now.mutex);
  if (open_now.files.size() >= kMostDescriptors) return -EMFILE;
  if ((flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0) phone.check_is_there();
  const Place place = find_place(phone, path, (flags & O_CREAT) != 0);
  if (place.error != 0) return -place.error;
  constexpr int kPassed = O_ACCMODE | O_CREAT | O_EXCL | O_TRUNC | O_APPEND;
  // The bench's owner keeps access to what the modem makes.
  const mode_t permissions = (static_cast<mode_t>(mode) & 0777) | S_IRUSR | S_IWUSR;
  const std::string path_here = path_of(place);
  const fcx::FileAccess access{"", fcx::FileOperation::open, path_here.c_str(), -1,
                               flags & kPassed};
  const FileTurn turn(phone, access);
  keep(phone, access);
  unique_fd file(openat(place.directory.get(), place.name.c_str(),
                        (flags & kPassed) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, permissions));
  if (!file.ok()) return errno == ELOOP ? -EACCES : -errno;
  struct stat found {};
  if (fstat(file.get(), &found) != 0) return -errno;
  if (S_ISDIR(found.st_mode)) return -EISDIR;
  if (!S_ISREG(found.st_mode)) return -EACCES;
  int32_t descriptor = 1;
  while (open_now.files.count(descriptor) != 0) ++descriptor;
  open_now.files.emplace(descriptor, std::move(file));
  return descriptor;
}

int32_t efs_unlink(Phone& phone, std::string_view path) {
  phone.check_is_there();
  const Place place = find_place(phone, path, false);
  if (place.error != 0) return -place.error;
  const std::string path_here = path_of(place);
  const fcx::FileAccess access{"", fcx::FileOperation::remove, path_here.c_str()};
  const FileTurn turn(phone, access);
  keep(phone, access);
  if (unlinkat(place.directory.get(), place.name.c_str(), 0) != 0) return -errno;
  note_flushed(phone, access);
  return 0;
}

int32_t efs_close(int32_t descriptor) {
  Descriptors& open_now = Descriptors::instance();
  const std::lock_guard lock(open_now.mutex);
  return open_now.files.erase(descriptor) > 0 ? 0 : -EBADF;
}

std::string efs_read(int32_t descriptor, int32_t count) {
  Descriptors& open_now = Descriptors::instance();
  const std::lock_guard lock(open_now.mutex);
  const auto file = open_now.files.find(descriptor);
  if (file == open_now.files.end()) return efs_result(-EBADF);
  if (count < 0) return efs_result(-EINVAL);
  std::array<char, kPieceSize> piece{};
  const ssize_t got = TEMP_FAILURE_RETRY(
      read(file->second.get(), piece.data(), std::min(piece.size(), static_cast<size_t>(count))));
  if (got < 0) return efs_result(-errno);
  return efs_result(static_cast<int32_t>(got)) +
         std::string(piece.data(), static_cast<size_t>(got));
}

int32_t efs_write(Phone& phone, int32_t descriptor, std::string_view piece, int32_t count) {
  Descriptors& open_now = Descriptors::instance();
  const std::lock_guard lock(open_now.mutex);
  const auto file = open_now.files.find(descriptor);
  if (file == open_now.files.end()) return -EBADF;
  if (count < 0 || static_cast<size_t>(count) > piece.size()) return -EINVAL;
  const fcx::FileAccess access{"", fcx::FileOperation::write, nullptr, file->second.get()};
  const FileTurn turn(phone, access);
  keep(phone, access);
  const ssize_t put =
      TEMP_FAILURE_RETRY(write(file->second.get(), piece.data(), static_cast<size_t>(count)));
  return put < 0 ? -errno : static_cast<int32_t>(put);
}

using Operation = std::string (*)(Phone&, std::string_view payload);

struct OperationRow {
  uint8_t command;
  size_t length;  ///< bytes of its payload
  Operation carry_out;
};

constexpr OperationRow kOperations[] = {
    {3, 1 + kPathSize,
     [](Phone& phone, std::string_view payload) {
       return efs_result(efs_unlink(phone, path_of(payload)));
     }},
    {4, 140,
     [](Phone& phone, std::string_view payload) {
       return efs_result(
           efs_open(phone, path_of(payload), word_at(payload, 132), word_at(payload, 136)));
     }},
    {5, 8,
     [](Phone&, std::string_view payload) { return efs_result(efs_close(word_at(payload, 4))); }},
    {6, 12,
     [](Phone&, std::string_view payload) {
       return efs_read(word_at(payload, 4), word_at(payload, 8));
     }},
    {7, 2044,
     [](Phone& phone, std::string_view payload) {
       return efs_result(efs_write(phone, word_at(payload, 4), payload.substr(8, kPieceSize),
                                   word_at(payload, 2040)));
     }},
};

}  // namespace

std::string answer_efs(Phone& phone, std::string_view payload) {
  for (const OperationRow& row : kOperations) {
    if (payload.empty() || row.command != static_cast<uint8_t>(payload[0])) continue;
    return payload.size() < row.length ? efs_result(-EINVAL) : row.carry_out(phone, payload);
  }
  return efs_result(-EINVAL);
}

std::string efs_result(int32_t result) {
  std::string bytes(sizeof result, '\0');
  memcpy(bytes.data(), &result, sizeof result);
  return bytes;
}

void close_efs_descriptors() {
  Descriptors& open_now = Descriptors::instance();
  const std::lock_guard lock(open_now.mutex);
  open_now.files.clear();
}

void sync_efs(Phone& phone) {
  const fs::path tree = phone.directory() / kEfsName;
  const FileTurn turn(phone);
  if (fs::exists(tree)) flush_tree(tree);
  note_tree_flushed(phone, kEfsName);
}

void make_golden_copy(Phone& phone) {
  const fs::path tree = phone.directory() / kEfsName;
  const fs::path golden = phone.directory() / kGoldenCopyName;
  const fs::path made = golden.string() + ".new";
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  // Whoever holds the write lock is the only one that copies, in any process.
  const Transaction turn(phone.fleeting());
  fs::create_directories(tree);
  fs::remove_all(made);
  fs::copy(tree, made, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  flush_tree(made);
  fs::remove_all(golden);
  fs::rename(made, golden);
  flush(phone.directory());
}

std::vector<EfsFile> efs_files(Phone& phone) {
  const fs::path tree = phone.directory() / kEfsName;
  std::vector<EfsFile> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree, error)) {
    if (entry.symlink_status().type() != fs::file_type::regular) continue;
    files.push_back({"/" + entry.path().lexically_relative(tree).string(), entry.file_size()});
  }
  std::sort(files.begin(), files.end(),
            [](const EfsFile& a, const EfsFile& b) { return a.path < b.path; });
  return files;
}

}  // namespace virtual_phone
