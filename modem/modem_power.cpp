#include "fcx/modem_power.h"

#include <atomic>
#include <cstring>

#include "common/log.h"
#include "common/properties.h"
#include "common/threads.h"
#include "fcx/system_control.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"

namespace {

constexpr char kBootProperty[] = "vendor.qve.ril.modembsp.bootup";
constexpr uint64_t kResetUs = 5'000'000;

std::atomic<bool> is_resetting = false;

/// Whether the modem answers this request with a '1'.
bool modem_says_yes(int request) {
  fcx::ModemAnswer answer;
  return fcx::ask(request, {}, answer) == 0 && answer.starts_with("1");
}

}  // namespace

unsigned int qve_reset_modem() {
  // Set here and only cleared by the thread: a failure below leaves it set, on purpose.
  if (is_resetting.exchange(true)) {
    DOMAIN_INFO("POWER_RESET: modem reset is doing.\n");
    return 0;
  }
  if (system_efs_sync() < 0) {
    DOMAIN_ERROR("EFS SYNC ERROR !!!!!!!!!\n");
    return 1;
  }
  if (!modem_says_yes(fcx::request::reset_modem)) return 1;
  const int error =
      fcx::start_detached(fcx::LibraryThread::modem_reset, testmode_power_reset_wait, nullptr);
  if (error == 0) return 0;
  DOMAIN_INFO("POWER_RESET : Unable to create modem reset thread : %s\n", strerror(error));
  return 1;
}

void* testmode_power_reset_wait(void*) {
  DOMAIN_INFO("POWER_RESET: modem reset start.\n");
  fcx::platform_sleep_us(kResetUs);
  DOMAIN_INFO("POWER_RESET: modem reset done.\n");
  is_resetting = false;
  return nullptr;
}

unsigned int qve_check_modem() {
  return fcx::read_property(kBootProperty, "0").c_str()[0] == '1' ? 0 : 1;
}

unsigned int qve_check_modem_cmd_ready() {
  return modem_says_yes(fcx::request::check_ready) ? 0 : 1;
}
