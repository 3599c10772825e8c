// What carrier set-up knows: all that its threads share, one instance for the process. The probes
// write it while a start is prepared, one pass at a time; anybody may read it meanwhile.
#pragma once

#include <atomic>
#include <cstdint>

#include "carrier/decision.h"
#include "carrier/package/state.h"
#include "fcx/sync.h"
#include "platform/thread_annotations.h"

namespace fcx {

using IccidText = TextBuffer<20>;

/// How the last read of the SIM failed. The values are the system's.
enum class SimRead { none_failed = 0, read_error = 1, no_sim = 3, no_response = 4 };

/// How far the first start of a device has come.
enum class FirstBoot {
  open = 0,
  by_network_code = 1,    ///< completed with the network code's MCC
  by_user_interface = 3,  ///< its properties are kept as the user interface set them
  settled = 4             ///< completed in an earlier start, or by the SIM
};

struct CarrierState {
  /// Held during one pass of a set-up thread. What is not atomic below belongs to the passes.
  Mutex pass;

  // Found by the probes.
  std::atomic<int32_t> sim_wait_us = 5'000'000;
  std::atomic<int32_t> revenue_share_version = 20150101;
  std::atomic<bool> is_mtk = false;
  std::atomic<bool> is_kelp = false;
  std::atomic<bool> is_nao = false;
  std::atomic<bool> has_feature_codes = false;  ///< GCID
  std::atomic<bool> has_fast_profile = false;   ///< SIM auto profile at the first read of the SIM
  std::atomic<bool> has_late_profile = false;   ///< SIM auto profile later
  /// Nobody could find out whether there is a file with carrier codes, which both profiles need.
  std::atomic<bool> is_carrier_file_unknown = false;
  /// The same of the file with features.
  std::atomic<bool> is_feature_file_unknown = false;
  /// Whether kelp.prop is of an earlier SIM, since it could not be replaced.
  std::atomic<bool> is_stored_profile_stale = false;

  // Of this start.
  SimRead sim_read GUARDED_BY(pass) = SimRead::none_failed;
  FirstBoot first_boot GUARDED_BY(pass) = FirstBoot::open;
  Decision decision GUARDED_BY(pass);
  /// All is decided but for what could not be published.
  bool is_decided GUARDED_BY(pass) = false;
  /// An earlier pass, or a start that lost its power, has published the first start as done while
  /// the SIM could still settle its MCC.
  bool is_left_waiting GUARDED_BY(pass) = false;
  bool is_network_code_changed GUARDED_BY(pass) = false;
  /// 0 granted, 1 denied, negative when it could not be read
  int sim_profile_permission GUARDED_BY(pass) = 0;
  bool is_test_mode GUARDED_BY(pass) = false;
  IccidText saved_iccid GUARDED_BY(pass);     ///< of the start before
  IccidText restored_iccid GUARDED_BY(pass);  ///< read during an encrypted start
  PropertyText default_operator GUARDED_BY(pass);
  PropertyText default_iccid GUARDED_BY(pass);
  PropertyText default_country GUARDED_BY(pass);
};

CarrierState& carrier_state();

}  // namespace fcx
