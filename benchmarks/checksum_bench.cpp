// The checksum of "/vendor/etc" beside zlib's over the same bytes, whose files somebody has listed.
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "benchmarks/bench.h"
#include "fcx/device_functions.h"
#include "virtual_phone/core/phone.h"

namespace {

using android::base::unique_fd;

constexpr size_t kFiles = 200;
constexpr size_t kBytes = 8 << 20;

/// A file of the directory: many are small, a few hold most of it.
struct File {
  std::string path;
  size_t size;
};

std::vector<File>& files() {
  static std::vector<File> all;
  return all;
}

void write_files() {
  // Beside the phone's own files: a flush of these, which others measure, has nothing to do with
  // it.
  const std::filesystem::path directory = virtual_phone::selected().directory() / "vendor_etc";
  const std::filesystem::path link = virtual_phone::selected().root() + "/vendor/etc";
  std::filesystem::create_directory(directory);
  std::filesystem::remove_all(link);
  std::filesystem::create_directory_symlink(directory, link);
  size_t left = kBytes;
  unsigned seed = 1;
  for (size_t i = 0; i < kFiles; ++i) {
    const size_t size = i + 1 == kFiles ? left : left / (i < 20 ? 12 : 30);
    left -= size;
    std::array<char, 24> name;
    snprintf(name.data(), name.size(), "file_%03zu.conf", i);
    std::string content(size, '\0');
    for (char& byte : content) byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
    files().push_back({directory / name.data(), size});
    std::ofstream(files().back().path, std::ios::binary) << content;
  }
}

void by_the_library(benchmark::State& state) {
  std::array<char, 20> text;
  int result = 0;
  for (auto _ : state) result |= crc_command(fcx::kFileChecksum, text.data());
  if (result != 0) state.SkipWithError("there is no checksum");
}

uLong add(uLong crc, const void* bytes, size_t size) {
  return crc32(crc, static_cast<const Bytef*>(bytes), static_cast<uInt>(size));
}

/// The peer: each file read in pieces.
void by_reading(benchmark::State& state) {
  std::vector<char> piece(64 << 10);
  for (auto _ : state) {
    uLong crc = crc32(0, nullptr, 0);
    for (const File& file : files()) {
      const unique_fd fd(open(file.path.c_str(), O_RDONLY | O_CLOEXEC));
      for (ssize_t got = 1; got > 0;) {
        got = read(fd.get(), piece.data(), piece.size());
        if (got > 0) crc = add(crc, piece.data(), static_cast<size_t>(got));
      }
    }
    benchmark::DoNotOptimize(crc);
  }
}

/// The same with each file mapped into memory.
void by_mapping(benchmark::State& state) {
  for (auto _ : state) {
    uLong crc = crc32(0, nullptr, 0);
    for (const File& file : files()) {
      const unique_fd fd(open(file.path.c_str(), O_RDONLY | O_CLOEXEC));
      void* bytes = mmap(nullptr, file.size, PROT_READ, MAP_PRIVATE, fd.get(), 0);
      if (bytes == MAP_FAILED) continue;
      crc = add(crc, bytes, file.size);
      munmap(bytes, file.size);
    }
    benchmark::DoNotOptimize(crc);
  }
}

}  // namespace

void bench::register_checksums() {
  write_files();
  measure("checksum/library", by_the_library);
  measure("checksum/peer", by_reading);
  measure("checksum mapped/library", by_the_library);
  measure("checksum mapped/peer", by_mapping);
}

void bench::report_checksums(const Medians& medians) {
  print_ratio(medians, "checksum of 200 files, 8 MiB, beside reads (limit 1.2)", "checksum");
  print_ratio(medians, "the same beside mapped files (limit 1.2)", "checksum mapped");
}
