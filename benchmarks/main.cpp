#include <cstdio>

#include "benchmarks/bench.h"
#include "benchmarks/bench_phone.h"

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
  const bench::Phone phone(bench::quiet_directory(), "memory");
  bench::drop_log_lines();

  bench::register_dispatch();
  bench::register_modem();
  bench::register_carrier();
  bench::register_system();
  bench::register_checksums();
  bench::register_collection();
  bench::register_last_logs();
  benchmark::Initialize(&argc, argv);
  bench::Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);

  printf("\nMedians of %d runs:\n", bench::kRepetitions);
  bench::report_dispatch(medians);
  bench::report_modem(medians);
  bench::report_carrier(medians);
  bench::report_system(medians);
  bench::report_checksums(medians);
  bench::report_collection(medians);
  bench::report_last_logs(medians);
  return 0;
}
