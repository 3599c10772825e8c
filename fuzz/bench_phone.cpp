#include "fuzz/bench_phone.h"

#include <log/log.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fcx/factory_items.h"
#include "platform/device_home.h"
#include "virtual_phone/core/phone.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

fs::path device_file(const char* device_path) { return vp::selected().root() + device_path; }

/// The process's phone, which is gone with it.
class PhoneDirectory {
 public:
  PhoneDirectory() : path_(fs::temp_directory_path() / ("fcx-fuzz-" + std::to_string(getpid()))) {
    vp::create(path_, "blank", true);
    vp::select(path_);
    require(init_factory_item() == 0, "a phone has factory items");
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
  }
  ~PhoneDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  PhoneDirectory(const PhoneDirectory&) = delete;
  PhoneDirectory& operator=(const PhoneDirectory&) = delete;

 private:
  fs::path path_;
};

}  // namespace

void need_phone() { static const PhoneDirectory phone; }

void put_file(const char* device_path, std::string_view content) {
  const fs::path file = device_file(device_path);
  if (content.empty()) {
    fs::remove(file);
    return;
  }
  std::ofstream out(file, std::ios::binary);
  if (!out.is_open()) {
    fs::create_directories(file.parent_path());
    out.open(file, std::ios::binary);
  }
  out << content;
  out.close();
  require(!out.fail(), "a phone's file can be written");
}

void empty_directory(const char* device_path) {
  const fs::path directory = device_file(device_path);
  fs::create_directories(directory);
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    fs::remove_all(entry.path());
  }
}

std::unique_ptr<char[]> buffer(size_t size, std::string_view text) {
  auto bytes = std::make_unique<char[]>(size);
  text.copy(bytes.get(), size - 1);
  return bytes;
}

void require(bool kept, const char* promise) {
  if (kept) return;
  fprintf(stderr, "Not kept: %s\n", promise);
  abort();
}

std::string_view Input::take(std::string_view separator) {
  const size_t end = rest_.find(separator);
  const std::string_view taken = rest_.substr(0, end);
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + separator.size());
  return taken;
}

}  // namespace fuzz

// In place of the virtual phone's, which look into its database each time.

void fcx::platform_sleep_us(uint64_t) {}

fcx::FileFault fcx::platform_file_fault(const char*, FileOperation) { return {}; }
