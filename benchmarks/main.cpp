#include <log/log.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "benchmarks/bench.h"
#include "fcx/factory_items.h"
#include "virtual_phone/core/phone.h"

namespace bench {
namespace {

const Phone* current_phone = nullptr;

void select_phone(const std::filesystem::path& directory) {
  virtual_phone::select(directory);
  if (init_factory_item() != 0) throw std::runtime_error("a phone has no factory items");
}

/// A directory in memory where there is one: the disk's noise is larger than what is measured here.
std::filesystem::path quiet_directory() {
  constexpr char kMemory[] = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? kMemory : std::filesystem::temp_directory_path();
}

}  // namespace

Phone::Phone(const std::filesystem::path& parent, const std::string& name)
    : before_(current_phone),
      directory_(parent / ("fcx-bench-" + name + "-" + std::to_string(getpid()))) {
  virtual_phone::create(directory_, "single", true);
  select_phone(directory_);
  current_phone = this;
}

Phone::~Phone() {
  if (before_ != nullptr) select_phone(before_->directory_);
  current_phone = before_;
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

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
  // Lines are formatted and then dropped, for the same reason.
  __android_log_set_logger([](const __android_logger_data*, const char*) {});

  bench::register_dispatch();
  bench::register_modem();
  bench::register_carrier();
  bench::register_system();
  benchmark::Initialize(&argc, argv);
  bench::Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);

  printf("\nMedians of %d runs:\n", bench::kRepetitions);
  bench::report_dispatch(medians);
  bench::report_modem(medians);
  bench::report_carrier(medians);
  bench::report_system(medians);
  return 0;
}
