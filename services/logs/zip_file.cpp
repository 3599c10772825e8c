#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "common/files.h"
#include "common/local_time.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/make_zip_file.h"
#include "services/logs/log_path.h"
#include "services/logs/walked_folder.h"
#include "services/logs/zip_streams.h"

namespace {

using fcx::FileId;

constexpr size_t kPiece = 16384;

/// What an entry without 64-bit sizes declares at most is one less.
constexpr int64_t kTooLarge = int64_t{1} << 32;
/// From this size on an entry has 64-bit sizes: deflated, it may be longer than the file.
constexpr int64_t kNearlyTooLarge = kTooLarge - (8 << 20);

bool find_time(const char* name, time_t& time) {
  constexpr size_t kLongestName = 255;
  std::string_view path = name;
  // Cut, it would be another file's name.
  if (path == "-" || path.size() > kLongestName) return false;
  if (!path.empty() && path.back() == '/') path.remove_suffix(1);
  struct stat found {};
  if (!fcx::look_up(fcx::TextBuffer<kLongestName>(path).c_str(), found).ok()) return false;
  time = found.st_mtime;
  return true;
}

/// What an entry is called.
const char* entry_name(const char* path, int32_t prefix_length) {
  path += std::min(strlen(path), static_cast<size_t>(prefix_length));
  return path + strspn(path, "/\\");
}

/// Opens an entry of the archive. Whether it is open, and all that was written is in the archive.
bool open_entry(zipFile zip, const char* name, const zip_fileinfo& info, bool has_long_sizes) {
  constexpr int kLevel = 1;
  constexpr int kMemoryLevel = 8;
  fcx::count_entry(zip);
  return !fcx::has_zip_failed(zip) &&
         zipOpenNewFileInZip3_64(zip, name, &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                 kLevel, 0, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY, nullptr,
                                 0, has_long_sizes ? 1 : 0) == ZIP_OK &&
         !fcx::has_zip_failed(zip);
}

/// Adds to the open entry. Whether it is in the archive.
bool write_to_entry(zipFile zip, const char* bytes, size_t size) {
  return zipWriteInFileInZip(zip, bytes, static_cast<unsigned>(size)) >= 0 &&
         !fcx::has_zip_failed(zip);
}

/// Completes the open entry. Whether it is in the archive.
bool close_entry(zipFile zip) {
  return zipCloseFileInZip(zip) == ZIP_OK && !fcx::has_zip_failed(zip);
}

/// Whether a path leads to no file: it is gone, or a link to nothing or to itself.
bool leads_nowhere(fcx::Result looked_up) {
  return fcx::ReadResult::is_absence(looked_up.error()) || looked_up.error() == ELOOP;
}

/// Copies a file into the open entry.
/// @param room the most bytes that the entry can have
/// @return whether the entry took all that could be read
bool copy_into_entry(zipFile zip, const char* path, fcx::DeviceFile& file, char* buffer,
                     int64_t room) {
  size_t size = kPiece;
  while (size == kPiece) {
    const fcx::ReadResult read = file.read(buffer, kPiece);
    if (!read.has_content()) {
      DOMAIN_INFO("LOGSAVE : error in reading %s\n", path);
      return true;
    }
    size = read.size();
    // A file may grow while it is read.
    room -= static_cast<int64_t>(size);
    if (room < 0 || !write_to_entry(zip, buffer, size)) {
      DOMAIN_INFO("LOGSAVE : error in writing %s in the zipfile\n", path);
      return false;
    }
  }
  return true;
}

FileId id_of(const struct stat& found) { return {found.st_dev, found.st_ino}; }

/// Packs a folder and those below it, all with the same memory for their paths.
class FolderPacker {
 public:
  explicit FolderPacker(MakeZipFile& archive) : archive_(archive) {}

  /// @return 0, or 1 when the folder cannot be opened
  int pack(std::string_view folder);

 private:
  int pack_folder(const fcx::WalkedFolder& folder);
  void pack_entry(const fcx::WalkedFolder& parent);

  MakeZipFile& archive_;
  fcx::PackedPath path_;
};

int not_opened() {
  DOMAIN_INFO("LOGSAVE : [FolderToZip] Directory Open ERROR!!!!\n");
  return 1;
}

int FolderPacker::pack(std::string_view folder) {
  struct stat status {};
  if (folder.size() > 1 && folder.back() == '/') folder.remove_suffix(1);
  if (!path_.append({folder}) || !fcx::look_up(path_.c_str(), status).ok()) return not_opened();
  return pack_folder({id_of(status)});
}

int FolderPacker::pack_folder(const fcx::WalkedFolder& folder) {
  fcx::DeviceDirectory directory(path_.c_str());
  if (directory.error() != 0) return not_opened();
  const size_t size = path_.size();
  // Also after a second '/', which the entries' names are counted from. Those of "/" follow its
  // own.
  const char* separator = path_.view() == "/" ? "" : "/";
  while (const char* name = directory.next()) {
    // Left out when it does not fit: cut, it would be another file's name.
    if (path_.append({separator, name})) pack_entry(folder);
    path_.cut(size);
  }
  if (directory.error() != 0) {
    DOMAIN_ERROR("FolderToZip: %s: %s\n", path_.c_str(), directory.reason());
  }
  return 0;
}

void FolderPacker::pack_entry(const fcx::WalkedFolder& parent) {
  struct stat found {};
  if (!fcx::look_up(path_.c_str(), found).ok() || !S_ISDIR(found.st_mode)) {
    static_cast<void>(archive_.FileToZip(path_.c_str()));  // it has logged what it left out
    return;
  }
  fcx::WalkedFolder folder{id_of(found)};
  // It has logged that it could not be opened.
  if (parent.leads_to(path_.c_str(), folder)) static_cast<void>(pack_folder(folder));
}

}  // namespace

MakeZipFile::MakeZipFile() : zip_(nullptr), unzip_(nullptr), prefix_length_(0) {}

MakeZipFile::~MakeZipFile() = default;

bool MakeZipFile::OpenZip(char* name) {
  if (name == nullptr) return false;
  CloseZip();
  zip_ = fcx::open_zip(name);
  if (zip_ != nullptr) {
    DOMAIN_INFO("LOGSAVE : creating %s\n", name);
  } else {
    DOMAIN_INFO("LOGSAVE : error opening %s\n", name);
  }
  return zip_ != nullptr;
}

void MakeZipFile::CloseZip() {
  if (zip_ == nullptr) return;
  const fcx::Result closed = fcx::close_zip(std::exchange(zip_, nullptr));
  if (!closed.ok()) DOMAIN_ERROR("%s: not completed: %s\n", __func__, closed.reason());
}

int MakeZipFile::filetime(const void*, const char* name, tm_zip* out) {
  if (name == nullptr || out == nullptr) return 0;
  time_t time = 0;
  const bool is_found = find_time(name, time);
  struct tm local {};
  fcx::local_time(time, local);
  const auto number = [](int value) { return static_cast<uInt>(value); };
  *out = {number(local.tm_sec),  number(local.tm_min), number(local.tm_hour),
          number(local.tm_mday), number(local.tm_mon), number(local.tm_year)};
  return is_found ? 1 : 0;
}

int MakeZipFile::FolderToZip(char* folder, bool root) {
  if (folder == nullptr) return 1;
  const std::string_view path = folder;
  if (root) prefix_length_ = static_cast<int32_t>(path.size());
  return FolderPacker(*this).pack(path);
}

int MakeZipFile::FileToZip(const char* path) {
  if (path == nullptr) return ZIP_INTERNALERROR;
  struct stat found {};
  const fcx::Result looked_up = fcx::look_up(path, found);
  if (leads_nowhere(looked_up)) return 0;
  if (looked_up.ok() &&
      (!S_ISREG(found.st_mode) || fcx::is_open_zip(id_of(found), fcx::ZipUse::writes)))
    return 0;
  if (found.st_size >= kTooLarge) {
    DOMAIN_INFO("LOGSAVE : error in writing %s in the zipfile\n", path);
    return 0;
  }
  zip_fileinfo info{};
  static_cast<void>(filetime(nullptr, path, &info.tmz_date));  // without a time that of time 0
  const bool has_long_sizes = found.st_size >= kNearlyTooLarge;
  if (!open_entry(zip_, entry_name(path, prefix_length_), info, has_long_sizes)) {
    DOMAIN_INFO("LOGSAVE : error in opening %s in zipfile\n", path);
    return 0;
  }
  bool is_written = true;
  fcx::DeviceFile file(path, O_RDONLY);
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kPiece]);
  if (!file.is_open() || !file.is_regular()) {
    DOMAIN_INFO("LOGSAVE : error in opening %s for reading\n", path);
  } else if (buffer == nullptr) {
    DOMAIN_INFO("LOGSAVE : Error allocating memory\n");
  } else {
    is_written = copy_into_entry(zip_, path, file, buffer.get(),
                                 has_long_sizes ? kTooLarge - 1 : kNearlyTooLarge);
  }
  // One that was not written is closed with the archive.
  if (is_written && !close_entry(zip_)) {
    DOMAIN_INFO("LOGSAVE : error in closing %s in the zipfile\n", path);
  }
  return buffer == nullptr ? ZIP_INTERNALERROR : 0;
}

int logsave_makezip(char* zipname, char* folder) {
  if (zipname == nullptr || folder == nullptr) return 1;
  DOMAIN_INFO("LOGSAVE : szFilename = %s szIncludeFolder = %s\n", zipname, folder);
  MakeZipFile archive;
  if (!archive.OpenZip(zipname)) {
    DOMAIN_INFO("%s: Error Opening Zip file (%s)", __func__, zipname);
    return 1;
  }
  const bool is_packed = archive.FolderToZip(folder, true) == 0;
  if (!is_packed) DOMAIN_INFO("%s: Error Opening Directory (%s)", __func__, folder);
  const fcx::Result closed = fcx::close_zip(std::exchange(archive.zip_, nullptr));
  if (is_packed && closed.ok()) return 0;
  if (!closed.ok()) {
    DOMAIN_ERROR("%s: %s is not completed: %s\n", __func__, zipname, closed.reason());
  }
  if (const fcx::Result removed = fcx::remove_device_file(zipname); !removed.ok()) {
    DOMAIN_ERROR("%s: %s stays: %s\n", __func__, zipname, removed.reason());
  }
  return 1;
}
