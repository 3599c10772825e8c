// What the command entry costs beside the work that a command cannot do without.
#include <log/log.h>

#include "benchmarks/bench.h"
#include "fcx/command_table.h"
#include "fcx/factory_item_table.h"
#include "fcx/service_handler.h"
#include "platform/factory_item_library.h"

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
    get_ftm_item(fcx::item::serial_number, 12, serial_number);
    __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Diag_Lib", "SERIAL NUM : %d (%s)\n",
                            fcx::item::serial_number, serial_number);
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

void measure_search(const char* name, int32_t opcode) {
  bench::measure(name, find_opcode)->Arg(opcode);
}

}  // namespace

void bench::register_dispatch() {
  const auto rows = fcx::command_table();
  measure("4010/library", serial_number_through_the_library);
  measure("4010/bare", serial_number_bare);
  measure_search("find/first", rows.begin()->opcode);
  measure_search("find/middle", rows.begin()[rows.size() / 2].opcode);
  measure_search("find/last", rows.end()[-1].opcode);
  measure_search("find/unknown", kUnknownOpcode);
  measure("unknown/library", unknown_opcode_through_the_library);
  measure("unknown/bare", unknown_opcode_bare);
}

void bench::report_dispatch(const Medians& medians) {
  print_share(medians, "4010, the library's share (limit 1000 ns, 1.2)", "4010");
  print_share(medians, "unknown opcode, beyond its log line", "unknown");
}
