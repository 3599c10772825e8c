#include "virtual_phone/core/database.h"

#include <sqlite3.h>

#include <chrono>
#include <thread>

#include "virtual_phone/core/journal_note.h"

namespace virtual_phone {
namespace {

/// How a writer waits for another process's write: often at first, so that a process which writes
/// without a pause cannot keep it out, then about five seconds in longer steps.
int wait_for_writer(void*, int attempt) {
  constexpr int kOften = 200;
  constexpr int kMost = kOften + 5000;
  if (attempt >= kMost) return 0;
  // Steps of different lengths, so that the two do not fall into step.
  const int step_us = attempt < kOften ? 100 + attempt * 37 % 100 : 1000;
  std::this_thread::sleep_for(std::chrono::microseconds(step_us));
  return 1;
}

/// A file's name as a URI, whose own marks would else be taken for the URI's.
std::string uri_of(const std::filesystem::path& file) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : file.string()) {
    if (c == '%' || c == '?' || c == '#') {
      uri += '%';
      uri += kDigits[c >> 4];
      uri += kDigits[c & 15];
    } else {
      uri += c;
    }
  }
  return uri;
}

/// Throws what `result`, the code of a call that has just failed, stands for.
[[noreturn]] void fail(sqlite3* database, int result) {
  const char* file = sqlite3_db_filename(database, "main");
  const std::string name = file == nullptr || *file == '\0' ? "phone.db" : file;
  // The connection knows more than the code says, unless it has not heard of the failure.
  const bool is_known = sqlite3_errcode(database) == result;
  const std::string reason = is_known ? sqlite3_errmsg(database) : sqlite3_errstr(result);
  switch (result) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw Error(name + " is locked by another process. Wait for it, or end it.");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      throw DamagedDatabase(
          name + " is damaged (" + reason +
              "). Keep a copy if its content matters; `fcx init --force` makes a new phone.",
          reason);
    default:
      throw Error(name + ": " + reason);
  }
}

/// A null pointer would be neither text nor blob but NULL.
const char* not_null(std::string_view bytes) { return bytes.data() == nullptr ? "" : bytes.data(); }

/// A pipe in the place of one of a database's files would let its opener wait.
void check_are_regular(const std::filesystem::path& file) {
  const auto check = [&](const char* suffix) {
    const std::filesystem::path each = file.string() + suffix;
    const std::filesystem::file_status found = std::filesystem::status(each);
    if (!std::filesystem::exists(found) || std::filesystem::is_regular_file(found)) return;
    throw Error(each.string() + " is no regular file, as a database's must be. Remove it.");
  };
  for (const char* suffix : kDatabaseSuffixes) check(suffix);
  for (const char* suffix : kPowerSuffixes) check(suffix);
}

}  // namespace

Query::~Query() {
  // What the last step met is told again: step() has thrown it.
  static_cast<void>(sqlite3_reset(statement_));
  // A statement is not in use any more here: nothing can be refused.
  static_cast<void>(sqlite3_clear_bindings(statement_));
}

Query& Query::is_bound(int result) {
  if (result != SQLITE_OK) fail(sqlite3_db_handle(statement_), result);
  return *this;
}

Query& Query::bind(int64_t number) {
  return is_bound(sqlite3_bind_int64(statement_, ++bound_, number));
}

Query& Query::bind(std::string_view text) {
  return is_bound(sqlite3_bind_text64(statement_, ++bound_, not_null(text), text.size(),
                                      SQLITE_TRANSIENT, SQLITE_UTF8));
}

Query& Query::bind(const Query& row, int column) {
  return is_bound(
      sqlite3_bind_value(statement_, ++bound_, sqlite3_column_value(row.statement_, column)));
}

bool Query::is_same_row(const Query& other) const {
  for (int column = 0; column < columns(); ++column) {
    if (sqlite3_column_type(statement_, column) != sqlite3_column_type(other.statement_, column) ||
        blob(column) != other.blob(column)) {
      return false;
    }
  }
  return columns() == other.columns();
}

int Query::columns() const { return sqlite3_column_count(statement_); }

Query& Query::bind_blob(std::string_view bytes) {
  return is_bound(
      sqlite3_bind_blob64(statement_, ++bound_, not_null(bytes), bytes.size(), SQLITE_TRANSIENT));
}

bool Query::step() {
  const int result = sqlite3_step(statement_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) fail(sqlite3_db_handle(statement_), result);
  return result == SQLITE_ROW;
}

int64_t Query::number(int column) const { return sqlite3_column_int64(statement_, column); }

std::string Query::text(int column) const { return std::string(blob(column)); }

std::string_view Query::blob(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  // Null is an empty value, too.
  sqlite3* database = sqlite3_db_handle(statement_);
  if (bytes == nullptr && sqlite3_errcode(database) == SQLITE_NOMEM) fail(database, SQLITE_NOMEM);
  return {bytes, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

void Database::Close::operator()(sqlite3* database) const {
  // A destructor cannot throw. Every statement is gone before its connection, so that it closes.
  static_cast<void>(sqlite3_close(database));
}

void Database::Finalize::operator()(sqlite3_stmt* statement) const {
  // It tells again what the last step met.
  static_cast<void>(sqlite3_finalize(statement));
}

Database::Database(const std::filesystem::path& file, const std::string& opened_as, int flags,
                   const char* file_functions) {
  check_are_regular(file);
  sqlite3* opened = nullptr;
  const int result =
      sqlite3_open_v2(opened_as.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, file_functions);
  database_.reset(opened);
  if (opened == nullptr) throw Error(file.string() + ": out of memory");
  if (result != SQLITE_OK) throw Error(file.string() + ": " + sqlite3_errmsg(opened));
  const int set = sqlite3_busy_handler(opened, wait_for_writer, nullptr);
  if (set != SQLITE_OK) fail(opened, set);
}

Database::Database(const std::filesystem::path& file, Survives survives, bool create)
    : Database(file, file.string(), SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0),
               noting_files()) {
  if (create) {
    use_log();
  } else {
    execute("PRAGMA schema_version");
  }
  // FULL flushes each commit to disk; NORMAL leaves it to the system, which outlives a killed
  // process.
  execute(survives == Survives::power_cut ? "PRAGMA synchronous=FULL"
                                          : "PRAGMA synchronous=NORMAL");
}

Database Database::to_look_at(const std::filesystem::path& file) {
  // SQLite makes its files beside a database even to read it, unless it is told that nobody writes.
  // Nobody does where none of them is there.
  const bool is_in_use = std::filesystem::exists(file.string() + "-wal");
  return {file, uri_of(file) + (is_in_use ? "" : "?immutable=1"),
          SQLITE_OPEN_READONLY | SQLITE_OPEN_URI};
}

Database Database::copied(const std::filesystem::path& file) {
  Database database(file, file.string(), SQLITE_OPEN_READWRITE);
  const int set =
      sqlite3_db_config(database.database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  if (set != SQLITE_OK) fail(database.database_.get(), set);
  // SQLite's index of the log is then in its own memory.
  database.execute("PRAGMA locking_mode=EXCLUSIVE");
  return database;
}

Database Database::not_of_a_phone(const std::filesystem::path& file, bool create) {
  Database database(file, file.string(), SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0));
  database.execute("PRAGMA synchronous=FULL");
  return database;
}

Query Database::query(const char* sql) {
  auto& statement = statements_[sql];
  if (statement == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    const int result =
        sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    if (result != SQLITE_OK) fail(database_.get(), result);
    statement.reset(prepared);
  }
  return Query(statement.get());
}

void Database::execute(const char* sql) {
  const int result = sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) fail(database_.get(), result);
}

void Database::use_log() {
  const auto change = [&] {
    return sqlite3_exec(database_.get(), "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
  };
  // SQLite itself waits for nobody here, not even for another process that does the same.
  int result = change();
  for (int attempt = 0; result == SQLITE_BUSY && wait_for_writer(nullptr, attempt) != 0;
       ++attempt) {
    result = change();
  }
  if (result != SQLITE_OK) fail(database_.get(), result);
}

bool Database::is_empty() {
  Query tables = query("SELECT count(*) FROM sqlite_master");
  return tables.step() && tables.number(0) == 0;
}

Database::OpenFiles Database::open_files() {
  const auto opened = [&](int which) {
    sqlite3_file* file = nullptr;
    const int result = sqlite3_file_control(database_.get(), "main", which, &file);
    if (result != SQLITE_OK) fail(database_.get(), result);
    return file == nullptr || file->pMethods == nullptr ? nullptr : file;
  };
  return {opened(SQLITE_FCNTL_FILE_POINTER), opened(SQLITE_FCNTL_JOURNAL_POINTER)};
}

void Database::flush_log() {
  sqlite3_file* log = open_files().journal;
  if (log == nullptr) return;
  const int result = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
  if (result != SQLITE_OK) throw Error(std::string("the log: ") + sqlite3_errstr(result));
}

int Database::changes() const { return sqlite3_changes(database_.get()); }

int Database::all_changes() const { return sqlite3_total_changes(database_.get()); }

int64_t Database::last_id() const { return sqlite3_last_insert_rowid(database_.get()); }

Transaction::Transaction(Database& database) : database_(database) {
  database_.query("BEGIN IMMEDIATE").run();
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.execute("ROLLBACK");
  } catch (const std::exception&) {
    // The failure that led here has rolled back already.
  }
}

void Transaction::commit() {
  database_.query("COMMIT").run();
  open_ = false;
}

}  // namespace virtual_phone
