#include <fcntl.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/make_zip_file.h"
#include "services/logs/zip_streams.h"

namespace {

constexpr size_t kPiece = 16384;
constexpr size_t kLongestName = 255;
constexpr char kSeparators[] = "/\\";
/// Decimal, on purpose: octal 1204.
constexpr mode_t kFolderMode = 644;

using EntryName = fcx::TextBuffer<kLongestName + 1>;

/// What stands after a path's last separator.
std::string_view last_part(std::string_view path) {
  const size_t separator = path.find_last_of(kSeparators);
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

/// Whether a name leads out of the folder that an archive is extracted into.
bool leads_out(std::string_view name) {
  if (name.find_first_of(kSeparators) == 0) return true;
  while (!name.empty()) {
    const std::string_view part = name.substr(0, name.find_first_of(kSeparators));
    if (part == "..") return true;
    name.remove_prefix(std::min(part.size() + 1, name.size()));
  }
  return false;
}

/// The next character of standard input; EOF at its end, and when it cannot be read.
int next_character() {
  int character = getc(stdin);
  while (character == EOF && ferror(stdin) != 0 && errno == EINTR) {
    clearerr(stdin);
    character = getc(stdin);
  }
  return character;
}

/// The first character of the next word of standard input, in upper case; EOF when there is none.
int next_answer() {
  int first = next_character();
  while (isspace(first) != 0) first = next_character();
  for (int rest = first; rest != EOF && isspace(rest) == 0;) rest = next_character();
  return first == EOF ? EOF : toupper(first);
}

/// Whether the target, which is there, is to be replaced.
bool may_replace(const char* target, int* overwrite) {
  for (;;) {
    DOMAIN_INFO("TAVRIN_UNZIP : The file %s exists. Overwrite ? [y]es, [n]o, [A]ll: ", target);
    switch (next_answer()) {
      case 'Y':
        return true;
      case 'N':
        return false;
      case 'A':
        *overwrite = 1;
        return true;
      case EOF:
        // On purpose: nobody is there to answer.
        exit(1);
      default:
        break;
    }
  }
}

/// An entry, and whether its name says in which folder it is.
struct Entry {
  Entry(unzFile opened, bool keeps) : archive(opened), keeps_folders(keeps) {}

  unzFile archive;
  bool keeps_folders;
  unz_file_info64 info{};
  EntryName name;

  /// Where it is extracted to.
  const char* target() const {
    const std::string_view whole = name.view();
    return keeps_folders ? name.c_str() : name.c_str() + whole.size() - last_part(whole).size();
  }
};

/// @return 0, or what do_extract_currentfile() returns
int find_out(Entry& entry) {
  const int error = unzGetCurrentFileInfo64(entry.archive, &entry.info, entry.name.data(),
                                            EntryName::capacity(), nullptr, 0, nullptr, 0);
  if (error != UNZ_OK) {
    DOMAIN_ERROR("TAVRIN_UNZIP : error %d with zipfile in unzGetCurrentFileInfo\n", error);
    return error;
  }
  if (entry.info.size_filename > kLongestName) {
    DOMAIN_ERROR("do_extract_currentfile: a name of %lu characters\n", entry.info.size_filename);
    return -1;
  }
  if (entry.keeps_folders && leads_out(entry.name.view())) {
    DOMAIN_ERROR("do_extract_currentfile: %s leads out of the folder\n", entry.name.c_str());
    return -1;
  }
  return 0;
}

int close_entry(unzFile archive) {
  const int error = unzCloseCurrentFile(archive);
  if (error != UNZ_OK) {
    DOMAIN_INFO("TAVRIN_UNZIP : error %d with zipfile in unzCloseCurrentFile\n", error);
  }
  return error;
}

/// Opens the target, in a folder that is made for it where that is wanted.
void open_target(const Entry& entry, std::optional<fcx::DeviceFile>& file) {
  // Where a link leads is no place of the archive's.
  constexpr int kReplacing = O_WRONLY | O_CREAT | O_NOFOLLOW;
  constexpr mode_t kFileMode = 0666;  // the process's mask decides
  file.emplace(entry.target(), kReplacing, kFileMode);
  const std::string_view name = entry.name.view();
  const size_t folder_length = name.size() - last_part(name).size();
  if (file->is_open() || !entry.keeps_folders || folder_length == 0) return;
  // It has logged its failure, from which the next open fails.
  static_cast<void>(makedir(EntryName(name.substr(0, folder_length - 1)).c_str()));
  file.emplace(entry.target(), kReplacing, kFileMode);
}

/// Copies the open entry into a file, piece by piece.
/// @param checksum of what was copied
int copy_entry(unzFile archive, fcx::DeviceFile& file, char* buffer, uLong& checksum) {
  int size;
  while ((size = unzReadCurrentFile(archive, buffer, kPiece)) > 0) {
    const auto piece = static_cast<size_t>(size);
    if (!file.write({buffer, piece}).ok()) {
      DOMAIN_INFO("TAVRIN_UNZIP : error in writing extracted file\n");
      return UNZ_ERRNO;
    }
    checksum = crc32(checksum, reinterpret_cast<const Bytef*>(buffer), static_cast<uInt>(piece));
  }
  if (size < 0) {
    DOMAIN_INFO("TAVRIN_UNZIP : error %d with zipfile in unzReadCurrentFile\n", size);
  }
  return size;
}

/// Extracts the open entry to its target.
int extract_to_target(const Entry& entry, char* buffer, uLong& checksum) {
  std::optional<fcx::DeviceFile> file;
  open_target(entry, file);
  // An archive is not extracted over itself, of which the rest would be gone.
  if (!file->is_regular() || fcx::is_open_zip(file->id(), fcx::ZipUse::reads) ||
      !file->make_empty().ok()) {
    DOMAIN_INFO("TAVRIN_UNZIP : error opening %s\n", entry.target());
    return -1;
  }
  DOMAIN_INFO("TAVRIN_UNZIP : extracting: %s\n", entry.target());
  int error = copy_entry(entry.archive, *file, buffer, checksum);
  if (!file->close().ok() && error == UNZ_OK) {
    DOMAIN_INFO("TAVRIN_UNZIP : error in writing extracted file\n");
    error = UNZ_ERRNO;
  }
  // The disk has room for others then.
  if (const fcx::Result removed =
          error == UNZ_ERRNO ? fcx::remove_device_file(entry.target()) : fcx::Result();
      !removed.ok()) {
    DOMAIN_ERROR("do_extract_currentfile: %s: %s\n", entry.target(), removed.reason());
  }
  return error;
}

/// Extracts the open entry and closes it.
int extract_file(const Entry& entry, char* buffer) {
  uLong checksum = crc32(0, nullptr, 0);
  const int extracted = extract_to_target(entry, buffer, checksum);
  const int closed = close_entry(entry.archive);
  if (extracted != UNZ_OK) return extracted;
  // minizip compares it only when there is all that the entry declares.
  if (closed != UNZ_OK || checksum == entry.info.crc) return closed;
  DOMAIN_ERROR("do_extract_currentfile: %s is not what was packed\n", entry.name.c_str());
  return UNZ_CRCERROR;
}

/// @return 0, or why a folder could not be made
int make_folder(const char* folder) {
  const fcx::Result made = fcx::make_device_directory(folder, kFolderMode);
  return made.error() == EEXIST ? 0 : made.error();
}

}  // namespace

int makedir(const char* path) {
  if (path == nullptr || path[0] == '\0') return 0;
  const size_t size = strlen(path) + 1;
  const std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
  if (copy == nullptr) {
    DOMAIN_ERROR("TAVRIN_UNZIP : Error allocating memory\n");
    return UNZ_INTERNALERROR;
  }
  char* const folder = copy.get();
  memcpy(folder, path, size);
  if (size > 2 && folder[size - 2] == '/') folder[size - 2] = '\0';
  if (make_folder(folder) == 0) return 1;
  int error = 0;
  for (size_t i = 1; i < size; ++i) {
    const char separator = folder[i];
    if (separator != '\0' && strchr(kSeparators, separator) == nullptr) continue;
    folder[i] = '\0';
    error = make_folder(folder);
    if (error == ENOENT) {
      DOMAIN_ERROR("TAVRIN_UNZIP : couldn't makedir directory %s\n", folder);
      return 0;
    }
    if (separator == '\0') break;
    folder[i] = separator;
  }
  if (error != 0) DOMAIN_ERROR("%s: %s: %s\n", __func__, folder, strerror(error));
  return 1;
}

int do_extract_currentfile(unzFile uf, int* without_path, int* overwrite, const char* password) {
  if (uf == nullptr || without_path == nullptr || overwrite == nullptr) return UNZ_PARAMERROR;
  Entry entry(uf, *without_path == 0);
  if (const int error = find_out(entry); error != 0) return error;
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kPiece]);
  if (buffer == nullptr) {
    DOMAIN_INFO("TAVRIN_UNZIP : Error allocating memory\n");
    return UNZ_INTERNALERROR;
  }
  if (last_part(entry.name.view()).empty()) {
    if (!entry.keeps_folders) return 0;
    DOMAIN_INFO("TAVRIN_UNZIP : creating directory: %s\n", entry.name.c_str());
    static_cast<void>(makedir(entry.name.c_str()));  // it has logged its failure
    return 0;
  }
  // With a password minizip takes every entry for an encrypted one.
  const bool is_encrypted = (entry.info.flag & 1) != 0;
  const int opened = unzOpenCurrentFilePassword(uf, is_encrypted ? password : nullptr);
  if (opened != UNZ_OK) {
    DOMAIN_ERROR("TAVRIN_UNZIP : error %d with zipfile in unzOpenCurrentFilePassword\n", opened);
    return opened;
  }
  const bool is_replaced = *overwrite != 0 ||
                           fcx::presence_of(entry.target()) == fcx::Presence::absent ||
                           may_replace(entry.target(), overwrite);
  return is_replaced ? extract_file(entry, buffer.get()) : close_entry(uf);
}

bool MakeZipFile::OpenUnZip(char* name) {
  if (name == nullptr) return false;
  static_cast<void>(CloseUnZip());  // of one that was only read
  unzip_ = fcx::open_unzip(name);
  if (unzip_ != nullptr) {
    DOMAIN_INFO("LOGSAVE : OpenUnZip creating %s\n", name);
  } else {
    DOMAIN_ERROR("LOGSAVE : OpenUnZip error %s : (%s)\n", name, strerror(errno));
  }
  return unzip_ != nullptr;
}

int MakeZipFile::CloseUnZip() {
  return unzip_ == nullptr ? 0 : unzClose(std::exchange(unzip_, nullptr));
}

int MakeZipFile::FolderFromZip(int without_path, int overwrite, const char* password) {
  unz_global_info64 all{};
  if (const int error = unzGetGlobalInfo64(unzip_, &all); error != UNZ_OK) {
    DOMAIN_ERROR("%s: error %d with zipfile in unzGetGlobalInfo64\n", __func__, error);
    return 2;
  }
  for (ZPOS64_T i = 0; i < all.number_entry; ++i) {
    // Of a first one that is not found its extraction tells.
    if (i == 0) static_cast<void>(unzGoToFirstFile(unzip_));
    const int error = i == 0 ? UNZ_OK : unzGoToNextFile(unzip_);
    if (error != UNZ_OK) {
      DOMAIN_ERROR("%s: error %d with zipfile in unzGoToNextFile\n", __func__, error);
      return 1;
    }
    if (do_extract_currentfile(unzip_, &without_path, &overwrite, password) != 0) return 1;
  }
  return 0;
}
