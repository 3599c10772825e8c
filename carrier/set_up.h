// The set-up decision around its passes.
#pragma once

namespace fcx {

/// Reads what the device falls back to: operator, ICCID and country.
void read_defaults();

/// The time for the SIM is over, or set-up is complete: what is decided stands.
void close_first_boot();

}  // namespace fcx
