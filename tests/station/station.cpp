// A station for tests: for each line UNIT of standard input it draws a number from a pool and
// claims it for the unit, in one ledger for all of them. It prints "UNIT NUMBER", or "UNIT !WHY".
//
//   fcx_test_station LEDGER STATION POOL KIND
#include <cstdio>
#include <iostream>
#include <string>

#include "station/ledger.h"

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const std::string where = argv[1], name = argv[2], pool = argv[3], kind = argv[4];
  std::unique_ptr<station::Ledger> ledger;
  for (std::string unit; std::getline(std::cin, unit);) {
    std::string told;
    try {
      if (ledger == nullptr) ledger = station::open_ledger(where, station::NoLedger::fail);
      told = ledger->draw(pool, unit, name, 1).front();
      if (!ledger->claim(unit, name, {{kind, told}}).empty()) told = "!conflict";
    } catch (const std::exception& error) {
      told = std::string("!") + error.what();
    }
    printf("%s %s\n", unit.c_str(), told.c_str());
    if (fflush(stdout) != 0) return 1;
  }
}
