// Copying and packing a tree of text files beside cp and zip, with twice ten times as much; and the
// memory that this takes, by a program of its own (packing.cpp).
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "benchmarks/bench.h"
#include "fcx/log_collection.h"
#include "fcx/make_zip_file.h"
#include "virtual_phone/core/phone.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kFileSize = 100'000;
/// Of the tree that is measured; the small one has a tenth.
constexpr size_t kFiles = 2000;
/// A second or more each.
constexpr int kRuns = 3;

struct Tree {
  const char* name;
  size_t files;
};
constexpr Tree kTree{"tree", kFiles};
constexpr Tree kSmallTree{"small_tree", kFiles / 10};
constexpr Tree kLargeTree{"large_tree", kFiles * 10};

fs::path place(const char* name) { return virtual_phone::selected().root() + "/data/" + name; }

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

/// Twenty folders of files. Each file is one of twenty texts, of which each folder has its own
/// copy.
void write_tree(const Tree& tree) {
  constexpr size_t kFolders = 20;
  for (size_t folder = 0; folder < kFolders; ++folder) {
    const fs::path path = place(tree.name) / std::to_string(folder);
    fs::create_directories(path);
    const std::string content = text(static_cast<unsigned>(folder));
    for (size_t i = 0; i < tree.files / kFolders; ++i) {
      std::ofstream(path / ("log_" + std::to_string(i) + ".txt"), std::ios::binary) << content;
    }
  }
}

void remove_results() {
  fs::remove_all(place("copy"));
  fs::remove(place("logs.zip"));
}

template <const Tree& tree>
void by_the_library(benchmark::State& state) {
  const std::string source = std::string("/data/") + tree.name + "/";
  for (auto _ : state) {
    state.PauseTiming();
    remove_results();
    state.ResumeTiming();
    char archive[] = "/data/logs.zip", folder[] = "/data/copy/";
    copy_log("/data/copy/", source.c_str());
    if (logsave_makezip(archive, folder) != 0) state.SkipWithError("there is no archive");
  }
  remove_results();
}

template <const Tree& tree>
void by_programs(benchmark::State& state) {
  const std::string command =
      "cd " + place("").string() + " && cp -r " + tree.name + " copy && zip -1 -q -r logs.zip copy";
  for (auto _ : state) {
    state.PauseTiming();
    remove_results();
    state.ResumeTiming();
    if (system(command.c_str()) != 0) state.SkipWithError("there is no archive");
  }
  remove_results();
}

/// The most memory that copying and packing a tree takes, in KiB; 0 when it cannot be told.
long peak_kib(const Tree& tree) {
  const std::string program = fs::read_symlink("/proc/self/exe").replace_filename("fcx_packing");
  const std::string command =
      program + " " + virtual_phone::selected().directory().string() + " /data/" + tree.name + "/";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  long kib = 0;
  if (pipe == nullptr || fscanf(pipe.get(), "%ld", &kib) != 1) kib = 0;
  remove_results();
  return kib;
}

}  // namespace

void bench::register_collection() {
  write_tree(kTree);
  write_tree(kSmallTree);
  const auto once = [](const char* name, void (*body)(benchmark::State&)) {
    measure(name, body)->Repetitions(kRuns)->Iterations(1);
  };
  once("collection/library", by_the_library<kTree>);
  once("collection/peer", by_programs<kTree>);
  once("small collection/library", by_the_library<kSmallTree>);
  once("small collection/peer", by_programs<kSmallTree>);
}

void bench::report_collection(const Medians& medians) {
  if (medians.of("collection/library") == 0) return;
  print_ratio(medians, "2,000 logs of 200 MB beside cp and zip (limit 1.15)", "collection");
  print_ratio(medians, "200 logs of 20 MB", "small collection");
  printf("%-52s %9.2f times a tenth\n", "the time of the whole (limit 11)",
         medians.of("collection/library") / medians.of("small collection/library"));
  write_tree(kLargeTree);
  printf("%-52s %9ld KiB, and %ld KiB for ten times as many\n", "memory (limit 16,384)",
         peak_kib(kTree), peak_kib(kLargeTree));
  for (const Tree& tree : {kTree, kSmallTree, kLargeTree}) fs::remove_all(place(tree.name));
}
