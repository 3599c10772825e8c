#include <cstring>
#include <string_view>

#include "common/log.h"
#include "fcx/sysfs.h"
#include "fcx/system_control.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "services/steps.h"

uint8_t modem_flight_status = 0;

namespace {

using fcx::kBrightnessNode;

constexpr char kAutosleepNode[] = "/sys/power/autosleep";
constexpr char kMinimumBrightness[] = "10";

/// A state of the display, and who brings it about where the library does not.
struct DisplayState {
  const char* function;
  const char* brightness;
  const char* autosleep;
  int request;
};
constexpr DisplayState kAsleep{"system_sleep", "0", "mem", fcx::request::sleep};
constexpr DisplayState kAwake{"system_wakeup", "183", "on", fcx::request::wake_up};

int bring_about(const DisplayState& state) {
  if (normal_mode_check() != 1) return fcx::send_request(state.function, state.request);
  const bool is_bright = fcx::write_node(kBrightnessNode, state.brightness);
  if (!is_bright) DOMAIN_ERROR("Fail: write_sys : LCD_BRIGHTNESS ");
  const auto length = static_cast<int>(strlen(state.autosleep));
  const bool is_set = write_sysfs(kAutosleepNode, state.autosleep, length) == 0;
  if (is_bright && is_set) return 0;
  // Comes for the brightness, too, on purpose.
  DOMAIN_ERROR("Fail: write_sys : POWER_STATE_PATH ");
  return 1;
}

void dim(const char* function) {
  fcx::write_node_or_log(function, kBrightnessNode, kMinimumBrightness);
}

}  // namespace

int system_sleep() { return bring_about(kAsleep); }

int system_wakeup() { return bring_about(kAwake); }

int get_sleep_mode() {
  const auto brightness = fcx::read_node(__func__, kBrightnessNode);
  return brightness.has_value() && brightness->c_str()[0] == '0' ? 1 : 0;
}

void system_set_lcd_brightness() {
  if (modem_flight_status != 0 || system_get_battery_status() == 1) return;
  if (system_get_pif_status() != 1) return;
  const auto text = fcx::read_node(__func__, kBrightnessNode);
  if (!text.has_value()) return;
  const int brightness = fcx::decimal_number(text->view());
  if (brightness == 0 || brightness == 10) return;
  DOMAIN_INFO("Mobile ID Mode (No Battery & PIF), set lcd minimum brightness\n");
  dim(__func__);
}

int system_set_lcd_brightness_loop() {
  constexpr int kPasses = 16;
  constexpr uint64_t kPauseUs = 1'000'000;
  if (modem_flight_status != 0) return 0;
  for (int pass = 1; system_get_battery_status() != 1; ++pass) {
    if (system_get_pif_status() == 1) {
      if (!fcx::read_node(__func__, kBrightnessNode).has_value()) break;
      // With a dot, unlike the single shot, on purpose.
      DOMAIN_INFO("Mobile ID Mode (No Battery & PIF), set lcd minimum brightness.\n");
      dim(__func__);
    }
    if (pass == kPasses) break;
    fcx::platform_sleep_us(kPauseUs);
  }
  return 0;
}
