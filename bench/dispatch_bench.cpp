// What the command entry costs beside the work that a command cannot do without.
#include <benchmark/benchmark.h>
#include <log/log.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "fcx/command_table.h"
#include "fcx/factory_items.h"
#include "fcx/service_handler.h"
#include "platform/factory_item_library.h"
#include "virtual_phone/phone.h"

namespace {

constexpr int32_t kUnknownOpcode = 4999;

qvcmd_request request_for(int32_t opcode) { return {opcode, 0, {}}; }

void serial_number_through_the_library(benchmark::State& state) {
  qvcmd_request request = request_for(4010);
  qvcmd_response response{};
  for (auto _ : state) {
    service_handler(&request, &response);
    benchmark::DoNotOptimize(response);
  }
}

/// The peer: the read and the two lines, and nothing else.
void serial_number_bare(benchmark::State& state) {
  char serial_number[13] = {};
  for (auto _ : state) {
    __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Diag_Lib",
                            "service_handler: opcode = %d\n", 4010);
    get_ftm_item(9, 12, serial_number);
    __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Diag_Lib", "SERIAL NUM : %d (%s)\n",
                            9, serial_number);
    benchmark::DoNotOptimize(serial_number);
  }
}

void find_opcode(benchmark::State& state) {
  auto opcode = static_cast<int32_t>(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(opcode);
    benchmark::DoNotOptimize(fcx::find_command(opcode));
  }
}

void unknown_opcode_through_the_library(benchmark::State& state) {
  qvcmd_request request = request_for(kUnknownOpcode);
  qvcmd_response response{};
  for (auto _ : state) {
    service_handler(&request, &response);
    benchmark::DoNotOptimize(response);
  }
}

/// The peer: the line that every opcode is logged with.
void unknown_opcode_bare(benchmark::State& state) {
  for (auto _ : state) {
    __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Diag_Lib",
                            "service_handler: opcode = %d\n", kUnknownOpcode);
  }
}

/// Prints what benchmark prints, and keeps each median in nanoseconds.
class Medians : public benchmark::ConsoleReporter {
 public:
  Medians() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name == "median") medians_[run.run_name.str()] = run.GetAdjustedRealTime();
    }
  }

  double of(const std::string& name) const {
    const auto found = medians_.find(name);
    return found == medians_.end() ? 0 : found->second;
  }

 private:
  std::map<std::string, double> medians_;
};

void measure(const char* name, void (*body)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, body)->Repetitions(11)->ReportAggregatesOnly();
}

void measure_search(const char* name, int32_t opcode) {
  benchmark::RegisterBenchmark(name, find_opcode)
      ->Arg(opcode)
      ->Repetitions(11)
      ->ReportAggregatesOnly();
}

void print_share(const char* what, double whole, double bare) {
  printf("%-44s %9.1f ns of %.1f ns; ratio %.3f\n", what, whole - bare, whole, whole / bare);
}

}  // namespace

int main(int argc, char** argv) {
  const auto directory =
      std::filesystem::temp_directory_path() / ("fcx-bench-" + std::to_string(getpid()));
  virtual_phone::create(directory, "single", true);
  virtual_phone::select(directory);
  if (init_factory_item() != 0) return 1;
  // Lines are formatted and then dropped: the disk's noise is larger than what is measured here.
  __android_log_set_logger([](const __android_logger_data*, const char*) {});

  const auto rows = fcx::command_table();
  measure("4010/library", serial_number_through_the_library);
  measure("4010/bare", serial_number_bare);
  measure_search("find/first", rows.begin()->opcode);
  measure_search("find/middle", rows.begin()[rows.size() / 2].opcode);
  measure_search("find/last", rows.end()[-1].opcode);
  measure_search("find/unknown", kUnknownOpcode);
  measure("unknown/library", unknown_opcode_through_the_library);
  measure("unknown/bare", unknown_opcode_bare);
  benchmark::Initialize(&argc, argv);
  Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);

  puts("\nMedians of 11 runs:");
  print_share("4010, the library's share (limit 1000 ns, 1.2)",
              medians.of("4010/library/repeats:11"), medians.of("4010/bare/repeats:11"));
  print_share("unknown opcode, beyond its log line", medians.of("unknown/library/repeats:11"),
              medians.of("unknown/bare/repeats:11"));
  std::filesystem::remove_all(directory);
  return 0;
}
