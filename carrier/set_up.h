// What the set-up decision shares with its threads.
#pragma once

#include <string_view>

#include "carrier/state.h"

namespace fcx {

/// Reads what the device falls back to: operator, ICCID and country.
void read_defaults(CarrierState& state) REQUIRES(state.pass);

/// Before another SIM's profile is applied: nobody's is whole until it is. Otherwise a start that
/// is interrupted would leave a carrier which an earlier SIM, put back, takes for its own.
void forget_last_profile(CarrierState& state, std::string_view iccid) REQUIRES(state.pass);

/// Step 9, as qve_parse_iccid().
void parse_iccid(CarrierState& state, const char* iccid) REQUIRES(state.pass);

/// Set-up has come to its end: what is decided stands, and no SIM settles it any more. @return
/// false when that could not be published, and nothing was closed
[[nodiscard]] bool close_first_boot(CarrierState& state) REQUIRES(state.pass);

}  // namespace fcx
