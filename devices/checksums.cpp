// Checksums of the code, of files and of the modem's NV items.
#include <fcntl.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <string_view>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/customisation.h"
#include "fcx/device_functions.h"
#include "fcx/version_info.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

using fcx::DeviceFile;
using fcx::ReadResult;
using fcx::Result;

constexpr char kDirectory[] = "/vendor/etc";
constexpr size_t kLongestText = 19;
constexpr size_t kFilePiece = 64 << 10;
constexpr size_t kNamesOfAWalk = 128;

class Crc {
 public:
  void add(std::string_view bytes) {
    value_ = crc32(value_, reinterpret_cast<const Bytef*>(bytes.data()),
                   static_cast<uInt>(bytes.size()));
  }

  /// Adds what a file holds.
  ReadResult add_file(DeviceFile file) {
    std::array<char, kFilePiece> bytes;
    while (true) {
      const ReadResult read = file.read(bytes.data(), bytes.size());
      add({bytes.data(), read.size()});
      if (read.size() < bytes.size()) return read;
    }
  }

  void write_text(char* out20) const {
    snprintf(out20, kLongestText + 1, "0x%08X", static_cast<unsigned>(value_));
  }

 private:
  uLong value_ = crc32(0, nullptr, 0);
};

/// Logs why there is no checksum.
int fail(const char* path, const char* reason) {
  DOMAIN_ERROR("crc_command: %s: %s\n", path, reason);
  return -1;
}

/// Adds a file that is read through the file-handle service, where an empty file is one that is not
/// there.
ReadResult add_through_service(const char* path, Crc& crc) {
  const fcx::PackageCache cache;
  const std::string contents = get_halData_from_file(path);
  crc.add(contents);
  if (!contents.empty()) return ReadResult::content(contents.size());
  return ReadResult::failed(cache.unreadable() == nullptr ? ENOENT : EIO);
}

int add_identifier_files(Crc& crc) {
  using fcx::Identifier;
  for (const Identifier identifier :
       {Identifier::application, Identifier::customisation, Identifier::carrier}) {
    const fcx::IdentifierFile file = fcx::identifier_file(identifier);
    if (file.path == nullptr) return fail("the carrier's identifier", "nobody knows where it is");
    const ReadResult read = file.is_behind_service ? add_through_service(file.path, crc)
                                                   : crc.add_file(DeviceFile(file.path, O_RDONLY));
    const bool may_be_absent = identifier != Identifier::application;
    if (read.has_content() || (may_be_absent && read.is_absent())) continue;
    return fail(file.path, read.reason());
  }
  return 0;
}

using Name = fcx::TextBuffer<NAME_MAX>;

/// Names of a directory in byte order, some at a time: however many there are, no more memory is
/// needed.
class NextNames {
 public:
  /// Walks the directory, and keeps the first names that come after those of the last walk.
  Result walk(const char* directory) {
    const Name last = count_ > 0 ? *order_[count_ - 1] : Name();
    count_ = 0;
    fcx::DeviceDirectory entries(directory);
    while (const char* name = entries.next()) {
      if (name > last.view()) keep(name);
    }
    std::sort_heap(begin(), end(), comes_before);
    return entries.error() == 0 ? Result() : Result::failed(entries.error());
  }

  Name** begin() { return order_.data(); }
  Name** end() { return begin() + count_; }
  /// Whether there may be more of them.
  bool is_full() const { return count_ == order_.size(); }

 private:
  static bool comes_before(const Name* a, const Name* b) { return a->view() < b->view(); }

  /// The last of the names stands first, and gives its place away when there are too many.
  void keep(std::string_view name) {
    if (!is_full()) {
      order_[count_] = &names_[count_];
    } else if (name < order_.front()->view()) {
      std::pop_heap(begin(), end(), comes_before);
      --count_;
    } else {
      return;
    }
    *order_[count_++] = Name(name);
    std::push_heap(begin(), end(), comes_before);
  }

  std::array<Name, kNamesOfAWalk> names_;
  std::array<Name*, kNamesOfAWalk> order_;
  size_t count_ = 0;
};

/// Adds a file of the directory when it is a regular one.
int add_entry(const Name& name, Crc& crc) {
  fcx::TextBuffer<sizeof kDirectory + NAME_MAX> path(kDirectory);
  path.append("/");
  path.append(name.view());
  fcx::FileType type{};
  if (const Result found = fcx::look_up_type(path.c_str(), type); !found.ok()) {
    return fail(path.c_str(), found.reason());
  }
  if (type != fcx::FileType::regular) return 0;
  // What has become a link since then is not followed.
  const ReadResult read = crc.add_file(DeviceFile(path.c_str(), O_RDONLY | O_NOFOLLOW));
  return read.has_content() ? 0 : fail(path.c_str(), read.reason());
}

int add_directory(Crc& crc) {
  NextNames names;
  do {
    if (const Result walked = names.walk(kDirectory); !walked.ok()) {
      return fail(kDirectory, walked.reason());
    }
    for (const Name* name : names) {
      if (add_entry(*name, crc) != 0) return -1;
    }
  } while (names.is_full());
  return 0;
}

/// Writes the checksum that `add` makes.
int write_crc(int (*add)(Crc& crc), char* out20) {
  Crc crc;
  const int result = add(crc);
  if (result == 0) crc.write_text(out20);
  return result;
}

int write_answer(char* out20) {
  fcx::ModemAnswer answer;
  const int code = fcx::ask(fcx::request::nv_crc, {}, answer);
  if (code != 0) {
    DOMAIN_ERROR("crc_command: request %d failed with %d\n", fcx::request::nv_crc, code);
    return -1;
  }
  if (answer.text().empty()) {
    DOMAIN_ERROR("crc_command: request %d has no answer\n", fcx::request::nv_crc);
    return -1;
  }
  const size_t length = answer.text().copy(out20, kLongestText);
  out20[length] = '\0';
  return 0;
}

}  // namespace

int crc_command(int kind, char* out20) {
  if (out20 == nullptr) return -1;
  if (kind == fcx::kCodeChecksum) return write_crc(add_identifier_files, out20);
  if (kind == fcx::kFileChecksum) return write_crc(add_directory, out20);
  if (kind == fcx::kNvChecksum) return write_answer(out20);
  DOMAIN_ERROR("crc_command: there is no checksum %d\n", kind);
  return -1;
}
