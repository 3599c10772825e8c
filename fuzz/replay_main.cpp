// Stands in for libFuzzer: gives a target each file of the directories that are named, once.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_in(const fs::path& directory) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// Gives the target a copy of just the file's size, so that reading past it is noticed.
void replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  bytes.shrink_to_fit();
  fprintf(stderr, "%s: %zu bytes\n", file.filename().c_str(), bytes.size());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& file : files_in(argv[i])) {
      replay(file);
      ++replayed;
    }
  }
  printf("%zu inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
