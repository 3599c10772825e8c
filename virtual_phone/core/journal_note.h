// How far SQLite's write-ahead log of a database is flushed, noted beside it for all processes that
// have it open. SQLite reaches its files through functions that note what they forward.
//
// Of a database in this mode, what a power cut leaves is the database file and the flushed part of
// the log: SQLite flushes the log before it copies pages back from it, and the database file before
// it begins the log anew. So only the log's writes and flushes are noted.
//
// Whoever writes past these functions, as `sqlite3` does, is taken to have flushed all: so is what
// was in the log before there was a note, and what a log holds whose beginning nobody has noted.
#pragma once

#include <cstdint>

struct sqlite3_file;

namespace virtual_phone {

/// The name of SQLite's file functions that note, for sqlite3_open_v2(). The note of "phone.db" is
/// "phone.db-power", of the database's owner and mode, 32 bytes; opening fails where none can be
/// made.
const char* noting_files();

/// How far a log goes, in bytes from its beginning.
struct JournalState {
  uint64_t committed = 0;  ///< the end of the last transaction that was completed
  uint64_t flushed = 0;    ///< what a power cut leaves of that
  uint64_t frame = 0;      ///< the size of a frame: a page with its header
};

constexpr uint64_t kJournalHeader = 32;

/// Of a database that the caller's connection holds the write lock of, see Transaction. Both files
/// are that connection's. A log that is not open through noting_files(), or none, counts as empty.
JournalState journal_state(sqlite3_file* database, sqlite3_file* journal);

}  // namespace virtual_phone
