// A command to a served phone, by one client and by eight at once, beside the same command in the
// process that has the library; and the memory that a server takes.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "daemon/deliver.h"
#include "daemon/open.h"
#include "daemon/server/client.h"
#include "daemon/server/server.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/scratch.h"

namespace {

namespace vp = virtual_phone;

constexpr int32_t kSerialNumber = 4010;
constexpr int64_t kLimitMs = 60'000;
constexpr int kRepetitions = 7;

std::string address;
pid_t server = 0;
vp::Phone* own_phone = nullptr;

/// Serves a phone in a process of its own, which is forked before this one uses the library.
class Served {
 public:
  explicit Served(const std::filesystem::path& phone) {
    std::array<int, 2> ready{};
    if (pipe(ready.data()) != 0) throw std::runtime_error("pipe");
    server = fork();
    if (server == 0) serve(phone, ready[1]);
    close(ready[1]);
    char byte = 0;
    const ssize_t count = read(ready[0], &byte, 1);
    close(ready[0]);
    if (count != 1) throw std::runtime_error("the server did not begin");
  }
  ~Served() {
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
  }
  Served(const Served&) = delete;
  Served& operator=(const Served&) = delete;

 private:
  [[noreturn]] static void serve(const std::filesystem::path& phone, int ready) {
    factory_daemon::ServerOptions options;
    options.phone = phone;
    options.socket = address;
    factory_daemon::serve(options, {}, [ready](const auto&) {
      if (write(ready, "r", 1) != 1) _exit(1);
    });
    _exit(0);
  }
};

void ask(factory_daemon::Client& client) {
  if (client.command({kSerialNumber, ""}, false).response.result != QVCMD_OK) {
    throw std::runtime_error("the command failed");
  }
}

void in_process(benchmark::State& state) {
  for (auto _ : state) {
    if (factory_daemon::deliver(*own_phone, kSerialNumber, "").response.result != QVCMD_OK) {
      state.SkipWithError("the command failed");
    }
  }
  state.SetItemsProcessed(state.iterations());
}

double percentile(std::vector<double>& values, double part) {
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

void over_socket(benchmark::State& state) {
  factory_daemon::Client client(address, "", kLimitMs);
  std::vector<double> us;
  using Clock = std::chrono::steady_clock;
  for (auto _ : state) {
    const auto begun = Clock::now();
    ask(client);
    us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begun).count());
  }
  state.SetItemsProcessed(state.iterations());
  // Of each client; those of all are averaged.
  state.counters["median_us"] = {percentile(us, 0.5), benchmark::Counter::kAvgThreads};
  state.counters["p99_us"] = {percentile(us, 0.99), benchmark::Counter::kAvgThreads};
}

/// In KiB, of the server and the process that has the library.
double resident_kib() {
  const std::string id = std::to_string(server);
  std::string worker;
  std::ifstream("/proc/" + id + "/task/" + id + "/children") >> worker;
  double all = 0;
  for (const std::string& each : {id, worker}) {
    std::ifstream status("/proc/" + each + "/status");
    for (std::string word; status >> word;) {
      double kib = 0;
      if (word == "VmRSS:" && status >> kib) all += kib;
    }
  }
  return all;
}

void ask_often(int count, int clients) {
  std::vector<std::thread> threads;
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([count, clients] {
      factory_daemon::Client client(address, "", kLimitMs);
      for (int asked = 0; asked < count / clients; ++asked) ask(client);
    });
  }
  for (std::thread& each : threads) each.join();
}

void memory(benchmark::State& state) {
  constexpr int kFew = 1000;
  constexpr int kMany = 1'000'000;
  constexpr int kClients = 8;
  for (auto _ : state) {
    ask_often(kFew, kClients);
    const double first = resident_kib();
    ask_often(kMany - kFew, kClients);
    const double last = resident_kib();
    state.counters["kib_after_1000"] = first;
    state.counters["kib_after_1000000"] = last;
    state.counters["kib_more"] = last - first;
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const vp::Scratch scratch(vp::quick_directory(), "bench", vp::Scratch::Kind::folder);
  address = (scratch.phones() / "station").string();
  for (const char* name : {"served", "own"}) {
    vp::create(scratch.phones() / name, "single", false);
  }
  const Served served(scratch.phones() / "served");
  own_phone = &factory_daemon::open(scratch.phones() / "own");
  // Of a server that has done nothing yet.
  benchmark::RegisterBenchmark("memory", memory)->Iterations(1)->UseRealTime();
  benchmark::RegisterBenchmark("in_process", in_process)->Repetitions(kRepetitions);
  for (const int clients : {1, 8}) {
    benchmark::RegisterBenchmark("clients", over_socket)
        ->Repetitions(kRepetitions)
        ->Threads(clients)
        ->UseRealTime();
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
