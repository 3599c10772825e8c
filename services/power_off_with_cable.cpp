#include <hardware_legacy/power.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "common/log.h"
#include "common/properties.h"
#include "common/text.h"
#include "common/threads.h"
#include "fcx/factory_items.h"
#include "fcx/system_control.h"
#include "fcx/usb_mode.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "platform/unified_sysfs.h"
#include "services/steps.h"

namespace {

constexpr char kSleepMode[] = "vendor.qve.sleepmode.on";
constexpr char kWakeLock[] = "fcx_poweroff";
constexpr char kVoltageNode[] = "/proc/qve_power/adc/usb_in";
constexpr char kRedLedNode[] = "/proc/qve_power/key_led/red_brightness";
constexpr char kDimmed[] = "80";

constexpr int kCableVoltage = 1'000'000;  // microvolts
constexpr uint64_t kPauseUs = 1'000'000;

/// What get_usbstate_from_sys() returns.
enum UsbState { kInvalid, kDisconnected, kConnected, kConfigured };

bool has_cable(int state) { return state == kConnected || state == kConfigured; }

/// The voltage at the USB connector, in microvolts; nothing when it cannot be read, with the reason
/// in errno.
std::optional<int> read_voltage() {
  fcx::NodeText text;
  errno = EIO;  // where the library does not say
  if (unified_sysfs_read(kVoltageNode, text.data(), static_cast<int>(text.capacity())) < 0) {
    return std::nullopt;
  }
  return fcx::decimal_number(text.view());
}

/// Whether the voltage tells that the cable is there, and so will tell that it has been pulled.
bool voltage_tells() {
  const std::optional<int> voltage = read_voltage();
  if (!voltage.has_value()) {
    DOMAIN_ERROR("bCheckVBUS is false, Unable to read vbus : %s\n", strerror(errno));
    return false;
  }
  if (*voltage < kCableVoltage) {
    DOMAIN_ERROR("bCheckVBUS is false, vbus range is wrong %d\n", *voltage);
    return false;
  }
  DOMAIN_INFO("bCheckVBUS is true, vbus value = %d\n", *voltage);
  return true;
}

/// The cable may be out before the USB state says so.
bool voltage_has_dropped() {
  const int voltage = read_voltage().value_or(0);
  DOMAIN_INFO("USB vbus value = %d \n", voltage);
  return voltage >= 1 && voltage < kCableVoltage;
}

void blink_while_connected(int state) {
  constexpr const char* kBlink[] = {"255", "0"};
  const bool looks_at_voltage = voltage_tells();
  for (int blink = 0; has_cable(state); blink = 1 - blink) {
    if (!fcx::write_node(kRedLedNode, kBlink[blink])) {
      DOMAIN_ERROR("RED LED blink set error : %d", blink);
    }
    if (looks_at_voltage && voltage_has_dropped()) return;
    fcx::platform_sleep_us(kPauseUs);
    state = get_usbstate_from_sys();
  }
}

void show_that_cable_is_out() {
  static_cast<void>(system_wakeup());  // it has logged its failure, and the rest goes on
  if (!fcx::write_node(kRedLedNode, "255")) DOMAIN_ERROR("RED LED bright set error");
  DOMAIN_INFO("Cable is unconnected");
}

void dim(const char* function) {
  if (normal_mode_check() == 1)
    return fcx::write_node_or_log(function, fcx::kBrightnessNode, kDimmed);
  // It has logged its failure, and the rest goes on.
  static_cast<void>(fcx::send_request(function, fcx::request::wake_up));
}

}  // namespace

int power_off_with_cable() {
  constexpr int kGoesToShipMode = 5;
  fcx::set_property_or_log(__func__, kSleepMode, "1");
  if (const int lock = acquire_wake_lock(PARTIAL_WAKE_LOCK, kWakeLock); lock < 0) {
    DOMAIN_ERROR("Failed to acquire the wakelock \"%s\", ret = %d", kWakeLock, lock);
    return 1;
  }
  dim(__func__);
  const int error =
      fcx::start_detached(fcx::LibraryThread::cable_wait, wait_for_cable_disconnect, nullptr);
  if (error != 0) {
    errno = error;
    DOMAIN_ERROR("Unable to create power off thread : %s\n", strerror(errno));
    return 1;
  }
  if (fcx::factory_status_for(__func__) != kGoesToShipMode) return 0;
  const int stored = set_ship_mode_status(1);
  if (stored >= 0) return 0;
  DOMAIN_ERROR("Unable to set Ship mode ftm : %d\n", stored);
  return 1;
}

void* wait_for_cable_disconnect(void*) {
  const int state = get_usbstate_from_sys();
  if (state == kInvalid) {
    DOMAIN_ERROR("USB state is invalid");
    return nullptr;
  }
  blink_while_connected(state);
  show_that_cable_is_out();
  static_cast<void>(system_poweroff_ship_mode());  // always 0
  return nullptr;
}

int retry_power_off_with_cable() {
  if (system_check_pif_bootmode() != 1) return 0;
  const int status = fcx::factory_status_for(__func__);
  if (status != 3 && status != 5) return 0;
  if (fcx::read_property(kSleepMode).c_str()[0] != '1') return 0;
  DOMAIN_INFO("retry poweroff cmd\n");
  const int state = get_usbstate_from_sys();
  if (has_cable(state)) return power_off_with_cable();
  if (state == kInvalid) {
    DOMAIN_ERROR("USB state is invalid");
    return -1;
  }
  show_that_cable_is_out();
  return system_poweroff();
}
