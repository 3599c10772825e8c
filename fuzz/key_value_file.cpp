// Files of KEY=VALUE lines: the key that is looked for on the first line, then the file.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "benchmarks/fast_properties.h"
#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

// Of the product tree: the file-handle service reads it too.
constexpr char kFile[] = "/product/etc/values.cfg";

using Lookup = int(const char* path, const char* key, char* value);

void look_up(Lookup* find, const std::string& key) {
  constexpr char kUntouched = '\x55';
  const auto value = fuzz::buffer(fuzz::kValue);
  memset(value.get(), kUntouched, fuzz::kValue);
  const int result = find(kFile, key.c_str(), value.get());
  fuzz::require(result == 0 || result == 1, "a key is found or not");
  if (result == 0) {
    fuzz::require(strnlen(value.get(), fuzz::kValue) < fuzz::kValue, "a value ends in its buffer");
  } else {
    fuzz::require(value[0] == kUntouched, "without the key the value is untouched");
  }
}

/// A buyer's network code stands in such a file too.
void store_buyer(std::string content, const std::string& key) {
  constexpr int kSize = 7;
  if (content.empty()) return;
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fmemopen(content.data(), content.size(), "r"),
                                                   &fclose);
  const int result = sbpWriteBuyer(file.get(), kSize, key.c_str());
  fuzz::require(result == kSize || result == 1, "a buyer's code is stored or not");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  bench::reset_properties({});
  fuzz::Input input(data, size);
  const std::string key = input.line();
  fuzz::put_file(kFile, input.rest());
  look_up(qve_get_value_from_file_direct, key);
  look_up(qve_get_value_from_file_hal, key);
  store_buyer(std::string(input.rest()), key);
  return 0;
}
