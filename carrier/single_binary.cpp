// The threads of carrier set-up.
#include "fcx/single_binary.h"

#include <cstring>
#include <mutex>

#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/property_cache.h"
#include "carrier/set_up.h"
#include "carrier/stored_carrier_codes.h"
#include "carrier/stored_properties.h"
#include "common/files.h"
#include "common/threads.h"
#include "fcx/customisation.h"
#include "platform/device_home.h"

namespace {

constexpr int32_t kPassUs = 500'000;
constexpr int32_t kMtkFirstPassUs = 5'000'000;
constexpr int kDecryptPolls = 12;
constexpr uint64_t kDecryptPollUs = 250'000;

constexpr int kStarted = 1;
constexpr int kFailed = 0;

constexpr std::string_view kMinimalFramework = "trigger_restart_min_framework";

/// Calls `pass` every half second until it returns 0 or the time for the SIM is over. On a MediaTek
/// chipset the first five seconds are only waited out.
void poll(int (*pass)()) {
  const fcx::CarrierState& state = fcx::carrier_state();
  for (int32_t elapsed = 0; elapsed < state.sim_wait_us; elapsed += kPassUs) {
    const bool is_too_early = state.is_mtk && elapsed < kMtkFirstPassUs;
    if (!is_too_early && pass() == 0) return;
    fcx::platform_sleep_us(kPassUs);
  }
}

void read_and_log_defaults() {
  fcx::CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  fcx::read_defaults(state);
  SBP_LOG("[QVE][SBP] Default Carrier %s\n", state.default_operator.c_str());
  SBP_LOG("[QVE][SBP] Default Iccid %s\n", state.default_iccid.c_str());
  SBP_LOG("[QVE][SBP] Default Country %s\n", state.default_country.c_str());
  SBP_LOG("[QVE][SBP] Default Timer %d\n", state.sim_wait_us.load());
}

/// @param prefix of the line for a failure
int start_set_up(const char* prefix) {
  const int error =
      fcx::start_detached(fcx::LibraryThread::carrier_set_up, single_binary_event, nullptr);
  if (error == 0) return kStarted;
  SBP_LOG("%sUnable to create Single Binary thread : %s\n", prefix, strerror(error));
  return kFailed;
}

int start_restore() {
  const int error =
      fcx::start_detached(fcx::LibraryThread::carrier_restore, single_binary_iccid_event, nullptr);
  if (error == 0) {
    SBP_LOG("[QVE][SBP] Created  Single Binary ICCID thread...");
    return kStarted;
  }
  SBP_LOG("[QVE][SBP] Unable to create Single Binary ICCID thread : %s\n", strerror(error));
  return kFailed;
}

constexpr char kPrefix[] = "[QVE][SBP] ";
constexpr char kPlainPrefix[] = "[QVE][SBP]";  // without the blank, on purpose

/// Waits for the framework of an encrypted start, and restores the carrier meanwhile.
int start_when_decrypted() {
  int result = kStarted;
  bool is_restoring = false;
  for (int i = 0; i < kDecryptPolls; ++i) {
    const fcx::PropertyText status = fcx::decrypt_status();
    SBP_LOG("[QVE][SBP] vold.decrypt: %s\n", status.c_str());
    if (status.view() == fcx::kFrameworkStarts) return start_set_up(kPrefix);
    if (!is_restoring && status.view().substr(0, kMinimalFramework.size()) == kMinimalFramework) {
      is_restoring = true;
      result = start_restore();
    }
    fcx::platform_sleep_us(kDecryptPollUs);
  }
  return result;
}

/// The time for the SIM may be over. What could not be published is left to the next start.
void close_set_up() {
  fcx::CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  static_cast<void>(fcx::close_first_boot(state));  // the refusal has been logged
}

/// Ends what a start that lost its power has left in the middle.
void make_up_for_interrupted_starts() {
  fcx::clear_property_cache();
  fcx::clear_temporaries(fcx::kStoredFilesDirectory);
  const fcx::Result back = fcx::put_stored_codes_back();
  if (!back.ok())
    SBP_LOG("[QVE][SBP] %s cannot be put back: %s\n", fcx::kStoredCarrierCodes, back.reason());
}

}  // namespace

int sbpCreateThread() {
  make_up_for_interrupted_starts();
  const fcx::PropertyText state = fcx::read_property("ro.crypto.state");
  const fcx::PropertyText type = fcx::read_property("ro.crypto.type");
  const fcx::PropertyText decrypt = fcx::decrypt_status();
  SBP_LOG("[QVE][SBP] Crypto status: %s, Crypto type: %s, Decrypt status: %s\n", state.c_str(),
          type.c_str(), decrypt.c_str());
  if (state.empty() && decrypt.view() == kMinimalFramework) {
    SBP_LOG("[QVE][SBP] Waiting.. Start SBP thread during encryption\n");
    return kStarted;
  }
  qve_sbp_set_timer();
  if (type.view() == "file") return start_set_up(kPrefix);
  if (state.view() == "encrypted") return start_when_decrypted();
  return start_set_up(kPlainPrefix);
}

void* single_binary_event(void*) {
  read_and_log_defaults();
  poll(qve_single_binary_init);
  close_set_up();
  if (fcx::carrier_state().has_fast_profile) {
    fcx::restore_sap_feature();
    fcx::qve_app_property_copy();
  }
  return nullptr;
}

void* single_binary_iccid_event(void*) {
  poll(qve_secure_startup_read_iccid);
  return nullptr;
}
