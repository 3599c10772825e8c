#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "fcx/modem_nv.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "services/steps.h"

namespace {

constexpr size_t kItemSize = 128;
using NvItem = std::array<uint8_t, kItemSize>;
using NvText = fcx::TextBuffer<kItemSize>;

constexpr uint16_t kFtmMode = 453;
constexpr int kNotActive = 5;

constexpr int kInStep = 0;
constexpr int kFailed = 1;

/// What an NV item holds, zeros where it is not active. Whether it could be read: a failure is
/// logged.
bool read_nv(const char* function, uint16_t number, NvItem& item) {
  const int status = qve_diag_nvread(number, item.data());
  if (status == kNotActive) item = {};
  if (status == 0 || status == kNotActive) return true;
  DOMAIN_ERROR("%s: NV item %d cannot be read: %d\n", function, number, status);
  return false;
}

/// Writes an NV item and flushes the modem's file system. A failure is logged. @return 0 or 1
int write_nv(const char* function, uint16_t number, NvItem& item) {
  if (qve_diag_nvwrite(number, item.data()) != 0) {
    DOMAIN_ERROR("%s: nv write fail\n", function);
    return kFailed;
  }
  if (system_efs_sync() != 0) {
    DOMAIN_ERROR("%s: efs sync fail\n", function);
    return kFailed;
  }
  return kInStep;
}

/// A text that an NV item is to hold, and how it is spoken of.
struct Synchronised {
  const char* function;
  uint16_t item;
  int shortest;  ///< length that is written
  const char* what;
  const char* short_name;
  const char* end;  ///< of the line that compares
};
constexpr Synchronised kVersion{"system_nvwrite_version_info", 33797, 6, "SW Version", "swv", "\n"};
constexpr Synchronised kHardware{
    "system_nvwrite_hwversion_info", 33798, 1, "HW Version", "hwv", " \n"};
constexpr Synchronised kModel{
    "system_nvwrite_model_name_info", 33799, 4, "Model Name", "model_name", "\n"};

int synchronise(const Synchronised& row, std::string_view source, int length) {
  const NvText text(source);
  NvItem item{};
  if (!read_nv(row.function, row.item, item)) return kFailed;
  const NvText stored({reinterpret_cast<const char*>(item.data()), item.size()});
  DOMAIN_INFO("%s_length : %d, nv_buf : %s, %s_buf : %s%s", row.short_name, length, stored.c_str(),
              row.short_name, text.c_str(), row.end);
  if (length < row.shortest || text.view() == stored.view()) {
    DOMAIN_INFO("%s is already synchronized\n", row.what);
    return kInStep;
  }
  memcpy(item.data(), text.c_str(), item.size());
  if (write_nv(row.function, row.item, item) != kInStep) return kFailed;
  DOMAIN_INFO("%s is synchronized with NV Item\n", row.what);
  return kInStep;
}

}  // namespace

int system_nvwrite_ftm_mode() {
  constexpr int kLastTestStatus = 4;
  const int status = fcx::factory_status_for(__func__);
  // What cannot be read counts as above.
  if (status < 0 || status > kLastTestStatus) return kInStep;
  NvItem item{};
  if (!read_nv(__func__, kFtmMode, item)) return kFailed;
  constexpr std::array<uint8_t, 4> kOn = {1, 0, 0, 0};  // 32 bits, low byte first
  if (!std::equal(kOn.begin(), kOn.end(), item.begin())) return kInStep;
  item = {};
  if (write_nv(__func__, kFtmMode, item) != kInStep) return kFailed;
  DOMAIN_INFO("NV_FTM_MODE_I set 0\n");
  return kInStep;
}

int system_nvwrite_version_info() {
  fcx::TextBuffer<70> version;
  int length = 0;
  if (get_qve_factory_sw_version(1, version.data(), &length) != 0) {
    DOMAIN_ERROR("get_qve_factory_sw_version fail\n");
    return kFailed;
  }
  return synchronise(kVersion, version.view(), length);
}

int system_nvwrite_hwversion_info() {
  fcx::TextBuffer<10> version;
  int length = 0;
  if (get_qve_hw_version(version.data(), &length) != 0) {
    DOMAIN_ERROR("%s: get_qve_hw_version fail\n", __func__);
    return kFailed;
  }
  return synchronise(kHardware, version.view(), length);
}

int system_nvwrite_model_name_info() {
  const fcx::PropertyText name = fcx::read_property("ro.boot.vendor.qve.model.name");
  return synchronise(kModel, name.view(), static_cast<int>(name.view().size()));
}

int nv_factoryitem_sync() {
  constexpr int (*kInOrder[])() = {system_nvwrite_version_info, system_nvwrite_hwversion_info,
                                   system_nvwrite_model_name_info};
  DOMAIN_INFO("[%s] nv_factoryitem_sync\n", __func__);
  // It has logged its failure, and has no say in the result, on purpose.
  static_cast<void>(system_nvwrite_ftm_mode());
  const bool is_in_step = std::all_of(std::begin(kInOrder), std::end(kInOrder),
                                      [](int (*each)()) { return each() == kInStep; });
  return is_in_step ? kInStep : kFailed;
}
