// A ledger in a database file.
#include <filesystem>
#include <map>
#include <optional>

#include "station/ledger_database.h"
#include "station/ledger_schema.h"
#include "virtual_phone/core/database.h"

namespace station {
namespace {

namespace fs = std::filesystem;
using virtual_phone::Database;
using virtual_phone::Query;
using virtual_phone::Transaction;

// One process at a time writes: nothing is locked beside that. Values are found by their numbers.
const Words kWords = {{"{serial}", "INTEGER PRIMARY KEY"},
                      {"{skip locked}", ""},
                      {"{lock}", ""},
                      {"{lock claims}", "SELECT 1"},
                      {"{each}", "json_each"},
                      {"{json}", "TEXT"},
                      {"$", "?"}};

class SqliteLedger : public LedgerDatabase {
 public:
  SqliteLedger(const std::string& file, NoLedger otherwise) : file_(file) {
    told([&] {
      if (!is_there()) {
        if (otherwise == NoLedger::fail) throw no_ledger(file);
        const fs::path folder = fs::path(file).parent_path();
        if (!folder.empty()) fs::create_directories(folder);
      }
      database_.emplace(Database::not_of_a_phone(file, otherwise == NoLedger::make));
      raise(otherwise);
    });
  }

  void change(const std::function<bool()>& work) override {
    told([&] {
      Transaction transaction(*database_);
      check_is_there();
      if (work()) transaction.commit();
    });
  }

  void look(const std::function<void()>& work) override { told(work); }

  Rows run(const char* sql, const Row& values) override {
    std::string& words = statements_[sql];
    if (words.empty()) words = with_words(sql, kWords);
    Query query = database_->query(words.c_str());
    for (const std::string& value : values) query.bind(value);
    const int before = database_->all_changes();
    Rows found;
    while (query.step()) {
      Row& row = found.rows.emplace_back();
      for (int column = 0; column < query.columns(); ++column) row.push_back(query.text(column));
    }
    found.changed = database_->all_changes() - before;
    return found;
  }

 private:
  /// Does what may fail, and says of a failure that it is the ledger's.
  template <typename Work>
  void told(Work work) {
    try {
      work();
    } catch (const LedgerError&) {
      throw;
    } catch (const virtual_phone::DamagedDatabase& error) {
      throw LedgerError(file_ + " is no ledger, or a damaged one (" + error.reason() +
                        "): left as it is. docs/ledger.md says how to go on from a backup.");
    } catch (const virtual_phone::Error& error) {
      throw LedgerError("the ledger " + std::string(error.what()));
    } catch (const fs::filesystem_error& error) {
      throw LedgerError("the ledger " + file_ + ": " + error.code().message());
    }
  }

  bool is_there() const { return fs::exists(fs::status(file_)); }

  /// What is written to a file that was removed is gone with it.
  void check_is_there() const {
    if (!is_there()) throw LedgerError(file_ + " was removed meanwhile: nothing was written.");
  }

  int64_t pragma(const char* sql) {
    Query query = database_->query(sql);
    return query.step() ? query.number(0) : 0;
  }

  int64_t checked_version() {
    // In this order: tables that another process makes in between are a ledger's.
    const bool is_empty = database_->is_empty();
    const bool is_ours = pragma("PRAGMA application_id") == kLedgerApplicationId;
    if (!is_ours && !is_empty) throw foreign_ledger(file_);
    const int64_t version = is_ours ? pragma("PRAGMA user_version") : 0;
    if (version > kLedgerVersion) throw newer_ledger(file_, version);
    return version;
  }

  void raise(NoLedger otherwise) {
    int64_t version = checked_version();
    if (version == 0 && otherwise == NoLedger::fail) throw no_ledger(file_);
    if (version == 0) database_->use_log();
    database_->execute("PRAGMA foreign_keys=ON");
    if (version == kLedgerVersion) return;
    Transaction transaction(*database_);
    // Looked at again under the write lock: another process may have been faster.
    for (version = checked_version(); version < kLedgerVersion; ++version) {
      database_->execute(with_words(kLedgerSteps[version], kWords).c_str());
    }
    const auto set = [&](const char* name, int value) {
      database_->execute((std::string("PRAGMA ") + name + "=" + std::to_string(value)).c_str());
    };
    set("application_id", kLedgerApplicationId);
    set("user_version", kLedgerVersion);
    transaction.commit();
  }

  std::string file_;
  std::optional<Database> database_;
  std::map<const char*, std::string> statements_;
};

}  // namespace

std::unique_ptr<LedgerDatabase> open_sqlite_ledger(const std::string& file, NoLedger otherwise) {
  return std::make_unique<SqliteLedger>(file, otherwise);
}

}  // namespace station
