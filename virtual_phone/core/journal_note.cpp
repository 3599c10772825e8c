#include "virtual_phone/core/journal_note.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

constexpr std::string_view kJournalSuffix = "-wal";
constexpr char kNoteSuffix[] = "-power";

// The log: a header, then frames of a header and a page. Both headers have the salts.
constexpr int kFrameHeader = 24;
constexpr size_t kSaltsInHeader = 16;
constexpr size_t kSaltsInFrame = 8;

/// The beginning of the index that SQLite's processes share, by its published format.
struct Index {
  uint8_t of_no_concern[14];
  uint16_t page_size;  ///< 1 is 65536
  uint32_t frames;     ///< up to the end of the last transaction
  uint32_t pages;
  uint64_t checksum;
  uint64_t salts;
};
static_assert(offsetof(Index, frames) == 16 && offsetof(Index, salts) == 32);
constexpr int kIndexPart = 32768;

/// A word of the note that has an offset and, above it, how often the offset was taken back.
constexpr int kOffsetBits = 48;
constexpr uint64_t kOffset = (uint64_t{1} << kOffsetBits) - 1;
constexpr uint64_t kTakenBack = uint64_t{1} << kOffsetBits;

/// In memory that all processes share. Killed between any two changes, a process leaves less noted
/// as flushed than is, or a note of no generation that is in the log.
///
/// SQLite lets one connection at a time write, and none begin the log anew while another copies
/// pages back from it. Others may flush the log at any time.
struct Note {
  std::atomic<uint64_t> generation;
  std::atomic<uint64_t> begun;    ///< up to here something was written, or was about to be
  std::atomic<uint64_t> written;  ///< up to here the log does not change
  std::atomic<uint64_t> flushed;  ///< an offset, see above
};
static_assert(std::atomic<uint64_t>::is_always_lock_free, "a lock would be each process's own");
static_assert(sizeof(Note) == 4 * sizeof(uint64_t));

/// A log that SQLite has open. The file of the functions below follows it in the same memory.
struct alignas(8) Journal {
  sqlite3_file file;
  Note* note;
};

sqlite3_vfs* below() {
  static sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
  return usual;
}

Journal* journal_of(sqlite3_file* file) { return reinterpret_cast<Journal*>(file); }

sqlite3_file* below(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(journal_of(file) + 1);
}

/// Makes a function that forwards: `Forward<&sqlite3_vfs::xDelete>::call`.
template <auto function>
struct Forward;

template <typename Result, typename... Arguments,
          Result (*sqlite3_vfs::*function)(sqlite3_vfs*, Arguments...)>
struct Forward<function> {
  static Result call(sqlite3_vfs*, Arguments... arguments) {
    return (below()->*function)(below(), arguments...);
  }
};

template <typename Result, typename... Arguments,
          Result (*sqlite3_io_methods::*function)(sqlite3_file*, Arguments...)>
struct Forward<function> {
  static Result call(sqlite3_file* file, Arguments... arguments) {
    return (below(file)->pMethods->*function)(below(file), arguments...);
  }
};

/// Notes another offset as flushed. A flush that is under way begins anew.
template <typename Change>
void set_flushed(Note& note, Change change) {
  uint64_t known = note.flushed;
  uint64_t next = 0;
  do {
    next = ((known & ~kOffset) + kTakenBack) | change(known & kOffset);
  } while (!note.flushed.compare_exchange_weak(known, next));
}

/// From `offset` on the log will change.
void take_back(Note& note, uint64_t offset) {
  if (offset < note.written) note.written = offset;
  set_flushed(note, [&](uint64_t flushed) { return std::min(flushed, offset); });
}

/// The log is of this generation, and flushed up to `offset`.
void begin(Note& note, uint64_t generation, uint64_t offset) {
  // In this order: a flush under way notes no more than `written`, and what is killed in between
  // leaves less begun than the log holds, or a note that is not of its generation.
  if (offset < note.begun) note.begun = offset;
  if (offset < note.written) note.written = offset;
  set_flushed(note, [&](uint64_t) { return offset; });
  note.written = offset;
  note.begun = offset;
  note.generation = generation;
}

uint64_t salts_at(const void* header, size_t offset) {
  uint64_t salts = 0;
  memcpy(&salts, static_cast<const uint8_t*>(header) + offset, sizeof salts);
  return salts;
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  Note& note = *journal_of(file)->note;
  const auto offset = static_cast<uint64_t>(at);
  if (offset == 0) {
    // All that the log held is in the database file, flushed.
    begin(note, salts_at(bytes, kSaltsInHeader), 0);
  } else if (size == kFrameHeader && salts_at(bytes, kSaltsInFrame) != note.generation) {
    begin(note, salts_at(bytes, kSaltsInFrame), offset);
  } else if (offset > note.begun) {
    begin(note, note.generation, offset);
  }
  const uint64_t end = offset + static_cast<uint64_t>(size);
  if (end > note.begun) note.begun = end;
  const uint64_t written = note.written;
  // What a transaction has left that was not completed.
  if (offset < written) take_back(note, offset);
  const int result = Forward<&sqlite3_io_methods::xWrite>::call(file, bytes, size, at);
  if (result == SQLITE_OK) note.written = std::max(written, end);
  return result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
  take_back(*journal_of(file)->note, static_cast<uint64_t>(size));
  return Forward<&sqlite3_io_methods::xTruncate>::call(file, size);
}

int sync(sqlite3_file* file, int flags) {
  Note& note = *journal_of(file)->note;
  while (true) {
    uint64_t known = note.flushed;
    // After the line above: what is taken back between them is seen below.
    const uint64_t written = note.written;
    const int result = Forward<&sqlite3_io_methods::xSync>::call(file, flags);
    if (result != SQLITE_OK) return result;
    const uint64_t taken_back = known & ~kOffset;
    while ((known & ~kOffset) == taken_back) {
      if ((known & kOffset) >= written) return SQLITE_OK;
      if (note.flushed.compare_exchange_weak(known, taken_back | written)) return SQLITE_OK;
    }
    // Written over meanwhile: nobody knows which bytes were flushed.
  }
}

int close(sqlite3_file* file) {
  // It is mapped: nothing can be refused.
  static_cast<void>(munmap(journal_of(file)->note, sizeof(Note)));
  return Forward<&sqlite3_io_methods::xClose>::call(file);
}

/// Gives a new note the database's owner and mode, as SQLite does with its own files.
void belong_to(int note, const std::string& database) {
  struct stat found {};
  if (stat(database.c_str(), &found) != 0) return;
  // Only root can, and only root need.
  static_cast<void>(fchown(note, found.st_uid, found.st_gid));
  // Whoever may not has made it by the usual mode.
  static_cast<void>(fchmod(note, found.st_mode & 0777));
}

/// Maps the note of a log, and makes it where there is none. Null when that fails.
Note* map_note(std::string_view journal) noexcept {
  const std::string database(journal.substr(0, journal.size() - kJournalSuffix.size()));
  const android::base::unique_fd file(open((database + kNoteSuffix).c_str(),
                                           O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                           0644));
  struct stat found {};
  if (!file.ok() || fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) return nullptr;
  if (found.st_size < static_cast<off_t>(sizeof(Note))) {
    // With its place on the disk: a write to memory could not tell that there is none.
    if (posix_fallocate(file.get(), 0, sizeof(Note)) != 0) return nullptr;
    belong_to(file.get(), database);
  }
  void* mapped = mmap(nullptr, sizeof(Note), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  return mapped == MAP_FAILED ? nullptr : static_cast<Note*>(mapped);
}

template <auto function>
constexpr auto kForward = Forward<function>::call;

using Io = sqlite3_io_methods;

// Of the first version: SQLite maps and locks the database file alone.
const Io kJournalFunctions = {
    1,
    close,
    kForward<&Io::xRead>,
    write,
    truncate,
    sync,
    kForward<&Io::xFileSize>,
    kForward<&Io::xLock>,
    kForward<&Io::xUnlock>,
    kForward<&Io::xCheckReservedLock>,
    kForward<&Io::xFileControl>,
    kForward<&Io::xSectorSize>,
    kForward<&Io::xDeviceCharacteristics>,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

/// Any file but the log is opened as if these functions were not there.
int open_file(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* opened_as) {
  if ((flags & SQLITE_OPEN_WAL) == 0) {
    return below()->xOpen(below(), name, file, flags, opened_as);
  }
  file->pMethods = nullptr;  // what is not open is not closed
  Note* note = map_note(name);
  if (note == nullptr) return SQLITE_CANTOPEN;
  *journal_of(file) = {{nullptr}, note};
  const int result = below()->xOpen(below(), name, below(file), flags, opened_as);
  if (below(file)->pMethods != nullptr) {
    file->pMethods = &kJournalFunctions;
  } else {
    // As in close().
    static_cast<void>(munmap(note, sizeof(Note)));
  }
  return result;
}

sqlite3_vfs functions() {
  using Vfs = sqlite3_vfs;
  Vfs made = *below();
  made.szOsFile += static_cast<int>(sizeof(Journal));
  made.pNext = nullptr;
  made.zName = "fcx-power";
  made.xOpen = open_file;
  made.xDelete = kForward<&Vfs::xDelete>;
  made.xAccess = kForward<&Vfs::xAccess>;
  made.xFullPathname = kForward<&Vfs::xFullPathname>;
  made.xDlOpen = kForward<&Vfs::xDlOpen>;
  made.xDlError = kForward<&Vfs::xDlError>;
  made.xDlSym = kForward<&Vfs::xDlSym>;
  made.xDlClose = kForward<&Vfs::xDlClose>;
  made.xRandomness = kForward<&Vfs::xRandomness>;
  made.xSleep = kForward<&Vfs::xSleep>;
  made.xCurrentTime = kForward<&Vfs::xCurrentTime>;
  made.xGetLastError = kForward<&Vfs::xGetLastError>;
  made.xCurrentTimeInt64 = kForward<&Vfs::xCurrentTimeInt64>;
  made.xSetSystemCall = kForward<&Vfs::xSetSystemCall>;
  made.xGetSystemCall = kForward<&Vfs::xGetSystemCall>;
  made.xNextSystemCall = kForward<&Vfs::xNextSystemCall>;
  return made;
}

}  // namespace

const char* noting_files() {
  // Not destroyed before the last connection is closed.
  static sqlite3_vfs made = functions();
  // Only memory that cannot be had fails it; then nothing can be opened under the name.
  static const int registered = sqlite3_vfs_register(&made, 0);
  static_cast<void>(registered);  // see above
  return made.zName;
}

JournalState journal_state(sqlite3_file* database, sqlite3_file* journal) {
  if (journal == nullptr || journal->pMethods != &kJournalFunctions) return {};
  volatile void* mapped = nullptr;
  const int result = database->pMethods->xShmMap(database, 0, kIndexPart, 0, &mapped);
  if (result != SQLITE_OK) throw Error(std::string("the log's index: ") + sqlite3_errstr(result));
  if (mapped == nullptr) return {};
  Index index{};
  memcpy(&index, const_cast<const void*>(mapped), sizeof index);  // nobody writes it now
  if (index.frames == 0) return {};
  JournalState state;
  state.frame = kFrameHeader + (index.page_size == 1 ? 65536 : uint64_t{index.page_size});
  state.committed = kJournalHeader + index.frames * state.frame;
  const Note& note = *journal_of(journal)->note;
  const bool is_noted = note.generation == index.salts && note.begun >= state.committed;
  state.flushed = is_noted ? std::min(note.flushed & kOffset, state.committed) : state.committed;
  return state;
}

}  // namespace virtual_phone
