// The ledger of a production line: which identity belongs to which unit, the numbers that are still
// to be given, and every result. docs/ledger.md tells of it; its tables are in ledger_schema.h.
//
// A unit is known by a key that the station gives it: what is on its board's label, or whatever
// else names it before it has any identity. It must be the same when a station that died starts
// again: by it a number that was drawn for the unit is found.
//
// What is written is there when a call returns, and outlives a power cut. Everything may be said
// again: what is there already stays as it is. So a station that does not know whether something
// was done, since it died or the server did, does it once more. One thread at a time uses a ledger.
//
// Every function throws LedgerError when the ledger cannot be used, and virtual_phone::Refused for
// what makes no sense. None waits longer than ledger_timeout() for a server, but for what
// connecting to it takes.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "station/identity.h"
#include "virtual_phone/core/error.h"

namespace station {

/// The ledger cannot be used, or does not have what was asked for. what() says why, and never shows
/// a password.
class LedgerError : public virtual_phone::Error {
  using Error::Error;
};

/// An identity that a unit has.
struct ClaimedIdentity {
  Identity identity;
  std::string unit;
  std::string station;  ///< that has claimed it
  std::string at;       ///< when, as all times here: "2026-03-01T08:30:00.000Z", by its clock
};

/// Why a unit could not have an identity.
struct ClaimConflict {
  ClaimedIdentity other;  ///< whose it is
  bool is_drawn;          ///< a number that was drawn, and that nobody has claimed yet
};

struct LedgerUnit {
  std::string key;
  std::string station;  ///< that knew it first
  std::string at;
  std::vector<ClaimedIdentity> identities;
};

struct LedgerRun {
  std::string id;
  std::string plan;
  std::string station;
  std::string begun_at;
  std::string ended_at;  ///< empty: not yet
  std::string verdict;   ///< empty: not yet
};

/// A result of one step for one unit. Values and limits are as the station writes them; empty where
/// nothing is measured, or there is no such limit. Of texts, what is no UTF-8, or steers a
/// terminal, is kept as \xNN.
struct LedgerResult {
  std::string run;
  std::string unit;
  int position = 0;  ///< of the result among the unit's in this run, by which it is known
  std::string step;
  std::string verdict;
  std::string value;
  std::string low;
  std::string high;
  std::string at;  ///< when it was measured; empty: now
};

/// Which results; an empty member lets all pass.
struct ResultFilter {
  std::string unit;
  std::string run;
};

struct NumberPool {
  std::string name;
  std::string kind;  ///< of the identities that its numbers are
  int64_t free = 0;
  int64_t drawn = 0;     ///< for a unit, which has not claimed it yet
  int64_t used = 0;      ///< claimed by a unit
  int64_t returned = 0;  ///< drawn and given back; drawn again when no free one is left
};

struct PoolNumber {
  std::string value;
  std::string state;    ///< "free", "drawn", "used", "returned"
  std::string station;  ///< of the last three
  std::string unit;     ///< for which it was drawn, or which has it; empty: for none yet
  std::string at;
};

/// What came of filling a pool.
struct AddedNumbers {
  int64_t added = 0;
  int64_t known = 0;  ///< were in the pool before
  int64_t used = 0;   ///< of those added, what units have already: never drawn
};

/// So many numbers go into a pool at once.
constexpr size_t kMostNumbers = 1'000'000;
/// And so many are drawn.
constexpr size_t kMostDrawn = 1'000;

class Ledger {
 public:
  Ledger() = default;
  virtual ~Ledger() = default;
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  /// Gives a unit these identities: all of them, or none when another has one, or a number among
  /// them was drawn for another. What the unit has already it may claim again. A number of a pool
  /// is used by it from then on.
  /// @return the conflicts; empty when the unit has them
  virtual std::vector<ClaimConflict> claim(const std::string& unit, const std::string& station,
                                           const std::vector<Identity>& identities) = 0;
  /// Who has an identity of this value, of whichever kind it may be.
  virtual std::vector<ClaimedIdentity> find(const std::string& value) = 0;
  /// The numbers of that value, and the pools that they are in.
  virtual std::vector<std::pair<std::string, PoolNumber>> find_number(const std::string& value) = 0;
  /// All units in the order of their keys, or the one of that key.
  virtual void each_unit(const std::string& key,
                         const std::function<void(const LedgerUnit&)>& tell) = 0;

  /// Begins a run. @return its id
  virtual std::string begin_run(const std::string& plan, const std::string& station) = 0;
  /// Ends it. A run that has ended with another verdict is a LedgerError.
  virtual void end_run(const std::string& id, const std::string& verdict) = 0;
  /// Keeps results, all of them or none. Another result at a position that has one is a
  /// LedgerError.
  virtual void record(const std::vector<LedgerResult>& results, const std::string& station) = 0;
  /// Results in the order in which they were recorded, each with its run.
  virtual void each_result(
      const ResultFilter& filter,
      const std::function<void(const LedgerRun&, const LedgerResult&)>& tell) = 0;
  /// All runs, or the one of that id, in the order in which they began.
  virtual std::vector<LedgerRun> runs(const std::string& id) = 0;

  /// Fills a pool, which is made when there is none of that name. A number that another pool has is
  /// Refused.
  virtual AddedNumbers add_numbers(const std::string& pool, const std::string& kind,
                                   const std::vector<std::string>& values) = 0;
  virtual std::vector<NumberPool> pools() = 0;
  /// A pool's numbers, all of them or those in a state, in the order in which they are drawn.
  virtual std::vector<PoolNumber> numbers(const std::string& pool, const std::string& state) = 0;
  /// Draws numbers for a unit, so many or none. Those that the unit uses, or that this station has
  /// drawn for it, count among them: whoever asks again for as many gets the same, in the order of
  /// the pool. Without a unit they are new, and any unit may claim them at this station.
  virtual std::vector<std::string> draw(const std::string& pool, const std::string& unit,
                                        const std::string& station, size_t count) = 0;
  /// Gives a number back that was drawn and is on no phone. One that a unit has is a LedgerError.
  virtual void return_number(const std::string& pool, const std::string& value) = 0;
};

/// What to do where there is no ledger.
enum class NoLedger { make, fail };

/// Opens the ledger in a database file, or in the database that a URL names ("postgresql://...").
/// One of an older version is raised to this one's; a newer one is a LedgerError, and so is a
/// database that is something else's, which stays as it is.
std::unique_ptr<Ledger> open_ledger(const std::string& where, NoLedger otherwise);

/// $FCX_LEDGER, else fcx/ledger.db in $XDG_STATE_HOME, else in .local/state of $HOME. Throws
/// LedgerError when none is set.
std::string default_ledger();
/// A place as it may be shown: a URL without its password.
std::string shown_place(const std::string& where);
/// What this station is called: $FCX_STATION, else the machine's name.
std::string default_station();
/// How long a server may take for an operation: $FCX_LEDGER_TIMEOUT in seconds, 1 to 600, else 10.
/// Throws virtual_phone::Refused for anything else.
std::chrono::seconds ledger_timeout();

}  // namespace station
