// What the set-up decision shares with its threads.
#pragma once

#include "carrier/state.h"

namespace fcx {

/// Reads what the device falls back to: operator, ICCID and country.
void read_defaults(CarrierState& state) REQUIRES(state.pass);

/// Step 9, as qve_parse_iccid().
void parse_iccid(CarrierState& state, const char* iccid) REQUIRES(state.pass);

/// Set-up has come to its end: what is decided stands, and no SIM settles it any more. @return
/// false when that could not be published, and nothing was closed
[[nodiscard]] bool close_first_boot(CarrierState& state) REQUIRES(state.pass);

}  // namespace fcx
