#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/log_collection.h"
#include "ftm/store.h"

namespace {

using fcx::DeviceFile;
using fcx::factory_item;
using fcx::Result;
namespace item = fcx::item;

constexpr char kFolder[] = "/data/logger/crash_info/";
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0666;

/// The reports' first items.
constexpr int kReports[] = {231, 235, 239, 243, 247};
constexpr size_t kHeader = 32;
constexpr size_t kText = 7468;

/// Where the number of reports stands in its item.
constexpr size_t kCount = 8;

constexpr std::string_view kMark = "Crash Handler";
/// From the mark's start to the summary's.
constexpr size_t kToSummary = 15;
using Summary = fcx::TextBuffer<255>;

class Report {
 public:
  [[nodiscard]] bool read(int number) {
    return fcx::read_items(kReports[number], bytes_.data(), bytes_.size()) >= 0;
  }
  char* text() { return bytes_.data() + kHeader; }
  std::string_view view() const { return {bytes_.data() + kHeader, kText}; }

 private:
  std::array<char, kHeader + kText> bytes_;
};

/// Makes the folder when it is not there. False when it cannot be.
bool make_folder() {
  const Result made = fcx::make_device_directory(kFolder, kFolderMode);
  if (made.ok() || made.error() == EEXIST) return true;
  if (made.error() == ENOENT) {
    DOMAIN_INFO("couldn't makedir directory : %s\n", kFolder);
    return false;
  }
  // The file has its say, too.
  DOMAIN_ERROR("crash_log_save: %s: %s\n", kFolder, made.reason());
  return true;
}

bool write_report(const char* path, std::string_view text) {
  DeviceFile file(path, O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
  if (!file.is_open()) {
    DOMAIN_INFO("fopen fail : %s", path);
    return false;
  }
  Result written = file.write(text);
  if (written.ok()) written = file.close();
  if (written.ok()) return true;
  DOMAIN_INFO("fwrite fail");
  // What cannot be removed either is written over by the next call.
  static_cast<void>(fcx::remove_device_file(path));
  return false;
}

/// Reads the report back from its file. What cannot be read has no summary.
void read_back(const char* path, Report& report) {
  if (fcx::read_device_file(path, report.text(), kText).size() == kText) return;
  DOMAIN_INFO("fread fail");
  memset(report.text(), 0, kText);
}

/// Adds a report's summary, if it has one.
void add_summary(std::string_view text, bool& is_first, Summary& summaries) {
  const size_t mark = text.find(kMark);
  if (mark == std::string_view::npos) return;
  text.remove_prefix(std::min(mark + kToSummary, text.size()));
  const std::string_view line = text.substr(0, text.find_first_of(std::string_view("\n\0", 2)));
  if (!is_first) summaries.append(";");
  is_first = false;
  summaries.append(line.substr(0, Summary::capacity()));
}

}  // namespace

int get_crash_count(char* out, int* len) {
  if (out == nullptr || len == nullptr) return -1;
  std::array<char, factory_item<item::crash_count>().length> bytes;
  if (fcx::read_item(factory_item<item::crash_count>(), bytes.data(), bytes.size()) < 0) {
    DOMAIN_ERROR("%s: the item cannot be read\n", __func__);
    return -1;
  }
  int32_t count;
  memcpy(&count, bytes.data() + kCount, sizeof count);
  constexpr size_t kDigits = 12;
  *len = snprintf(out, kDigits, "%d", count);
  return 0;
}

int erase_crash_count() {
  if (fcx::write_item(factory_item<item::crash_count>(), {}) >= 0) return 0;
  DOMAIN_ERROR("%s: the item cannot be written\n", __func__);
  return -1;
}

int crash_log_save(char* out, int* len, int count) {
  if (out == nullptr || len == nullptr) return 1;
  const int last = std::min(count, static_cast<int>(std::size(kReports)));
  Summary summaries;
  bool is_first = true;
  for (int i = 0; i < last; ++i) {
    Report report;
    if (!report.read(i)) {
      DOMAIN_ERROR("%s Read Fail\n", kFolder);
      return 1;
    }
    if (!make_folder()) return 1;
    std::array<char, sizeof kFolder + sizeof "crash_log0.txt"> path;
    snprintf(path.data(), path.size(), "%scrash_log%d.txt", kFolder, i);
    if (!write_report(path.data(), report.view())) return 1;
    read_back(path.data(), report);
    add_summary(report.view(), is_first, summaries);
  }
  memcpy(out, summaries.c_str(), Summary::capacity() + 1);
  *len = static_cast<int>(summaries.view().size());
  return 0;
}
