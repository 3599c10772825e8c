// The database that a ledger is in. The statements are the same for all; where one needs another
// word there, it is in braces, and each database puts its own in.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/ledger.h"

namespace station {

using Row = std::vector<std::string>;

struct Rows {
  std::vector<Row> rows;
  int64_t changed = 0;  ///< of a statement that writes
};

/// What stands in a statement, and what a database puts there.
using Words = std::vector<std::pair<std::string_view, std::string_view>>;

std::string with_words(std::string text, const Words& words);

class LedgerDatabase {
 public:
  LedgerDatabase() = default;
  virtual ~LedgerDatabase() = default;
  LedgerDatabase(const LedgerDatabase&) = delete;
  LedgerDatabase& operator=(const LedgerDatabase&) = delete;

  /// Writes that happen together, or not at all where `work` returns false or throws. It may be
  /// called again from its beginning, when a server was gone or others were in the way.
  virtual void change(const std::function<bool()>& work) = 0;
  /// Reads. The same.
  virtual void look(const std::function<void()>& work) = 0;

  /// Runs a statement, inside of one of the two: `sql` lives as long as the program, its values are
  /// $1 and so on.
  virtual Rows run(const char* sql, const Row& values) = 0;
};

std::unique_ptr<LedgerDatabase> open_sqlite_ledger(const std::string& file, NoLedger otherwise);
std::unique_ptr<LedgerDatabase> open_postgres_ledger(const std::string& url, NoLedger otherwise);

/// The password that is in a URL, and the parts of it that may be taken for something else where
/// its marks are not encoded: to be hidden from what is shown. The longest come first.
std::vector<std::string> secrets_of(const std::string& url);

/// What to say of a ledger that is not there, is something else's, or was made by a newer program.
LedgerError no_ledger(const std::string& where);
LedgerError foreign_ledger(const std::string& where);
LedgerError newer_ledger(const std::string& where, int64_t version);

}  // namespace station
