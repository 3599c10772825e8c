#include <log/log.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "bench/bench.h"
#include "fcx/factory_items.h"
#include "virtual_phone/phone.h"

namespace bench {

void Medians::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.aggregate_name == "median")
      medians_[run.run_name.function_name] = run.GetAdjustedRealTime();
  }
}

double Medians::of(const std::string& name) const {
  const auto found = medians_.find(name);
  return found == medians_.end() ? 0 : found->second;
}

benchmark::internal::Benchmark* measure(const std::string& name, void (*body)(benchmark::State&)) {
  return benchmark::RegisterBenchmark(name.c_str(), body)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly();
}

void print_share(const Medians& medians, const char* what, const std::string& name) {
  const double whole = medians.of(name + "/library");
  if (whole == 0) return;  // filtered out
  const double bare = medians.of(name + "/bare");
  printf("%-52s %9.1f ns of %.1f ns; ratio %.3f\n", what, whole - bare, whole, whole / bare);
}

void print_ratio(const Medians& medians, const char* what, const std::string& name) {
  const double whole = medians.of(name + "/library");
  if (whole == 0) return;
  const double peer = medians.of(name + "/peer");
  printf("%-52s %9.1f ns beside %.1f ns; ratio %.3f\n", what, whole, peer, whole / peer);
}

}  // namespace bench

int main(int argc, char** argv) {
  const auto directory =
      std::filesystem::temp_directory_path() / ("fcx-bench-" + std::to_string(getpid()));
  virtual_phone::create(directory, "single", true);
  virtual_phone::select(directory);
  if (init_factory_item() != 0) return 1;
  // Lines are formatted and then dropped: the disk's noise is larger than what is measured here.
  __android_log_set_logger([](const __android_logger_data*, const char*) {});

  bench::register_dispatch();
  bench::register_modem();
  benchmark::Initialize(&argc, argv);
  bench::Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);

  printf("\nMedians of %d runs:\n", bench::kRepetitions);
  bench::report_dispatch(medians);
  bench::report_modem(medians);
  std::filesystem::remove_all(directory);
  return 0;
}
