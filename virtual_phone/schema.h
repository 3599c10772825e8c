// The tables of phone.db. They are meant to be read with sqlite3.
#pragma once

namespace virtual_phone {

constexpr int kApplicationId = 0x46435856;  // "FCXV"
/// Raised with every change that older programs cannot read.
constexpr int kPhoneVersion = 1;

constexpr char kSchema[] = R"(
CREATE TABLE phone(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE build_property(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE property(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE item(number INTEGER PRIMARY KEY, value BLOB NOT NULL);
CREATE TABLE event(id INTEGER PRIMARY KEY, time_us INTEGER NOT NULL, kind TEXT NOT NULL,
                   detail TEXT NOT NULL);
CREATE TABLE fault(id INTEGER PRIMARY KEY AUTOINCREMENT, kind TEXT NOT NULL, target TEXT NOT NULL,
                   operation TEXT NOT NULL, effect TEXT NOT NULL, value INTEGER NOT NULL,
                   remaining INTEGER);
CREATE INDEX fault_target ON fault(kind, target);
)";

}  // namespace virtual_phone
