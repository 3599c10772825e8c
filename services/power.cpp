#include <cutils/android_reboot.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/log.h"
#include "common/threads.h"
#include "fcx/system_control.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "services/steps.h"

namespace {

using fcx::LibraryThread;

constexpr char kBootStatusProperty[] = "persist.vendor.qve.bootstatus";
constexpr char kKernelPowersOffNode[] = "/sys/kernel/fcx_mid/fcx_status";
constexpr char kShipModeReason[] = "oem-11";
constexpr char kRefused[] = "\xFF";  // how the modem's answer begins then

/// In which an answer leaves.
constexpr uint64_t kAnswerUs = 1'000'000;
constexpr uint64_t kShipModeUs = 2'000'000;

void reboot(const char* function, unsigned command, const char* reason) {
  if (android_reboot(command, 0, reason) < 0) DOMAIN_ERROR("%s: no reboot\n", function);
}

void restart_for(const char* reason) {
  DOMAIN_INFO("start restart with reason : %s\n", reason == nullptr ? "" : reason);
  fcx::platform_sync();
  fcx::platform_sleep_us(kAnswerUs);
  reboot("restart_with_reason", ANDROID_RB_RESTART2, reason);
  // A restart's, as of any reboot, on purpose.
  DOMAIN_INFO("end reboot\n");
}

/// A way to leave the running system.
struct Departure {
  const char* name;
  const char* end;  ///< what the last line calls it
  bool syncs;       ///< all files are made durable before the thread starts, not only the modem's
  LibraryThread thread;
  void* (*body)(void*);
};

constexpr Departure kRestart{"system_restart", "system_restart", true, LibraryThread::reboot,
                             [](void*) -> void* {
                               restart_for("fcx");
                               return nullptr;
                             }};
constexpr Departure kDload{"system_dload", "system_dload", false, LibraryThread::reboot,
                           [](void*) -> void* {
                             restart_for("dload");
                             return nullptr;
                           }};
// Its last line has another name than its first, on purpose.
constexpr Departure kAat{"system_aat", "system_aat_write", false, LibraryThread::reboot,
                         [](void*) -> void* {
                           restart_for("aat_write");
                           return nullptr;
                         }};
constexpr Departure kPowerOff{"system_poweroff", "system_poweroff", true, LibraryThread::power_off,
                              [](void*) -> void* {
                                static_cast<void>(poweroff());  // always 0
                                return nullptr;
                              }};

/// Makes durable what is to be kept. Whether it is.
bool is_prepared(const Departure& departure) {
  DOMAIN_INFO("start %s\n", departure.name);
  if (system_efs_sync() != 0) {
    DOMAIN_ERROR("EFS SYNC ERROR\n");
    return false;
  }
  if (departure.syncs) {
    DOMAIN_INFO("system_efs_sync DONE\n");
    fcx::platform_sync();
    DOMAIN_INFO("sync DONE\n");
  }
  return true;
}

int depart(const Departure& departure) {
  const int error = fcx::start_detached(departure.thread, departure.body, nullptr);
  if (error != 0) {
    errno = error;
    DOMAIN_ERROR("Unable to create frst thread : %s\n", strerror(errno));
    return -1;
  }
  DOMAIN_INFO("end %s\n", departure.end);
  return 0;
}

int prepare_and_depart(const Departure& departure) {
  return is_prepared(departure) ? depart(departure) : -1;
}

}  // namespace

int restart() {
  DOMAIN_INFO("start restart\n");
  fcx::platform_sleep_us(kAnswerUs);
  reboot(__func__, ANDROID_RB_RESTART, nullptr);
  DOMAIN_INFO("end restart\n");
  return 0;
}

int restart_with_reason(char* reason) {
  restart_for(reason);
  return 0;
}

int poweroff() {
  DOMAIN_INFO("start poweroff\n");
  fcx::platform_sleep_us(kAnswerUs);
  reboot(__func__, ANDROID_RB_POWEROFF, nullptr);
  DOMAIN_INFO("end poweroff\n");
  return 0;
}

int system_efs_sync() {
  fcx::ModemAnswer answer;
  if (fcx::ask(fcx::request::sync_efs, {}, answer) != 0) {
    DOMAIN_ERROR("system_efs_sync Fail ! return error.");
    return -1;
  }
  if (answer.starts_with(kRefused)) {
    DOMAIN_ERROR("system_efs_sync Fail ! rsp error.");
    return -1;
  }
  return 0;
}

int system_restart() { return prepare_and_depart(kRestart); }

int system_dload() { return prepare_and_depart(kDload); }

int system_aat() { return prepare_and_depart(kAat); }

int system_poweroff() {
  if (!is_prepared(kPowerOff)) return -1;
  const auto kernel = fcx::read_node(__func__, kKernelPowersOffNode);
  if (kernel.has_value() && kernel->c_str()[0] == '1') {
    DOMAIN_INFO("skip fcx poweroff beacause of kernel poweroff\n");
    return 0;
  }
  return depart(kPowerOff);
}

int system_poweroff_ship_mode() {
  if (system_efs_sync() != 0) DOMAIN_ERROR("EFS SYNC ERROR !!!!!!!!!\n");
  fcx::platform_sleep_us(kShipModeUs);
  reboot(__func__, ANDROID_RB_RESTART2, kShipModeReason);
  return 0;
}

int make_golden_copy() {
  fcx::ModemAnswer answer;
  if (fcx::send_request(__func__, fcx::request::make_golden_copy, {}, answer) != 0) return 1;
  if (answer.starts_with("1")) return 0;
  DOMAIN_ERROR("%s: the modem refuses\n", __func__);
  return 1;
}

int system_powerkey_hardreset_enable(int c) {
  const char enable = c == '0' ? 0 : 1;
  fcx::ModemAnswer answer;
  if (fcx::send_request(__func__, fcx::request::hardreset_enable, {&enable, 1}, answer) != 0) {
    return 1;
  }
  if (!answer.starts_with(kRefused)) return 0;
  DOMAIN_ERROR("%s: the modem refuses\n", __func__);
  return 1;
}

int set_qve_run_omadm(int n) {
  namespace request = fcx::request;
  constexpr int kNumbered[] = {request::run_omadm_1, request::run_omadm_2, request::run_omadm_3};
  const bool is_numbered = n >= 1 && n <= 3;
  return fcx::send_request(__func__, is_numbered ? kNumbered[n - 1] : request::run_omadm_other);
}

int set_bootstatus(int status) {
  std::array<char, 12> text{};
  snprintf(text.data(), text.size(), "%d", status);
  return fcx::set_property(__func__, kBootStatusProperty, text.data()) ? 0 : -1;
}
