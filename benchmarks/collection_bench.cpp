// A whole collection of logs, of which nearly all is a tree of text files, beside cp and zip of
// that tree; and the memory that it takes, by a program of its own (collecting.cpp).
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "benchmarks/bench.h"
#include "benchmarks/bench_phone.h"
#include "fcx/log_collection.h"
#include "virtual_phone/core/phone.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kFileSize = 100'000;
/// Of the collection that is measured; the small one has a tenth.
constexpr size_t kFiles = 2000;
/// A second or more each.
constexpr int kRuns = 3;

/// Text as a log has it: times that go on, a few names, some words, numbers.
std::string text(unsigned seed) {
  constexpr const char* kTags[] = {"ActivityManager",
                                   "WifiStateMachine",
                                   "qve_ril",
                                   "AudioFlinger",
                                   "PowerManagerService",
                                   "netd",
                                   "SurfaceFlinger",
                                   "vold"};
  constexpr const char* kWords[] = {"start",  "stop", "state",   "changed to", "error", "returned",
                                    "client", "for",  "request", "timeout",    "in",    "pid"};
  std::string lines;
  std::array<char, 160> line;
  const auto random = [&](unsigned below) {
    return ((seed = seed * 1103515245 + 12345) >> 16) % below;
  };
  for (unsigned ms = random(9999); lines.size() < kFileSize; ms += random(300)) {
    snprintf(line.data(), line.size(), "02-03 04:%02u:%02u.%03u  %u I %s: ", ms / 60000 % 60,
             ms / 1000 % 60, ms % 1000, 900 + random(40), kTags[random(8)]);
    lines += line.data();
    for (unsigned words = 2 + random(8); words > 0; --words) {
      lines += kWords[random(12)];
      lines += " " + (random(3) == 0 ? std::to_string(random(100'000)) + " " : "");
    }
    lines += '\n';
  }
  lines.resize(kFileSize);
  return lines;
}

/// A phone with so many files to collect: twenty folders, each with copies of a text of its own.
class FullPhone {
 public:
  explicit FullPhone(size_t files) : phone_(bench::quiet_directory(), "collection") {
    constexpr size_t kFolders = 20;
    for (size_t folder = 0; folder < kFolders; ++folder) {
      const fs::path path = root() + DBDUMP_DIR + std::to_string(folder);
      fs::create_directories(path);
      const std::string content = text(static_cast<unsigned>(folder));
      for (size_t i = 0; i < files / kFolders; ++i) {
        std::ofstream(path / ("log_" + std::to_string(i) + ".txt"), std::ios::binary) << content;
      }
    }
  }
  std::string root() const { return virtual_phone::selected().root(); }

 private:
  bench::Phone phone_;
};

template <size_t files>
void by_the_library(benchmark::State& state) {
  const FullPhone phone(files);
  int result = 0;
  for (auto _ : state) result = logsave("/data/vendor/factory/logsave/");
  if (result != 0) state.SkipWithError("there is no archive");
}

template <size_t files>
void by_programs(benchmark::State& state) {
  const FullPhone phone(files);
  const std::string command = "cd " + phone.root() +
                              "/data/vendor/factory && cp -r dbdump copy && "
                              "zip -1 -q -r logs.zip copy";
  int result = 0;
  for (auto _ : state) result = system(command.c_str());
  if (result != 0) state.SkipWithError("there is no archive");
}

/// The most memory that collecting so many files takes, in KiB; 0 when it cannot be told.
long peak_kib(size_t files) {
  const FullPhone phone(files);
  const std::string program = fs::read_symlink("/proc/self/exe").replace_filename("fcx_collecting");
  const std::string command = program + " " + virtual_phone::selected().directory().string();
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  long kib = 0;
  return pipe != nullptr && fscanf(pipe.get(), "%ld", &kib) == 1 ? kib : 0;
}

}  // namespace

void bench::register_collection() {
  const auto once = [](const char* name, void (*body)(benchmark::State&)) {
    measure(name, body)->Repetitions(kRuns)->Iterations(1)->UseRealTime();
  };
  once("collection/library", by_the_library<kFiles>);
  once("collection/peer", by_programs<kFiles>);
  once("small collection/library", by_the_library<kFiles / 10>);
  once("small collection/peer", by_programs<kFiles / 10>);
}

void bench::report_collection(const Medians& medians) {
  if (medians.of("collection/library") == 0) return;
  print_ratio(medians, "2,000 logs of 200 MB beside cp and zip (limit 1.15)", "collection");
  print_ratio(medians, "200 logs of 20 MB", "small collection");
  printf("%-52s %9.2f times a tenth\n", "the time of the whole (limit 11)",
         medians.of("collection/library") / medians.of("small collection/library"));
  printf("%-52s %9ld KiB, and %ld KiB for ten times as many\n", "memory (limit 16,384)",
         peak_kib(kFiles), peak_kib(kFiles * 10));
}
