// The SIM as carrier set-up reads it.
#pragma once

#include "carrier/state.h"

namespace fcx {

enum class SimAnswer {
  iccid,
  none,       ///< no answer
  too_short,  ///< no ICCID yet, from the radio layer
  no_sim,
  read_error,
  not_ready
};

struct SimReading {
  SimAnswer answer;
  IccidText iccid;  ///< of SimAnswer::iccid
};

/// Reads the SIM once, and logs what it answered.
/// @param prefix stands before each line
SimReading read_sim(const char* prefix);

/// The ICCID without what a MediaTek chipset fills it up with.
IccidText without_padding(const IccidText& iccid);

/// 0 when the SIM may drive the automatic profile, 1 when it may not, -1 when that cannot be read.
/// The platform says so in "persist.vendor.qve.sim.profile.permission".
int read_sim_profile_permission();

}  // namespace fcx
