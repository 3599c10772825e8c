// The tables of a ledger, in both databases the same. They are meant to be read with sqlite3 or
// psql; docs/ledger.md tells of their columns.
#pragma once

#include <iterator>

namespace station {

/// Of a database file.
constexpr int kLedgerApplicationId = 0x4643584C;  // "FCXL"
/// In which a server's database has the tables.
constexpr const char* kLedgerSchema = "fcx_ledger";

/// What makes the tables of the next version of those before, from nothing on. A step is never
/// changed once ledgers were made with it: a change is a further step. {serial} is a number that
/// the database gives.
constexpr const char* kLedgerSteps[] = {
    R"(
CREATE TABLE unit(key TEXT PRIMARY KEY, station TEXT NOT NULL, known_at TEXT NOT NULL,
                  seen_at TEXT NOT NULL);
CREATE TABLE identity(kind TEXT NOT NULL, value TEXT NOT NULL,
                      unit TEXT NOT NULL REFERENCES unit(key), station TEXT NOT NULL,
                      claimed_at TEXT NOT NULL, PRIMARY KEY(kind, value));
CREATE INDEX identity_unit ON identity(unit);
CREATE INDEX identity_value ON identity(value);
CREATE TABLE run(id TEXT PRIMARY KEY, plan TEXT NOT NULL, station TEXT NOT NULL,
                 begun_at TEXT NOT NULL, ended_at TEXT NOT NULL, verdict TEXT NOT NULL);
CREATE TABLE result(id {serial}, run TEXT NOT NULL REFERENCES run(id),
                    unit TEXT NOT NULL REFERENCES unit(key), position INTEGER NOT NULL,
                    step TEXT NOT NULL, verdict TEXT NOT NULL, value TEXT NOT NULL,
                    low TEXT NOT NULL, high TEXT NOT NULL, measured_at TEXT NOT NULL,
                    UNIQUE(run, unit, position));
CREATE INDEX result_unit ON result(unit);
CREATE TABLE pool(name TEXT PRIMARY KEY, kind TEXT NOT NULL);
CREATE TABLE number(id {serial}, pool TEXT NOT NULL REFERENCES pool(name), kind TEXT NOT NULL,
                    value TEXT NOT NULL,
                    state TEXT NOT NULL CHECK(state IN ('free', 'drawn', 'used', 'returned')),
                    station TEXT NOT NULL, unit TEXT NOT NULL, token TEXT NOT NULL,
                    changed_at TEXT NOT NULL, UNIQUE(kind, value));
CREATE INDEX number_state ON number(pool, state, id);
CREATE INDEX number_holder ON number(unit, token);
CREATE INDEX number_value ON number(value);
)",
};

/// Raised with every change that older programs cannot read.
constexpr int kLedgerVersion = std::size(kLedgerSteps);

}  // namespace station
