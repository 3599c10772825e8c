// What came of a run of a test plan, for people and programs.
#pragma once

#include <optional>
#include <string>

#include "station/run.h"
#include "tools/json.h"

namespace cli {

struct StationReport {
  const station::Plan& plan;
  const station::RunResult& run;
  std::string file;               ///< the plan's
  std::string station;            ///< the name of the station
  std::optional<std::string> id;  ///< of the run in the ledger
  bool has_own_keys = false;      ///< units have keys of the plan's
  bool mask = false;              ///< identities are shown in part
  std::string problem;            ///< why the ledger has not all of it; empty when it has

  bool has_passed() const { return run.passed == run.units.size() && run.not_begun == 0; }
};

Json station_json(const StationReport& report);
std::string station_junit(const StationReport& report);
/// On standard output: a table of the units, what has not passed, and a summary.
void print_station(const StationReport& report);

}  // namespace cli
