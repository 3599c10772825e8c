// Collects the logs of a phone, and prints how much memory that has taken at most, in KiB:
// fcx_collecting PHONE
#include <cstdio>
#include <fstream>
#include <string>

#include "benchmarks/bench_phone.h"
#include "fcx/log_collection.h"
#include "virtual_phone/core/phone.h"

namespace {

/// Of this process's own memory: what its parent had counts in getrusage().
long peak_kib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    long kib = 0;
    if (sscanf(line.c_str(), "VmHWM: %ld", &kib) == 1) return kib;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  virtual_phone::select(argv[1]);
  bench::drop_log_lines();
  if (logsave("/data/vendor/factory/logsave/") != 0) return 1;
  printf("%ld\n", peak_kib());
  return 0;
}
