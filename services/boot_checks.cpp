#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "common/files.h"
#include "common/log.h"
#include "common/properties.h"
#include "fcx/system_control.h"
#include "services/steps.h"

namespace {

constexpr char kFactoryModel[] = "ro.boot.vendor.qve.model.factory";
constexpr char kModelName[] = "ro.boot.vendor.qve.model.name";
constexpr char kRkf[] = "ro.boot.vendor.qve.rkf";
constexpr char kBatteryNode[] = "/proc/qve_power/battery/present";
constexpr char kOperatorImage[] = "/oem/OP";

/// Single-character flags count by their first character.
bool is_one(const char* property) { return fcx::read_property(property).c_str()[0] == '1'; }

/// Copies a value with its NUL. @return its length
int copy_value(const fcx::PropertyText& value, char* out) {
  const size_t length = value.view().size();
  memcpy(out, value.c_str(), length + 1);
  return static_cast<int>(length);
}

}  // namespace

int system_check_fboot() {
  if (!is_one("vendor.qve.boot_completed")) return 0;
  DOMAIN_INFO("[QVE][FCX] Bootcomplete : %c\n", '1');
  return 1;
}

int normal_mode_check() {
  if (is_one("ro.vendor.qve.mid.bootstart")) {
    DOMAIN_INFO("ro.vendor.qve.mid.bootstart [1]");
    return 1;
  }
  const fcx::PropertyText rkf = fcx::read_property(kRkf);
  if (rkf.empty()) {
    DOMAIN_INFO("None %s", kRkf);
    return 0;
  }
  DOMAIN_INFO("%s [%s]", kRkf, rkf.c_str());
  return 1;
}

int system_get_pif_status() {
  if (!is_one("vendor.qve.factory.pif")) return 0;
  DOMAIN_INFO("PIF cable is connected");
  return 1;
}

int system_check_pif_bootmode() {
  return fcx::read_property("ro.bootmode").view().substr(0, 3) == "pif" ? 1 : 0;
}

int system_get_battery_status() {
  const auto present = fcx::read_node(__func__, kBatteryNode);
  return present.has_value() && present->c_str()[0] == '1' ? 1 : 0;
}

int is_op_image_support() {
  const fcx::DeviceFile image(kOperatorImage, O_RDONLY);
  if (image.is_open()) return 1;
  if (!image.is_absent()) DOMAIN_ERROR("%s: %s: %s\n", __func__, kOperatorImage, image.reason());
  return 0;
}

int system_get_build_date(char* out) {
  if (out == nullptr) {
    DOMAIN_ERROR("%s: no buffer\n", __func__);
    return 0;
  }
  return copy_value(fcx::read_property("ro.build.date"), out);
}

int system_get_model_name(char* out) {
  if (out == nullptr) {
    DOMAIN_ERROR("%s: no buffer\n", __func__);
    return 0;
  }
  if (copy_value(fcx::read_property(kFactoryModel), out) > 0) {
    DOMAIN_INFO("[QVE][FCX] %s read OK", kFactoryModel);
    return 1;
  }
  DOMAIN_ERROR("[QVE][FCX] %s read error", kFactoryModel);
  return copy_value(fcx::read_property(kModelName), out);
}

int system_get_factory_model_name(char* out) {
  if (out == nullptr) {
    DOMAIN_ERROR("%s: no buffer\n", __func__);
    return 0;
  }
  const fcx::PropertyText model = fcx::read_property(kFactoryModel);
  const std::string_view name = model.view();
  const size_t hyphen = name.find('-');
  if (hyphen != std::string_view::npos) {
    fcx::PropertyText joined(name.substr(0, hyphen));
    joined.append(name.substr(hyphen + 1));
    copy_value(joined, out);
  }
  // Shown as it is, also where nothing was written to it.
  DOMAIN_INFO("[QVE][FCX] factory model name : %.255s\n", out);
  const size_t length = name.empty() ? fcx::read_property(kModelName).view().size() : name.size();
  return static_cast<int>(length);
}
