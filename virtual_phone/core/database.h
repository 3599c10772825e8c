// SQLite with owners. Every function throws Error, which says what happened, when the database
// cannot do its work.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "virtual_phone/core/error.h"

struct sqlite3;
struct sqlite3_file;
struct sqlite3_stmt;

namespace virtual_phone {

/// A database file that is damaged, or none. reason() says in which way; what() speaks of a
/// phone's.
class __attribute__((visibility("default"))) DamagedDatabase : public Error {
 public:
  DamagedDatabase(const std::string& what, std::string reason)
      : Error(what), reason_(std::move(reason)) {}
  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

/// A run of one prepared statement: bind, step, read, and it is ready for the next.
class Query {
 public:
  explicit Query(sqlite3_stmt* statement) : statement_(statement) {}
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // What is larger than a value can be (10^9 bytes), or more than the statement takes, is an Error.
  Query& bind(int64_t number);
  Query& bind(std::string_view text);
  Query& bind_blob(std::string_view bytes);

  /// Goes to the next row. False when there is none.
  bool step();
  /// Runs a statement that gives no rows.
  void run() { static_cast<void>(step()); }

  int64_t number(int column) const;
  std::string text(int column) const;
  /// Bytes that live until the next step.
  std::string_view blob(int column) const;

  /// Binds what a column of another query's row has, whatever its type.
  Query& bind(const Query& row, int column);
  /// Whether the rows of two queries have the same columns, types and bytes included.
  bool is_same_row(const Query& other) const;
  int columns() const;

 private:
  Query& is_bound(int result);

  sqlite3_stmt* statement_;
  int bound_ = 0;
};

/// What SQLite adds to a database's name for its files.
constexpr const char* kDatabaseSuffixes[] = {"", "-wal", "-shm", "-journal"};

/// And what the phone adds: the note of what is flushed, and a copy as a power cut leaves it.
constexpr const char* kPowerSuffixes[] = {"-power", "-cut", "-cut-wal"};

class Database {
 public:
  /// What a completed write outlives.
  enum class Survives { power_cut, kill };

  /// Opens an existing database file, or makes a new one.
  Database(const std::filesystem::path& file, Survives survives, bool create = false);
  /// Opens an existing database file to look at it. Changes nothing, and leaves nothing beside it.
  static Database to_look_at(const std::filesystem::path& file);
  /// Opens a copy of a database's files that nobody else has open. The log is read, never copied
  /// back.
  static Database copied(const std::filesystem::path& file);
  /// Opens a database that is not a phone's, or makes an empty file for one: nothing but SQLite's
  /// own files stands beside it. What is written outlives a power cut.
  static Database not_of_a_phone(const std::filesystem::path& file, bool create);

  /// A statement, prepared once for this connection. One run of it at a time.
  Query query(const char* sql);
  /// Runs statements that take and give nothing.
  void execute(const char* sql);
  /// Has this database write to a log from now on, so that readers and a writer do not wait for
  /// each other. It stays so.
  void use_log();
  /// Rows that the last statement changed.
  int changes() const;
  /// Rows that were changed since it was opened.
  int all_changes() const;
  int64_t last_id() const;
  /// Makes durable what was written to the database so far, over whichever connection.
  void flush_log();
  /// Whether it has no table at all, as one whose making was interrupted.
  bool is_empty();

  /// Files that SQLite has open. It alone may open the first one: closing it gives up the process's
  /// locks of the database.
  struct OpenFiles {
    sqlite3_file* database;
    sqlite3_file* journal;  ///< the write-ahead log, or null
  };
  OpenFiles open_files();

 private:
  Database(const std::filesystem::path& file, const std::string& opened_as, int flags,
           const char* file_functions = nullptr);

  struct Close {
    void operator()(sqlite3* database) const;
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
  std::map<const char*, std::unique_ptr<sqlite3_stmt, Finalize>> statements_;
};

/// Writes that happen together or not at all. Holds the phone's write lock from the start, so that
/// what is read inside still holds when it is written.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace virtual_phone
