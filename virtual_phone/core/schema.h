// The tables of phone.db. They are meant to be read with sqlite3.
#pragma once

#include <iterator>

namespace virtual_phone {

constexpr int kApplicationId = 0x46435856;  // "FCXV"

/// What makes the tables of the next version of those before, from nothing on. A step is never
/// changed once phones were made with it: a change is a further step.
constexpr const char* kSchemaSteps[] = {
    R"(
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
)",
    // The modem. modem_run holds what a restart ends, in one row.
    R"(
CREATE TABLE modem_value(name TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;
CREATE TABLE modem_nv(item INTEGER PRIMARY KEY, state TEXT NOT NULL, value BLOB NOT NULL);
CREATE TABLE modem_run(one INTEGER PRIMARY KEY CHECK(one = 1), reset_us INTEGER NOT NULL,
                       area BLOB NOT NULL, position INTEGER NOT NULL, uploading INTEGER NOT NULL);
CREATE TABLE modem_request(id INTEGER PRIMARY KEY AUTOINCREMENT, time_us INTEGER NOT NULL,
                           opcode INTEGER NOT NULL, payload BLOB NOT NULL, code INTEGER NOT NULL,
                           status INTEGER NOT NULL, answer_length INTEGER NOT NULL,
                           answer BLOB NOT NULL, overlapped INTEGER NOT NULL);
)",
    // The SIM, in one row; none is no SIM. sim_run holds what a restart ends.
    R"(
CREATE TABLE sim(one INTEGER PRIMARY KEY CHECK(one = 1), state TEXT NOT NULL, iccid BLOB NOT NULL,
                 not_yet INTEGER NOT NULL);
CREATE TABLE sim_run(one INTEGER PRIMARY KEY CHECK(one = 1), polls INTEGER NOT NULL);
)",
    // Faults may begin later, and what was called an opcode of the modem link is a request.
    R"(
ALTER TABLE fault ADD COLUMN strikes_from INTEGER NOT NULL DEFAULT 1;
UPDATE fault SET kind = 'request' WHERE kind = 'opcode';
)",
    // System control: nodes and properties, see raise.cpp. A reboot was two events, and its reason
    // was not called one.
    R"(
DELETE FROM event WHERE kind = 'restart' AND EXISTS(
  SELECT 1 FROM event AS reboot WHERE reboot.id = event.id - 1 AND reboot.kind = 'reboot'
                                      AND reboot.detail = event.detail);
UPDATE event SET detail = 'restart, reason ' || substr(detail, 9)
  WHERE kind = 'reboot' AND detail LIKE 'restart _%';
)",
    // The SD card: nodes and directories, see raise.cpp.
    "",
    // The display, logs and programs: likewise.
    "",
    // What is not flushed, see power/unflushed.h: of data and of names of files what was there
    // when they were last flushed, in the file unflushed/ID.
    R"(
CREATE TABLE unflushed(id INTEGER PRIMARY KEY AUTOINCREMENT, path TEXT NOT NULL, what TEXT NOT NULL,
                       flushed TEXT NOT NULL, UNIQUE(path, what));
)",
    // The SIM's IMSI, and a build property of the maker, see raise.cpp.
    R"(
ALTER TABLE sim ADD COLUMN imsi TEXT NOT NULL DEFAULT '';
)",
};

/// Raised with every change that older programs cannot read.
constexpr int kPhoneVersion = std::size(kSchemaSteps);

}  // namespace virtual_phone
