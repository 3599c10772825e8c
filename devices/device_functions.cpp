#include "fcx/device_functions.h"

#include <array>
#include <string_view>

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

/// The result of one test in lines of NAME=RESULT; empty when it has none.
std::string_view result_of(std::string_view test, std::string_view lines) {
  while (const auto line = fcx::take_line(lines)) {
    std::string_view result = *line;
    if (fcx::take_until(result, '=') == test) return result;
  }
  return {};
}

}  // namespace

int aat_result_init(const char* text, char* out) {
  if (out == nullptr) return -1;
  out[0] = '\0';
  const std::string_view wanted = fcx::bounded_text(text == nullptr ? "" : text, kLongestText);
  fcx::TextBuffer<kLongestText> results;
  const fcx::ReadResult read =
      fcx::read_device_file(kAutomaticTestFile, results.data(), results.capacity());
  if (!read.has_content()) {
    DOMAIN_ERROR("aat_result_init: %s: %s\n", kAutomaticTestFile, read.reason());
    return -1;
  }
  const std::string_view found =
      wanted.empty() ? results.view() : result_of(wanted, results.view());
  out[found.copy(out, kLongestText)] = '\0';
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
  const int kibibytes = fcx::decimal_number(text);
  return kibibytes > 0 ? kibibytes / 1024 : 0;
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
