#include "virtual_phone/core/roll_back.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "virtual_phone/core/journal_note.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

/// What a phone keeps: a table, in the order of its first column, and how to write it anew.
struct Kept {
  const char* select;
  const char* clear;
  const char* insert;
};

constexpr Kept kKept[] = {
    {"SELECT * FROM item ORDER BY 1", "DELETE FROM item", "INSERT INTO item VALUES(?, ?)"},
    {"SELECT * FROM property WHERE substr(name, 1, 8) = 'persist.' ORDER BY 1",
     "DELETE FROM property WHERE substr(name, 1, 8) = 'persist.'",
     "INSERT INTO property VALUES(?, ?)"},
    {"SELECT * FROM build_property ORDER BY 1", "DELETE FROM build_property",
     "INSERT INTO build_property VALUES(?, ?)"},
    {"SELECT * FROM modem_value ORDER BY 1", "DELETE FROM modem_value",
     "INSERT INTO modem_value VALUES(?, ?)"},
    {"SELECT * FROM modem_nv ORDER BY 1", "DELETE FROM modem_nv",
     "INSERT INTO modem_nv VALUES(?, ?, ?)"},
    {"SELECT * FROM sim ORDER BY 1", "DELETE FROM sim", "INSERT INTO sim VALUES(?, ?, ?, ?)"},
};

bool is_same(Query one, Query other) {
  while (true) {
    const bool is_row = one.step();
    if (other.step() != is_row) return false;
    if (!is_row) return true;
    if (!one.is_same_row(other)) return false;
  }
}

/// Makes what `live` keeps what `image` has. @return whether something differed
bool restore(Database& live, Database& image) {
  bool differed = false;
  for (const auto& [select, clear, insert] : kKept) {
    if (is_same(live.query(select), image.query(select))) continue;
    differed = true;
    live.query(clear).run();
    Query row = image.query(select);
    while (row.step()) {
      Query written = live.query(insert);
      for (int column = 0; column < row.columns(); ++column) written.bind(row, column);
      written.run();
    }
  }
  return differed;
}

void check(int result, const fs::path& file) {
  if (result != SQLITE_OK) throw Error(file.string() + ": " + sqlite3_errstr(result));
}

/// Copies a file that SQLite has open, at most so many bytes of it.
void copy(sqlite3_file* from, const fs::path& to, uint64_t most) {
  sqlite3_int64 size = 0;
  check(from->pMethods->xFileSize(from, &size), to);
  std::string piece;
  constexpr uint64_t kPiece = 1 << 20;
  std::ofstream out(to, std::ios::binary);
  const uint64_t end = std::min(static_cast<uint64_t>(size), most);
  for (uint64_t offset = 0; out && offset < end; offset += piece.size()) {
    piece.resize(std::min(end - offset, kPiece));
    check(from->pMethods->xRead(from, piece.data(), static_cast<int>(piece.size()),
                                static_cast<sqlite3_int64>(offset)),
          to);
    out << piece;
  }
  if (out) out.close();
  if (!out) throw Error(to.string() + ": " + strerror(errno));
}

/// How much of the log is left. A torn one ends within a frame.
uint64_t left_of(const JournalState& journal, Unflushed unflushed) {
  if (unflushed == Unflushed::dropped) return journal.flushed;
  const auto frames = [&](uint64_t end) {
    return (std::max(end, kJournalHeader) - kJournalHeader) / journal.frame;
  };
  const uint64_t flushed = frames(journal.flushed);
  const uint64_t left = flushed + (frames(journal.committed) - flushed) / 2;
  return kJournalHeader + left * journal.frame + journal.frame / 2;
}

/// A copy of a database as a power cut leaves it, beside it. Only one is made at a time: its maker
/// holds the write lock.
class Image {
 public:
  Image(const Database::OpenFiles& files, fs::path file, Unflushed unflushed)
      : file_(std::move(file)) {
    remove();
    // Pages that are copied back to the database file meanwhile are of the part of the log that
    // was flushed before: so that part is looked at afterwards.
    copy(files.database, file_, UINT64_MAX);
    const JournalState journal = journal_state(files.database, files.journal);
    copy(files.journal, journal_file(), left_of(journal, unflushed));
  }
  ~Image() { remove(); }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  Database open() const { return Database::copied(file_); }

 private:
  fs::path journal_file() const { return file_.string() + "-wal"; }
  void remove() const {
    // What stays takes room, and goes before the next is made.
    std::error_code ignored;
    fs::remove(file_, ignored);
    fs::remove(journal_file(), ignored);
  }

  fs::path file_;
};

/// Makes what the phone keeps what a power cut leaves. @return whether something differed
bool restore(Phone& phone, Database& live, Unflushed unflushed) {
  const Image image(live.open_files(), phone.directory() / (std::string(kDatabaseName) + "-cut"),
                    unflushed);
  Database opened = image.open();
  return restore(live, opened);
}

/// A log of this size is read and copied in about a millisecond.
constexpr uint64_t kLongJournal = 512 * 1024;

/// Carries a power cut out. @return how long the log was
uint64_t roll_back(Phone& phone, Database& live, Unflushed unflushed) {
  Transaction transaction(live);
  const Database::OpenFiles files = live.open_files();
  const JournalState journal = journal_state(files.database, files.journal);
  if (journal.flushed == journal.committed) return journal.committed;
  if (unflushed != Unflushed::kept && restore(phone, live, unflushed)) {
    transaction.commit();
  } else {
    // What a power cut has left once, the next one leaves, too.
    check(files.journal->pMethods->xSync(files.journal, SQLITE_SYNC_NORMAL), kDatabaseName);
  }
  return journal.committed;
}

}  // namespace

void roll_back_unsynced(Phone& phone, Unflushed unflushed) {
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  Database& live = phone.durable();
  const uint64_t length = roll_back(phone, live, unflushed);
  // The next one finds less to copy.
  if (length > kLongJournal) live.execute("PRAGMA wal_checkpoint(PASSIVE)");
}

}  // namespace virtual_phone
