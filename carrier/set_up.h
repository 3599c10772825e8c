// What the set-up decision shares with its threads. The state's pass is held by the caller.
#pragma once

#include "carrier/state.h"

namespace fcx {

/// Reads what the device falls back to: operator, ICCID and country.
void read_defaults();

/// qve_parse_iccid().
void parse_iccid(CarrierState& state, const char* iccid);

/// Set-up has come to its end: what is decided stands, and no SIM settles it any more. @return
/// false when that could not be published, and nothing was closed
bool close_first_boot();

}  // namespace fcx
