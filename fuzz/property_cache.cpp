// What carrier set-up keeps across starts: a property's name on the first line, what its file in
// the property cache holds up to "====", then the properties that are set again.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "benchmarks/fast_properties.h"
#include "fcx/single_binary.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

constexpr char kCache[] = "/mnt/vendor/persist-qv/property";
constexpr char kKept[] = "/mnt/vendor/persist-qv/kelp";
constexpr char kKeptProperties[] = "/mnt/vendor/persist-qv/kelp/kelp.prop";
constexpr char kOperator[] = "persist.vendor.qve.sim.operator";

/// The cached value; nothing when there is none.
std::string cached(const char* name) {
  const auto value = fuzz::buffer(fuzz::kProperty);
  if (qve_read_property_persist_cache(name, value.get()) != 0) return "";
  const size_t length = strnlen(value.get(), fuzz::kProperty);
  fuzz::require(length < fuzz::kProperty, "a cached value ends in its buffer");
  return value.get();
}

void write_and_read(const std::string& name, const std::string& value) {
  qve_write_property_persist_cache(name.c_str(), value.c_str());
  const std::string read = cached(name.c_str());
  fuzz::require(read.empty() || read == std::string(value.c_str()).substr(0, fuzz::kProperty - 1),
                "what was written to the cache is read from it");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  bench::reset_properties({});
  fuzz::Input input(data, size);
  const std::string name = input.line();
  const std::string content(input.part());
  fuzz::empty_directory(kCache);
  fuzz::empty_directory(kKept);

  fuzz::put_file((std::string(kCache) + "/" + kOperator).c_str(), content);
  fuzz::put_file(kKeptProperties, input.rest());
  fuzz::require(cached(kOperator) == std::string(content.c_str()).substr(0, fuzz::kProperty - 1),
                "the cache holds what its file does");
  fcx::reload_carrier_set_up();
  qve_set_carrier_from_file();
  write_and_read(name, content);
  return 0;
}
