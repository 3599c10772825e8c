#include "fuzz/bench_phone.h"

#include <cutils/android_reboot.h>
#include <hidl/HidlTransportSupport.h>
#include <log/log.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "fcx/factory_item_table.h"
#include "fcx/factory_items.h"
#include "platform/device_home.h"
#include "platform/factory_item_library.h"
#include "virtual_phone/core/phone.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

/// Each in memory of just its size. For one thread at a time, as commands are.
std::map<int, std::string>& items() {
  static std::map<int, std::string> all;
  return all;
}

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

void empty_items() { items().clear(); }

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

void fcx::platform_sync() {}

int fcx::platform_thread_fault(LibraryThread) { return 0; }

fcx::FileFault fcx::platform_file_begins(const FileAccess&) { return {}; }

void fcx::platform_file_ends(const FileAccess&, int, std::string_view) {}

int android_reboot(unsigned, int, const char*) { return 0; }

void android::hardware::configureRpcThreadpool(size_t, bool) {}

int init_ftm_item() { return 0; }

int get_ftm_item(int index, int length, void* buffer) {
  const std::string& bytes = fuzz::items()[index];
  auto* out = static_cast<char*>(buffer);
  std::fill(out + bytes.copy(out, static_cast<size_t>(length)), out + length, '\0');
  return 0;
}

int set_ftm_item(int index, int length, const void* buffer) {
  const fcx::FactoryItem* item = fcx::find_factory_item(index);
  const auto size = static_cast<size_t>(length);
  fuzz::require(item != nullptr && size <= item->length, "a write stays inside its item");
  std::string& bytes = fuzz::items()[index];
  if (bytes.size() < size) bytes.resize(size);
  bytes.replace(0, size, static_cast<const char*>(buffer), size);
  return 0;
}
