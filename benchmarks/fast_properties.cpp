#include "benchmarks/fast_properties.h"

#include <cutils/properties.h>

#include <cstring>
#include <mutex>
#include <string_view>

namespace {

std::mutex mutex;
size_t reads = 0;

bench::Properties& properties() {
  static bench::Properties instance;
  return instance;
}

}  // namespace

void bench::reset_properties(const Properties& values) {
  const std::lock_guard lock(mutex);
  properties() = values;
}

size_t bench::property_reads() {
  const std::lock_guard lock(mutex);
  return reads;
}

int property_get(const char* key, char* value, const char* default_value) {
  const std::lock_guard lock(mutex);
  ++reads;
  const auto found = properties().find(key);
  std::string_view text = found == properties().end() ? "" : std::string_view(found->second);
  if (text.empty() && default_value != nullptr) text = default_value;
  const size_t length = text.copy(value, PROPERTY_VALUE_MAX - 1);
  value[length] = '\0';
  return static_cast<int>(length);
}

/// Refuses what a phone refuses, but for odd names.
int property_set(const char* key, const char* value) {
  const std::string_view text = value == nullptr ? "" : value;
  if (*key == '\0' || text.size() >= PROPERTY_VALUE_MAX) return -1;
  const std::lock_guard lock(mutex);
  const bool is_read_only = strncmp(key, "ro.", 3) == 0;
  const auto [found, is_new] = properties().try_emplace(key, text);
  if (is_new) return 0;
  if (is_read_only) return -1;
  found->second = text;
  return 0;
}
