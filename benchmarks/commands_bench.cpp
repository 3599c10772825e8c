// What every command costs on a healthy phone, beside nothing but the calls of the platform that it
// makes.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "benchmarks/bench_phone.h"
#include "benchmarks/healthy_commands.h"
#include "benchmarks/platform_calls.h"
#include "fcx/background.h"
#include "fcx/modem_link.h"
#include "fcx/service_handler.h"

namespace {

constexpr size_t kRepetitions = 301;

template <typename Work>
double time_of(Work work) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

double median(std::vector<double>& times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

struct Cost {
  std::string command;
  double whole, bare;

  double share() const { return whole - bare; }
  double ratio() const { return whole / bare; }
};

/// Turn about, so that whatever disturbs the machine disturbs both.
Cost measure(const bench::HealthyCommand& command) {
  bench::Records records(command);
  const auto send = [&] { service_handler(&records.request, &records.response); };
  const bench::PlatformCalls calls = bench::record_platform_calls(send);
  fcx::wait_for_background_work();
  std::vector<double> whole, bare;
  for (size_t i = 0; i < kRepetitions; ++i) {
    {
      const bench::HeldThreads held;
      whole.push_back(time_of(send));
    }
    bare.push_back(time_of([&] {
      for (const auto& call : calls) call();
    }));
  }
  return {std::to_string(command.row->opcode) + " " + bench::name_of(command) + " " +
              bench::argument_of(command),
          median(whole), median(bare)};
}

void print(const std::string& what, double whole, double bare) {
  printf("%-66s %9.1f ns of %9.1f ns; ratio %.3f\n", what.c_str(), whole - bare, whole,
         whole / bare);
}

void print_worst(const char* by, const std::vector<Cost>& costs, double (Cost::*value)() const) {
  const auto worst =
      std::max_element(costs.begin(), costs.end(),
                       [&](const Cost& a, const Cost& b) { return (a.*value)() < (b.*value)(); });
  print("worst " + std::string(by) + ": " + worst->command, worst->whole, worst->bare);
}

}  // namespace

int main(int argc, char** argv) {
  const bool prints_all = argc == 2 && std::string(argv[1]) == "--all";
  if (argc > 1 && !prints_all) {
    fprintf(stderr, "%s [--all]\n", argv[0]);
    return 2;
  }
  bool is_healthy = true;
  try {
    const bench::Phone phone(bench::quiet_directory(), "commands");
    bench::drop_log_lines();
    bench::watch_system_side();
    init_modem_interface();
    std::vector<Cost> costs;
    for (const bench::HealthyCommand& command : bench::healthy_commands()) {
      is_healthy &= bench::send(command);
      costs.push_back(measure(command));
      const Cost& cost = costs.back();
      if (prints_all) print(cost.command, cost.whole, cost.bare);
    }
    double whole = 0, bare = 0;
    for (const Cost& cost : costs) {
      whole += cost.whole;
      bare += cost.bare;
    }
    const auto count = static_cast<double>(costs.size());
    printf("The library's share of %zu commands, beyond the platform's calls; medians of %zu:\n",
           costs.size(), kRepetitions);
    print("mean", whole / count, bare / count);
    print_worst("share", costs, &Cost::share);
    print_worst("ratio", costs, &Cost::ratio);
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return is_healthy ? 0 : 1;
}
