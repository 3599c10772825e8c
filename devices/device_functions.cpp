#include "fcx/device_functions.h"

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/files.h"
#include "common/lines.h"
#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

constexpr char kAutomaticTestFile[] = "/mnt/vendor/persist-qv/aat/result";
constexpr size_t kLongestText = 2047;
constexpr char kTofCalibrationFile[] = "/mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kMidautoStatusProperty[] = "persist.vendor.qve.midauto.status";
constexpr char kMemoryInfoFile[] = "/proc/meminfo";
constexpr size_t kLongestModelName = 255;

using Results = fcx::TextBuffer<kLongestText>;

/// Reads the result of one test out of lines NAME=RESULT; it is empty when there is none.
/// @return 0, or why they cannot be read
int read_result_of(std::string_view test, Results& result) {
  constexpr size_t kLongest = fcx::DeviceFileLines::kLongest;
  fcx::DeviceFileLines lines(kAutomaticTestFile, kLongest);
  bool goes_on = false;  // the piece before was cut: what follows begins with no name
  while (const auto line = lines.next()) {
    std::string_view rest = *line;
    const bool is_new = !std::exchange(goes_on, line->size() == kLongest);
    if (!is_new || fcx::take_until(rest, '=') != test) continue;
    result = Results(rest);
    return 0;
  }
  return lines.error();
}

/// Reads all of them, as far as there is room.
int read_results(Results& results) {
  return fcx::read_device_file(kAutomaticTestFile, results.data(), results.capacity()).error();
}

}  // namespace

int aat_result_init(const char* text, char* out) {
  if (out == nullptr) return -1;
  out[0] = '\0';
  const std::string_view wanted = fcx::bounded_text(text == nullptr ? "" : text, kLongestText);
  Results found;
  const int error = wanted.empty() ? read_results(found) : read_result_of(wanted, found);
  if (error != 0) {
    DOMAIN_ERROR("aat_result_init: %s: %s\n", kAutomaticTestFile, strerror(error));
    return -1;
  }
  memcpy(out, found.c_str(), found.view().size() + 1);
  if (!found.empty()) return 0;
  DOMAIN_ERROR("aat_result_init: no result\n");
  return -1;
}

int tof_cal_file_check() {
  char first = 0;
  return fcx::read_device_file(kTofCalibrationFile, &first, 1).size() == 1 ? 0 : -1;
}

int tof_cal_write(const char* text) {
  if (text == nullptr || text[0] == '\0') {
    DOMAIN_ERROR("tof_cal_write: no calibration given\n");
    return -1;
  }
  const fcx::Result stored = fcx::replace_device_file(kTofCalibrationFile, text);
  if (stored.ok()) return 0;
  DOMAIN_ERROR("tof_cal_write: %s: %s\n", kTofCalibrationFile, stored.reason());
  return -1;
}

int midauto_status_set(const char* status) {
  return status != nullptr && fcx::write_property(kMidautoStatusProperty, status).ok() ? 0 : -1;
}

int ram_memory_size() {
  constexpr std::string_view kTotal = "MemTotal:";
  std::array<char, 1024> bytes;
  const fcx::ReadResult read = fcx::read_device_file(kMemoryInfoFile, bytes.data(), bytes.size());
  if (!read.has_content()) {
    DOMAIN_ERROR("ram_memory_size: %s: %s\n", kMemoryInfoFile, read.reason());
    return 0;
  }
  std::string_view text(bytes.data(), read.size());
  const size_t total = text.find(kTotal);
  if (total == std::string_view::npos) {
    DOMAIN_ERROR("ram_memory_size: %s has no MemTotal\n", kMemoryInfoFile);
    return 0;
  }
  text.remove_prefix(total + kTotal.size());
  const int mebibytes = fcx::decimal_number(text) / 1024;
  if (mebibytes > 0) return mebibytes;
  DOMAIN_ERROR("ram_memory_size: %s tells no size\n", kMemoryInfoFile);
  return 0;
}

int qve_factory_sku_read(char* sku) {
  constexpr const fcx::FactoryItem& item = fcx::factory_item<fcx::item::sku>();
  return sku != nullptr && fcx::read_item(item, sku, item.length + 1) >= 0 ? 0 : -1;
}

int qve_factory_serial_number_read(char* serial) {
  constexpr const fcx::FactoryItem& item = fcx::factory_item<fcx::item::serial_number>();
  return serial != nullptr && fcx::read_item(item, serial, item.length + 1) >= 0 ? 0 : -1;
}

int qve_factory_serial_number_write(const char* serial) {
  constexpr const fcx::FactoryItem& item = fcx::factory_item<fcx::item::serial_number>();
  if (serial == nullptr) return -1;
  return fcx::write_item(item, fcx::bounded_text(serial, item.length)) >= 0 ? 0 : -1;
}

int read_kelp_info_model(char* name, int* length) {
  if (name == nullptr || length == nullptr) return -1;
  fcx::ModemAnswer answer;
  const int code = fcx::ask(fcx::request::model_name, {}, answer);
  if (code != 0) return code;
  const size_t copied = answer.text().copy(name, kLongestModelName);
  name[copied] = '\0';
  *length = static_cast<int>(copied);
  return 0;
}

int write_kelp_info_model(const char* name, int length) {
  if (name == nullptr || length < 1 || length > static_cast<int>(kLongestModelName)) return -1;
  fcx::ModemAnswer answer;
  return fcx::ask(fcx::request::model_name, {name, static_cast<size_t>(length)}, answer);
}
