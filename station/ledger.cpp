#include "station/ledger.h"

#include <algorithm>
#include <map>

#include "station/ledger_database.h"
#include "station/ledger_text.h"

namespace station {
namespace {

using virtual_phone::Refused;

constexpr char kInsertUnit[] =
    // Written in any case: the row is locked, and so what is done for one unit comes one after
    // another.
    "INSERT INTO unit(key, station, known_at, seen_at) VALUES($1, $2, $3, $3) "
    "ON CONFLICT(key) DO UPDATE SET seen_at = excluded.seen_at";

constexpr char kClaim[] =
    "INSERT INTO identity(kind, value, unit, station, claimed_at) VALUES($1, $2, $3, $4, $5) "
    "ON CONFLICT(kind, value) DO NOTHING";
constexpr char kWhose[] =
    "SELECT kind, value, unit, station, claimed_at FROM identity WHERE kind = $1 AND value = $2";
constexpr char kUse[] =
    "UPDATE number SET state = 'used', unit = $3, station = $4, token = '', changed_at = $5 "
    "WHERE kind = $1 AND value = $2 AND (state IN ('free', 'returned') OR "
    "state = 'drawn' AND (unit = $3 OR unit = '' AND station = $4))";
constexpr char kDrawnForOther[] =
    "SELECT kind, value, unit, station, changed_at FROM number "
    "WHERE kind = $1 AND value = $2 AND NOT (state = 'used' AND unit = $3)";

constexpr char kUnits[] =
    "SELECT unit.key, unit.station, unit.known_at, identity.kind, identity.value, "
    "identity.station, identity.claimed_at "
    "FROM (SELECT * FROM unit WHERE key > $1 ORDER BY key LIMIT 1000) AS unit "
    "LEFT JOIN identity ON identity.unit = unit.key "
    "ORDER BY unit.key, identity.kind, identity.value";
constexpr char kUnit[] =
    "SELECT unit.key, unit.station, unit.known_at, identity.kind, identity.value, "
    "identity.station, identity.claimed_at "
    "FROM unit LEFT JOIN identity ON identity.unit = unit.key WHERE unit.key = $1 "
    "ORDER BY identity.kind, identity.value";

constexpr char kBeginRun[] =
    "INSERT INTO run(id, plan, station, begun_at, ended_at, verdict) "
    "VALUES($1, $2, $3, $4, '', '') ON CONFLICT(id) DO NOTHING";
constexpr char kEndRun[] =
    "UPDATE run SET ended_at = $2, verdict = $3 WHERE id = $1 AND ended_at = ''";
constexpr char kRun[] =
    "SELECT id, plan, station, begun_at, ended_at, verdict FROM run WHERE id = $1";
constexpr char kRuns[] =
    "SELECT id, plan, station, begun_at, ended_at, verdict FROM run ORDER BY begun_at, id";
constexpr char kRecord[] =
    "INSERT INTO result(run, unit, position, step, verdict, value, low, high, measured_at) "
    "VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9) ON CONFLICT(run, unit, position) DO NOTHING";
constexpr char kRecorded[] =
    "SELECT step, verdict, value, low, high FROM result "
    "WHERE run = $1 AND unit = $2 AND position = $3";
constexpr char kResults[] =
    "SELECT result.id, result.run, result.unit, result.position, result.step, result.verdict, "
    "result.value, result.low, result.high, result.measured_at, run.plan, run.station, "
    "run.begun_at, run.ended_at, run.verdict "
    "FROM result JOIN run ON run.id = result.run WHERE result.id > $1 AND "
    "($2 = '' OR result.unit = $2) AND ($3 = '' OR result.run = $3) "
    "ORDER BY result.id LIMIT 1000";

constexpr char kLockClaims[] = "{lock claims}";
constexpr char kInsertPool[] =
    "INSERT INTO pool(name, kind) VALUES($1, $2) ON CONFLICT(name) DO NOTHING";
constexpr char kKindOfPool[] = "SELECT kind FROM pool WHERE name = $1";
constexpr char kInOtherPool[] =
    "SELECT number.value, number.pool FROM number "
    "JOIN {each}(CAST($3 AS {json})) AS list ON number.value = list.value "
    "WHERE number.kind = $2 AND number.pool <> $1 LIMIT 1";
constexpr char kAddNumbers[] =
    "INSERT INTO number(pool, kind, value, state, station, unit, token, changed_at) "
    "SELECT CAST($1 AS TEXT), CAST($2 AS TEXT), list.value, 'free', '', '', '', "
    "CAST($4 AS TEXT) FROM {each}(CAST($3 AS {json})) AS list WHERE true "
    "ON CONFLICT(kind, value) DO NOTHING";
constexpr char kUseClaimed[] =
    "UPDATE number SET state = 'used', unit = identity.unit, station = identity.station, "
    "changed_at = identity.claimed_at FROM identity "
    "WHERE number.pool = $1 AND number.state = 'free' AND "
    "identity.kind = number.kind AND identity.value = number.value";
constexpr char kPools[] =
    "SELECT pool.name, pool.kind, number.state, COUNT(number.id) FROM pool "
    "LEFT JOIN number ON number.pool = pool.name GROUP BY pool.name, pool.kind, number.state "
    "ORDER BY pool.name";
constexpr char kNumbers[] =
    "SELECT value, state, station, unit, changed_at FROM number "
    "WHERE pool = $1 AND ($2 = '' OR state = $2) ORDER BY id";
constexpr char kNumbersOfValue[] =
    "SELECT value, state, station, unit, changed_at, pool FROM number "
    "WHERE kind = $1 AND value = $2";
constexpr char kHeld[] =
    "SELECT id, value FROM number WHERE unit = $2 AND token = $3 AND pool = $1 AND "
    "(state = 'used' OR state = 'drawn' AND station = $4) ORDER BY id LIMIT $5";
// In this order. A number whose drawing is not completed is passed over at first, and waited for
// when there is no other: it may become free again.
constexpr const char* kDraws[] = {
    "WITH picked AS MATERIALIZED (SELECT id FROM number WHERE pool = $1 AND state = 'free' "
    "ORDER BY id LIMIT $6 {skip locked}) "
    "UPDATE number SET state = 'drawn', unit = $2, token = $3, station = $4, changed_at = $5 "
    "FROM picked WHERE number.id = picked.id RETURNING number.id, number.value",
    "WITH picked AS MATERIALIZED (SELECT id FROM number WHERE pool = $1 AND state = 'returned' "
    "ORDER BY id LIMIT $6 {skip locked}) "
    "UPDATE number SET state = 'drawn', unit = $2, token = $3, station = $4, changed_at = $5 "
    "FROM picked WHERE number.id = picked.id RETURNING number.id, number.value",
    "WITH picked AS MATERIALIZED (SELECT id FROM number WHERE pool = $1 AND "
    "state IN ('free', 'returned') ORDER BY id LIMIT $6 {lock}) "
    "UPDATE number SET state = 'drawn', unit = $2, token = $3, station = $4, changed_at = $5 "
    "FROM picked WHERE number.id = picked.id RETURNING number.id, number.value",
};
constexpr char kReturn[] =
    "UPDATE number SET state = 'returned', station = '', unit = '', token = '', changed_at = $3 "
    "WHERE pool = $1 AND value = $2 AND state = 'drawn'";
constexpr char kNumber[] = "SELECT state, unit FROM number WHERE pool = $1 AND value = $2";

ClaimedIdentity claimed_of(const Row& row) { return {{row[0], row[1]}, row[2], row[3], row[4]}; }

LedgerRun run_of(const Row& row, size_t at = 0) {
  return {row[at], row[at + 1], row[at + 2], row[at + 3], row[at + 4], row[at + 5]};
}

PoolNumber number_of(const Row& row) { return {row[0], row[1], row[2], row[3], row[4]}; }

/// The forms in which a value would be kept, one for each kind that it can be of.
std::vector<Identity> readings_of(const std::string& value) {
  std::vector<Identity> readings;
  for (const IdentityKind& kind : identity_kinds()) {
    try {
      readings.push_back({kind.name, normal_value(kind, value)});
    } catch (const Refused&) {
      // It is of another kind.
    }
  }
  return readings;
}

class SqlLedger : public Ledger {
 public:
  explicit SqlLedger(std::unique_ptr<LedgerDatabase> database) : database_(std::move(database)) {}

  std::vector<ClaimConflict> claim(const std::string& unit, const std::string& station,
                                   const std::vector<Identity>& identities) override;
  std::vector<ClaimedIdentity> find(const std::string& value) override;
  std::vector<std::pair<std::string, PoolNumber>> find_number(const std::string& value) override;
  void each_unit(const std::string& key,
                 const std::function<void(const LedgerUnit&)>& tell) override;

  std::string begin_run(const std::string& plan, const std::string& station) override;
  void end_run(const std::string& id, const std::string& verdict) override;
  void record(const std::vector<LedgerResult>& results, const std::string& station) override;
  void each_result(const ResultFilter& filter,
                   const std::function<void(const LedgerRun&, const LedgerResult&)>& tell) override;
  std::vector<LedgerRun> runs(const std::string& id) override;

  AddedNumbers add_numbers(const std::string& pool, const std::string& kind,
                           const std::vector<std::string>& values) override;
  std::vector<NumberPool> pools() override;
  std::vector<PoolNumber> numbers(const std::string& pool, const std::string& state) override;
  std::vector<std::string> draw(const std::string& pool, const std::string& unit,
                                const std::string& station, size_t count) override;
  void return_number(const std::string& pool, const std::string& value) override;

 private:
  Rows run(const char* sql, const Row& values) { return database_->run(sql, values); }

  /// The rows of one statement that reads.
  std::vector<Row> rows(const char* sql, const Row& values) {
    std::vector<Row> found;
    database_->look([&] { found = run(sql, values).rows; });
    return found;
  }

  const IdentityKind& kind_of_pool(const std::string& pool) {
    const auto found = rows(kKindOfPool, {pool});
    if (found.empty()) throw LedgerError("no pool is called \"" + pool + "\"");
    return identity_kind(found.front().front());
  }

  std::unique_ptr<LedgerDatabase> database_;
};

std::vector<ClaimConflict> SqlLedger::claim(const std::string& unit, const std::string& station,
                                            const std::vector<Identity>& identities) {
  const std::string key = plain_name(unit, "the key of a unit");
  const std::string place = plain_name(station, "the name of a station");
  std::vector<Identity> wanted;
  for (const Identity& each : identities) {
    wanted.push_back({each.kind, normal_value(identity_kind(each.kind), each.value)});
  }
  // Two who claim the same ones take them in the same order, and none waits for the other for ever.
  std::sort(wanted.begin(), wanted.end());
  const std::string now = time_now();
  std::vector<ClaimConflict> conflicts;
  database_->change([&] {
    conflicts.clear();
    run(kInsertUnit, {key, place, now});
    for (const auto& [kind, value] : wanted) {
      if (run(kClaim, {kind, value, key, place, now}).changed == 0) {
        const auto whose = run(kWhose, {kind, value}).rows;
        if (whose.empty()) throw LedgerError(kind + " " + value + " was taken out of the ledger");
        if (whose.front()[2] != key) conflicts.push_back({claimed_of(whose.front()), false});
        continue;
      }
      if (run(kUse, {kind, value, key, place, now}).changed > 0) continue;
      const auto drawn = run(kDrawnForOther, {kind, value, key}).rows;
      if (!drawn.empty()) conflicts.push_back({claimed_of(drawn.front()), true});
    }
    return conflicts.empty();
  });
  return conflicts;
}

std::vector<ClaimedIdentity> SqlLedger::find(const std::string& value) {
  std::vector<ClaimedIdentity> found;
  for (const auto& [kind, normal] : readings_of(value)) {
    for (const Row& row : rows(kWhose, {kind, normal})) found.push_back(claimed_of(row));
  }
  return found;
}

std::vector<std::pair<std::string, PoolNumber>> SqlLedger::find_number(const std::string& value) {
  std::vector<std::pair<std::string, PoolNumber>> found;
  for (const auto& [kind, normal] : readings_of(value)) {
    for (const Row& row : rows(kNumbersOfValue, {kind, normal})) {
      found.emplace_back(row[5], number_of(row));
    }
  }
  return found;
}

void SqlLedger::each_unit(const std::string& key,
                          const std::function<void(const LedgerUnit&)>& tell) {
  LedgerUnit unit;
  const auto tell_rows = [&](const std::vector<Row>& found) {
    for (const Row& row : found) {
      if (row[0] != unit.key) {
        if (!unit.key.empty()) tell(unit);
        unit = {row[0], row[1], row[2], {}};
      }
      if (!row[3].empty()) {
        unit.identities.push_back({{row[3], row[4]}, row[0], row[5], row[6]});
      }
    }
  };
  if (!key.empty()) {
    tell_rows(rows(kUnit, {key}));
  } else {
    for (;;) {
      const auto found = rows(kUnits, {unit.key});
      if (found.empty()) break;
      tell_rows(found);
    }
  }
  if (!unit.key.empty()) tell(unit);
}

std::string SqlLedger::begin_run(const std::string& plan, const std::string& station) {
  const std::string name = plain_name(plan, "the name of a plan");
  const std::string place = plain_name(station, "the name of a station");
  const std::string id = random_key();
  const std::string now = time_now();
  database_->change([&] {
    run(kBeginRun, {id, name, place, now});
    return true;
  });
  return id;
}

void SqlLedger::end_run(const std::string& id, const std::string& verdict) {
  const std::string told = plain_name(verdict, "a verdict");
  const std::string now = time_now();
  database_->change([&] {
    if (run(kEndRun, {id, now, told}).changed > 0) return true;
    const auto found = run(kRun, {id}).rows;
    if (found.empty()) throw LedgerError("no run has the id \"" + id + "\"");
    const std::string ended = run_of(found.front()).verdict;
    if (ended == told) return false;
    throw LedgerError("the run " + id + " has ended with " + ended + ", and cannot with " + told);
  });
}

void SqlLedger::record(const std::vector<LedgerResult>& results, const std::string& station) {
  const std::string place = plain_name(station, "the name of a station");
  const std::string now = time_now();
  std::vector<Row> wanted;
  for (const LedgerResult& each : results) {
    wanted.push_back(
        {each.run, plain_name(each.unit, "the key of a unit"), std::to_string(each.position),
         plain_text(each.step), plain_name(each.verdict, "a verdict"), plain_text(each.value),
         plain_text(each.low), plain_text(each.high), each.at.empty() ? now : plain_text(each.at)});
  }
  // As with claims.
  std::vector<std::string> units;
  for (const Row& each : wanted) units.push_back(each[1]);
  std::sort(units.begin(), units.end());
  units.erase(std::unique(units.begin(), units.end()), units.end());
  database_->change([&] {
    for (const std::string& unit : units) run(kInsertUnit, {unit, place, now});
    for (const Row& each : wanted) {
      if (run(kRun, {each[0]}).rows.empty()) {
        throw LedgerError("no run has the id \"" + plain_text(each[0]) + "\"");
      }
      if (run(kRecord, each).changed > 0) continue;
      const auto there = run(kRecorded, {each[0], each[1], each[2]}).rows;
      if (there.size() == 1 && there.front() == Row(each.begin() + 3, each.begin() + 8)) continue;
      throw LedgerError("the run " + each[0] + " has another result of " + each[1] +
                        " at position " + each[2] + " already");
    }
    return true;
  });
}

void SqlLedger::each_result(
    const ResultFilter& filter,
    const std::function<void(const LedgerRun&, const LedgerResult&)>& tell) {
  for (std::string last = "0";;) {
    const auto found = rows(kResults, {last, filter.unit, filter.run});
    if (found.empty()) return;
    for (const Row& row : found) {
      const LedgerRun run = {row[1], row[10], row[11], row[12], row[13], row[14]};
      tell(run,
           {row[1], row[2], std::stoi(row[3]), row[4], row[5], row[6], row[7], row[8], row[9]});
    }
    last = found.back().front();
  }
}

std::vector<LedgerRun> SqlLedger::runs(const std::string& id) {
  std::vector<LedgerRun> found;
  for (const Row& row : id.empty() ? rows(kRuns, {}) : rows(kRun, {id})) {
    found.push_back(run_of(row));
  }
  return found;
}

AddedNumbers SqlLedger::add_numbers(const std::string& pool, const std::string& kind,
                                    const std::vector<std::string>& values) {
  const std::string name = plain_name(pool, "the name of a pool");
  const IdentityKind& wanted = identity_kind(kind);
  if (values.size() > kMostNumbers) {
    throw Refused("a pool takes at most " + std::to_string(kMostNumbers) + " numbers at once");
  }
  std::vector<std::string> normal;
  for (const std::string& value : values) normal.push_back(normal_value(wanted, value));
  const std::string now = time_now();
  AddedNumbers sum;
  // In parts, for none of which a server takes long. Whoever is interrupted adds all of them again.
  constexpr size_t kPart = 10'000;
  size_t begin = 0;
  do {
    const size_t end = std::min(begin + kPart, normal.size());
    const std::string list = json_array({normal.begin() + begin, normal.begin() + end});
    AddedNumbers part;
    database_->change([&] {
      part = {};
      // A claim that comes at the same moment comes before all of this, or after it.
      run(kLockClaims, {});
      run(kInsertPool, {name, kind});
      const std::string there = run(kKindOfPool, {name}).rows.at(0).at(0);
      if (there != kind) throw Refused("the numbers of " + name + " are " + there);
      const auto other = run(kInOtherPool, {name, kind, list}).rows;
      if (!other.empty()) {
        throw Refused(kind + " " + other[0][0] + " is in the pool " + other[0][1] + " already");
      }
      part.added = run(kAddNumbers, {name, kind, list, now}).changed;
      part.known = static_cast<int64_t>(end - begin) - part.added;
      part.used = run(kUseClaimed, {name}).changed;
      return true;
    });
    sum = {sum.added + part.added, sum.known + part.known, sum.used + part.used};
    begin = end;
  } while (begin < normal.size());
  return sum;
}

std::vector<NumberPool> SqlLedger::pools() {
  std::vector<NumberPool> found;
  for (const Row& row : rows(kPools, {})) {
    if (found.empty() || found.back().name != row[0]) {
      found.emplace_back();
      found.back().name = row[0];
      found.back().kind = row[1];
    }
    NumberPool& pool = found.back();
    const std::pair<const char*, int64_t*> counts[] = {{"free", &pool.free},
                                                       {"drawn", &pool.drawn},
                                                       {"used", &pool.used},
                                                       {"returned", &pool.returned}};
    for (const auto& [state, count] : counts) {
      if (row[2] == state) *count = std::stoll(row[3]);
    }
  }
  return found;
}

std::vector<PoolNumber> SqlLedger::numbers(const std::string& pool, const std::string& state) {
  static_cast<void>(kind_of_pool(pool));  // throws where there is no such pool
  std::vector<PoolNumber> found;
  for (const Row& row : rows(kNumbers, {pool, state})) found.push_back(number_of(row));
  return found;
}

std::vector<std::string> SqlLedger::draw(const std::string& pool, const std::string& unit,
                                         const std::string& station, size_t count) {
  if (count < 1 || count > kMostDrawn) {
    throw Refused("1 to " + std::to_string(kMostDrawn) + " numbers are drawn at once, not " +
                  std::to_string(count));
  }
  const std::string key = unit.empty() ? "" : plain_name(unit, "the key of a unit");
  const std::string place = plain_name(station, "the name of a station");
  // By which a drawing without a unit is known, if it has to be done again.
  const std::string token = key.empty() ? random_key() : "";
  static_cast<void>(kind_of_pool(pool));  // throws where there is no such pool
  const std::string now = time_now();
  std::map<int64_t, std::string> drawn;  // in the order of the pool
  database_->change([&] {
    if (!key.empty()) run(kInsertUnit, {key, place, now});
    drawn.clear();
    const auto add = [&](const Rows& found) {
      for (const Row& row : found.rows) drawn.emplace(std::stoll(row[0]), row[1]);
    };
    add(run(kHeld, {pool, key, token, place, std::to_string(count)}));
    for (const char* draw : kDraws) {
      const std::string missing = std::to_string(count - drawn.size());
      if (missing == "0") break;
      add(run(draw, {pool, key, token, place, now, missing}));
    }
    if (drawn.size() == count) return true;
    throw LedgerError("the pool " + pool + " has " + std::to_string(drawn.size()) + " of the " +
                      std::to_string(count) + " numbers that were asked for: none was drawn");
  });
  std::vector<std::string> values;
  for (auto& [id, value] : drawn) values.push_back(std::move(value));
  return values;
}

void SqlLedger::return_number(const std::string& pool, const std::string& value) {
  const std::string normal = normal_value(kind_of_pool(pool), value);
  const std::string now = time_now();
  database_->change([&] {
    if (run(kReturn, {pool, normal, now}).changed > 0) return true;
    const auto found = run(kNumber, {pool, normal}).rows;
    if (found.empty()) throw LedgerError("the pool " + pool + " has no number " + normal);
    if (found.front()[0] != "used") return false;
    throw LedgerError(normal + " is the unit's " + found.front()[1] + ": it stays used");
  });
}

}  // namespace

std::unique_ptr<Ledger> open_ledger(const std::string& where, NoLedger otherwise) {
  const size_t scheme = where.find("://");
  if (where.empty()) throw Refused("the place of the ledger is empty");
  if (scheme == std::string::npos) {
    return std::make_unique<SqlLedger>(open_sqlite_ledger(where, otherwise));
  }
  const std::string name = where.substr(0, scheme);
  if (name != "postgresql" && name != "postgres") {
    throw Refused("a ledger is in a file, or at postgresql://, not at " + plain_text(name) + "://");
  }
  return std::make_unique<SqlLedger>(open_postgres_ledger(where, otherwise));
}

}  // namespace station
