#include "station/ledger_database.h"

namespace station {

std::unique_ptr<LedgerDatabase> open_postgres_ledger(const std::string& url, NoLedger) {
  throw LedgerError("this build has no PostgreSQL, and cannot open " + shown_place(url) +
                    ". Build with FCX_POSTGRESQL, or use a ledger in a file.");
}

}  // namespace station
