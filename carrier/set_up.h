// What the set-up decision shares with its threads. The state's pass is held by the caller.
#pragma once

#include "carrier/state.h"

namespace fcx {

/// Reads what the device falls back to: operator, ICCID and country.
void read_defaults();

/// qve_parse_iccid().
void parse_iccid(CarrierState& state, const char* iccid);

/// The time for the SIM is over, or set-up is complete: what is decided stands.
void close_first_boot();

}  // namespace fcx
