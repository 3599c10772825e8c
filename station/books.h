// What a run of a plan asks of the ledger, and notes in it. Its units do so at once, each on a
// thread of its own.
//
// A unit is known by the key that the plan's variable has for it, or by the run's id and its number
// in the run. Whoever takes up the work of a station that died in a run gives its units' keys,
// first of all, to the first units of its own: so these get the numbers that were drawn for them.
#pragma once

#include <android-base/unique_fd.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/thread_annotations.h"
#include "station/ledger.h"
#include "station/plan.h"

namespace station {

/// What came of a claim.
struct Claimed {
  std::string why_not;  ///< empty: the unit has the identity
  std::string whose;    ///< the key of the unit that has it instead; empty: of none
};

class Books {
 public:
  /// Begins a run. A second run of the same station in the same ledger, while this one lasts on the
  /// machine, is a LedgerError: the two would draw the same numbers.
  /// @param where the ledger's place, and `station` the name that claims and draws
  Books(const std::string& where, std::string station, const Plan& plan);

  const std::string& run() const { return run_; }
  const std::string& station() const { return station_; }

  /// A key for a unit that has none of its own.
  std::string key_of(uint64_t unit);
  /// The numbers for the plan's variables from pools. Throws LedgerError.
  Values draw(const std::string& key);
  /// Claims an identity for a unit; `kind` is one of kIdentities. Throws LedgerError.
  Claimed claim(const std::string& key, const std::string& kind, const std::string& value);
  /// Keeps a result: at once, or with others as soon as another unit is done with the ledger.
  /// Throws LedgerError.
  void note(LedgerResult result);
  /// Returns when all that was noted is kept. Throws LedgerError.
  void settle();
  /// Ends the run. Without it, the next one takes up what was left. Throws LedgerError.
  void end(const std::string& verdict);

 private:
  void take_up(const Plan& plan) REQUIRES(ledger_mutex_);
  void keep_noted() REQUIRES(ledger_mutex_);
  void keep_waiting();
  bool has_noted();

  const std::string station_;
  const std::string plan_;
  android::base::unique_fd lock_;  ///< that there is one run of the station
  std::mutex ledger_mutex_;
  std::unique_ptr<Ledger> ledger_ GUARDED_BY(ledger_mutex_);
  std::string run_;
  std::map<std::string, std::vector<std::string>> pools_;   ///< with the variables that draw there
  std::deque<std::string> left_ GUARDED_BY(ledger_mutex_);  ///< keys of units of a run that died
  std::set<std::string> died_ GUARDED_BY(ledger_mutex_);    ///< runs
  std::mutex noted_mutex_;
  std::vector<LedgerResult> noted_ GUARDED_BY(noted_mutex_);
};

}  // namespace station
