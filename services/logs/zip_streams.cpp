#include "services/logs/zip_streams.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "common/files.h"
#include "fcx/sync.h"
#include "platform/immortal.h"
#include "platform/thread_annotations.h"

namespace fcx {
namespace {

/// A device path of the archive's own: its opener's memory may be gone before the archive is
/// closed. Empty for a path too long.
struct OwnPath {
  explicit OwnPath(std::string_view path) {
    if (path.size() < text.size()) path.copy(text.data(), path.size());
  }

  std::array<char, PATH_MAX> text{};
};

/// One open archive. The buffer holds a part of the file: of one that is read, what was read; of
/// one that is written, what is still to be written.
class ZipStream {
 public:
  ZipStream(const char* device_path, ZipUse use);
  ~ZipStream();
  ZipStream(const ZipStream&) = delete;
  ZipStream& operator=(const ZipStream&) = delete;

  /// 0, or the errno value of the first operation that failed. From then on all do.
  int error() const { return error_; }
  int64_t position() const { return position_; }

  size_t read(char* buffer, size_t size);
  size_t write(std::string_view content);
  bool seek(uint64_t distance, int origin);
  /// Writes what is still to be written, and ends it. @return as error()
  int close();

 private:
  friend zipFile fcx::open_zip(const char* device_path);
  friend void fcx::count_entry(zipFile zip);
  friend bool fcx::has_zip_failed(zipFile zip);
  friend bool fcx::is_open_zip(const FileId& file, ZipUse use);

  /// Keeps the first failure. @return whether there was none yet
  bool note(Result result) {
    if (error_ == 0) error_ = result.error();
    return error_ == 0;
  }
  bool go_to(int64_t position);
  bool fill();
  bool flush();
  /// Where minizip's position is in what is buffered; nothing when it is elsewhere.
  std::optional<size_t> place() const;

  OwnPath path_;
  DeviceFile file_;
  ZipUse use_;
  int error_ = 0;
  int64_t size_ = 0;           ///< of the file, with what is still to be written
  int64_t position_ = 0;       ///< as minizip has it
  int64_t file_position_ = 0;  ///< as the file has it
  int64_t buffer_start_ = 0;
  size_t buffered_ = 0;
  std::array<char, 64 << 10> buffer_;
  zipFile zip_ = nullptr;  ///< as minizip has it, of one that is written
  unsigned entries_ = 0;   ///< that were begun in it
  ZipStream* next_ = nullptr;
};

/// The archives that are open now.
struct OpenZips {
  Mutex mutex;
  ZipStream* first GUARDED_BY(mutex) = nullptr;
};

OpenZips& open_zips() { return immortal<OpenZips>(); }

ZipStream::ZipStream(const char* device_path, ZipUse use)
    : path_(device_path),
      file_(path_.text.data(), use == ZipUse::reads ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC,
            0666),
      use_(use) {
  if (!file_.is_open()) {
    error_ = strlen(device_path) < PATH_MAX ? file_.error() : ENAMETOOLONG;
  } else if (!file_.is_regular()) {
    error_ = ENOTSUP;
  } else if (struct stat status{}; use_ == ZipUse::reads && note(file_.status(status))) {
    size_ = status.st_size;
  }
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  next_ = std::exchange(zips.first, this);
}

ZipStream::~ZipStream() {
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  ZipStream** link = &zips.first;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

std::optional<size_t> ZipStream::place() const {
  if (position_ < buffer_start_) return std::nullopt;
  const auto distance = static_cast<uint64_t>(position_ - buffer_start_);
  if (distance > buffered_) return std::nullopt;
  return static_cast<size_t>(distance);
}

bool ZipStream::go_to(int64_t position) {
  if (position == file_position_) return true;
  if (!note(file_.seek(position))) return false;
  file_position_ = position;
  return true;
}

bool ZipStream::fill() {
  // minizip goes back and forth between an entry and the list of all: little of more would be used.
  constexpr size_t kPiece = 16 << 10;
  buffered_ = 0;
  if (!go_to(position_)) return false;
  const ReadResult read = file_.read(buffer_.data(), kPiece);
  if (!read.has_content()) return note(Result::failed(read.error()));
  buffer_start_ = position_;
  buffered_ = read.size();
  file_position_ += static_cast<int64_t>(read.size());
  return buffered_ > 0;
}

size_t ZipStream::read(char* buffer, size_t size) {
  size_t done = 0;
  while (done < size && error_ == 0) {
    const size_t from = place().value_or(buffered_);
    if (from == buffered_) {
      if (!fill()) break;
      continue;
    }
    const size_t taken = std::min(size - done, buffered_ - from);
    memcpy(buffer + done, buffer_.data() + from, taken);
    done += taken;
    position_ += static_cast<int64_t>(taken);
  }
  return done;
}

bool ZipStream::flush() {
  if (buffered_ > 0 && go_to(buffer_start_)) {
    if (note(file_.write({buffer_.data(), buffered_}))) {
      file_position_ += static_cast<int64_t>(buffered_);
    }
  }
  buffered_ = 0;
  return error_ == 0;
}

size_t ZipStream::write(std::string_view content) {
  size_t done = 0;
  while (done < content.size() && error_ == 0) {
    const size_t to = place().value_or(buffer_.size());
    if (to == buffer_.size()) {
      if (!flush()) break;
      buffer_start_ = position_;
      continue;
    }
    const size_t put = content.substr(done).copy(buffer_.data() + to, buffer_.size() - to);
    buffered_ = std::max(buffered_, to + put);
    done += put;
    position_ += static_cast<int64_t>(put);
    size_ = std::max(size_, position_);
  }
  return done;
}

bool ZipStream::seek(uint64_t distance, int origin) {
  const int64_t start = origin == ZLIB_FILEFUNC_SEEK_SET   ? 0
                        : origin == ZLIB_FILEFUNC_SEEK_CUR ? position_
                                                           : size_;
  constexpr auto kFurthest = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (distance > kFurthest - static_cast<uint64_t>(start)) return false;
  position_ = start + static_cast<int64_t>(distance);
  return true;
}

int ZipStream::close() {
  if (use_ == ZipUse::writes && error_ == 0) flush();
  static_cast<void>(note(file_.close()));  // the caller looks at the first failure
  return error_;
}

// What minizip calls. Sizes and results are in its types.

ZipStream* stream_of(voidpf stream) { return static_cast<ZipStream*>(stream); }

/// Leaves errno to the opener of the archive, and the stream in its variable.
voidpf open_stream(voidpf opened, const void* device_path, int mode) {
  const bool is_new = (mode & ZLIB_FILEFUNC_MODE_CREATE) != 0;
  std::unique_ptr<ZipStream> stream(new (std::nothrow) ZipStream(
      static_cast<const char*>(device_path), is_new ? ZipUse::writes : ZipUse::reads));
  const int error = stream == nullptr ? ENOMEM : stream->error();
  if (error == 0) {
    *static_cast<ZipStream**>(opened) = stream.get();
    return stream.release();
  }
  stream.reset();
  errno = error;
  return nullptr;
}

uLong read_stream(voidpf, voidpf stream, void* buffer, uLong size) {
  return stream_of(stream)->read(static_cast<char*>(buffer), size);
}

/// Of a failure minizip is not told before the archive is closed: it would lose the memory of each
/// entry that it then begins. has_zip_failed() tells.
uLong write_stream(voidpf, voidpf stream, const void* content, uLong size) {
  stream_of(stream)->write({static_cast<const char*>(content), size});
  return size;
}

ZPOS64_T tell_stream(voidpf, voidpf stream) {
  return static_cast<ZPOS64_T>(stream_of(stream)->position());
}

long seek_stream(voidpf, voidpf stream, ZPOS64_T distance, int origin) {
  return stream_of(stream)->seek(distance, origin) ? 0 : -1;
}

/// Leaves errno to the closer of the archive: 0 when nothing has failed.
int close_stream(voidpf, voidpf stream) {
  std::unique_ptr<ZipStream> closed(stream_of(stream));
  const int error = closed->close();
  closed.reset();
  errno = error;
  return error == 0 ? 0 : -1;
}

int error_of_stream(voidpf, voidpf stream) { return stream_of(stream)->error() == 0 ? 0 : -1; }

/// @param opened receives the stream that is opened; not used afterwards
zlib_filefunc64_def functions(ZipStream*& opened) {
  return {open_stream, read_stream,  write_stream,    tell_stream,
          seek_stream, close_stream, error_of_stream, &opened};
}

}  // namespace

zipFile open_zip(const char* device_path) {
  ZipStream* stream = nullptr;
  zlib_filefunc64_def ours = functions(stream);
  const zipFile zip = zipOpen2_64(device_path, APPEND_STATUS_CREATE, nullptr, &ours);
  if (zip == nullptr) return nullptr;
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  stream->zip_ = zip;
  return zip;
}

void count_entry(zipFile zip) {
  constexpr unsigned kMost = 65'535;
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  for (ZipStream* each = zips.first; each != nullptr; each = each->next_) {
    // Those that are read have none.
    if (zip == nullptr || each->zip_ != zip || ++each->entries_ <= kMost) continue;
    static_cast<void>(each->note(Result::failed(EOVERFLOW)));  // close_zip() tells
  }
}

bool has_zip_failed(zipFile zip) {
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  for (const ZipStream* each = zips.first; each != nullptr; each = each->next_) {
    if (zip != nullptr && each->zip_ == zip) return each->error_ != 0;
  }
  return false;
}

Result close_zip(zipFile zip) {
  errno = 0;
  if (zipClose(zip, nullptr) == ZIP_OK) return Result();
  return Result::failed(errno != 0 ? errno : EIO);
}

unzFile open_unzip(const char* device_path) {
  ZipStream* stream = nullptr;
  zlib_filefunc64_def ours = functions(stream);
  const unzFile unzip = unzOpen2_64(device_path, &ours);
  // Closed again without a failure: it is no archive.
  if (unzip == nullptr && errno == 0) errno = EINVAL;
  return unzip;
}

bool is_open_zip(const FileId& file, ZipUse use) {
  OpenZips& zips = open_zips();
  const std::lock_guard lock(zips.mutex);
  for (const ZipStream* zip = zips.first; zip != nullptr; zip = zip->next_) {
    if (zip->use_ == use && zip->file_.id() == file) return true;
  }
  return false;
}

}  // namespace fcx
