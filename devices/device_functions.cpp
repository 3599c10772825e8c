#include "fcx/device_functions.h"

#include <cutils/properties.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/files.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"

namespace {

constexpr char kTofCalibrationFile[] = "/mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kMidautoStatusProperty[] = "persist.vendor.qve.midauto.status";
constexpr char kMemoryInfoFile[] = "/proc/meminfo";

}  // namespace

int tof_cal_file_check() {
  char first = 0;
  return fcx::read_device_file(kTofCalibrationFile, &first, 1) == 1 ? 0 : -1;
}

int tof_cal_write(const char* text) {
  if (text == nullptr || text[0] == '\0') {
    DOMAIN_ERROR("tof_cal_write: no calibration given\n");
    return -1;
  }
  if (fcx::replace_device_file(kTofCalibrationFile, text) == 0) return 0;
  DOMAIN_ERROR("tof_cal_write: %s: %s\n", kTofCalibrationFile, strerror(errno));
  return -1;
}

int midauto_status_set(const char* status) {
  return status != nullptr && property_set(kMidautoStatusProperty, status) == 0 ? 0 : -1;
}

int ram_memory_size() {
  constexpr std::string_view kTotal = "MemTotal:";
  std::array<char, 1024> bytes;
  const ssize_t length = fcx::read_device_file(kMemoryInfoFile, bytes.data(), bytes.size());
  if (length < 0) {
    DOMAIN_ERROR("ram_memory_size: %s: %s\n", kMemoryInfoFile, strerror(errno));
    return 0;
  }
  std::string_view text(bytes.data(), static_cast<size_t>(length));
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
  constexpr const fcx::FactoryItem& item = fcx::factory_item<420>();
  return sku != nullptr && fcx::read_item(item, sku, item.length + 1) >= 0 ? 0 : -1;
}
