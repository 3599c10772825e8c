// A last log of download mode beside zlib alone, over the same chunks.
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "benchmarks/bench.h"
#include "services/logs/last_log.h"

namespace {

constexpr size_t kRecord = 248 * 2048;
constexpr size_t kText = 1984 * 2048;
constexpr size_t kChunkText = 64 << 10;

std::string deflated(const std::string& text) {
  uLongf size = compressBound(text.size());
  std::string bytes(size, '\0');
  compress(reinterpret_cast<Bytef*>(bytes.data()), &size,
           reinterpret_cast<const Bytef*>(text.data()), text.size());
  return bytes.substr(0, size);
}

/// Lines as a kernel writes them.
std::string log_text(size_t size) {
  std::string text;
  unsigned seed = 1;
  while (text.size() < size) {
    seed = seed * 1103515245 + 12345;
    text += "[" + std::to_string(text.size() / 97) + "." + std::to_string(seed >> 16) +
            "] device " + std::to_string(seed % 64) + ": event " + std::to_string(seed >> 20) +
            ", state " + (seed % 3 == 0 ? "ready" : "waiting") + "\n";
  }
  return text.substr(0, size);
}

std::string number(size_t value) {
  const auto narrow = static_cast<int32_t>(value);
  return {reinterpret_cast<const char*>(&narrow), sizeof narrow};
}

struct Record {
  std::string bytes = number(1);
  std::vector<std::string> chunks;

  Record() {
    const std::string text = log_text(kText);
    for (size_t at = 0; at < text.size(); at += kChunkText) {
      const std::string chunk = deflated(text.substr(at, kChunkText));
      if (bytes.size() + chunk.size() + 8 > kRecord) break;
      bytes += number(chunk.size()) + chunk;
      chunks.push_back(chunk);
    }
    bytes.resize(kRecord);
  }
};

const Record& record() {
  static const Record made;
  return made;
}

void by_the_library(benchmark::State& state) {
  std::vector<char> text(kText);
  size_t size = 0;
  for (auto _ : state) {
    size = fcx::inflate_last_log(record().bytes, text.data(), text.size());
    benchmark::DoNotOptimize(text.data());
  }
  if (size != record().chunks.size() * kChunkText) state.SkipWithError("the text is not whole");
}

/// The peer: the chunks are known, and nothing goes wrong.
void by_zlib(benchmark::State& state) {
  std::vector<char> text(kText);
  for (auto _ : state) {
    size_t done = 0;
    for (const std::string& chunk : record().chunks) {
      uLongf size = text.size() - done;
      uncompress(reinterpret_cast<Bytef*>(text.data() + done), &size,
                 reinterpret_cast<const Bytef*>(chunk.data()), chunk.size());
      done += size;
    }
    benchmark::DoNotOptimize(text.data());
  }
}

}  // namespace

void bench::register_last_logs() {
  measure("last log/library", by_the_library);
  measure("last log/peer", by_zlib);
}

void bench::report_last_logs(const Medians& medians) {
  print_ratio(medians, "a last log beside zlib (limit 1.2)", "last log");
}
