#include "benchmarks/bench_phone.h"

#include <log/log.h>
#include <unistd.h>

#include <stdexcept>

#include "fcx/factory_items.h"
#include "virtual_phone/core/phone.h"

namespace bench {
namespace {

const Phone* current_phone = nullptr;

void select_phone(const std::filesystem::path& directory) {
  virtual_phone::select(directory);
  if (init_factory_item() != 0) throw std::runtime_error("a phone has no factory items");
}

}  // namespace

std::filesystem::path quiet_directory() {
  constexpr char kMemory[] = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? kMemory : std::filesystem::temp_directory_path();
}

void drop_log_lines() {
  __android_log_set_logger([](const __android_logger_data*, const char*) {});
}

Phone::Phone(const std::filesystem::path& parent, const std::string& name)
    : before_(current_phone),
      directory_(parent / ("fcx-bench-" + name + "-" + std::to_string(getpid()))) {
  virtual_phone::create(directory_, "single", true);
  select_phone(directory_);
  current_phone = this;
}

Phone::~Phone() {
  if (before_ != nullptr) select_phone(before_->directory_);
  current_phone = before_;
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

}  // namespace bench
