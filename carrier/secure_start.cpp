// The carrier's restore during an encrypted start: before the user's data can be read, the carrier
// comes from the SIM and from files outside of it.
#include <mutex>

#include "carrier/properties.h"
#include "carrier/property_cache.h"
#include "carrier/set_up.h"
#include "carrier/sim.h"
#include "carrier/sim_profile.h"
#include "carrier/stored_properties.h"
#include "fcx/customisation.h"
#include "fcx/single_binary.h"

namespace {

/// Sets the carrier that the property cache holds, if it holds one.
void restore_from_cache() {
  fcx::PropertyText carrier;
  if (!fcx::read_cached_property(fcx::kSimOperatorProperty, carrier).has_content()) return;
  fcx::publish(fcx::kSimOperatorProperty, carrier);
  for (const char* name : {fcx::kSimSubOperatorProperty, fcx::kSimCountryProperty}) {
    fcx::PropertyText value;
    // What cannot be read stays what it is; what is not there is nothing.
    if (!fcx::read_cached_property(name, value).has_failed()) fcx::publish(name, value);
  }
}

/// Applies the SIM auto profile of the ICCID that was read.
void apply_profile(fcx::CarrierState& state) REQUIRES(state.pass) {
  qve_check_nao_feature();
  if (!state.has_fast_profile || fcx::read_sim_profile_permission() != 0) return;
  fcx::forget_last_profile(state, state.restored_iccid.view());
  fcx::SimProfile profile;
  // One that could not be read or kept is tried again by set-up, after the encrypted start.
  static_cast<void>(fcx::qve_parse_sim_auto_profile(state.restored_iccid.c_str(), profile));
}

}  // namespace

int qve_secure_startup_read_iccid() {
  fcx::CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  // From here on set-up decides. It may have settled a carrier that no SIM changes.
  if (fcx::decrypt_status().view() == fcx::kFrameworkStarts) return 0;
  const fcx::SimReading sim = fcx::read_sim("[QVE][SBP][ICCID]");
  if (sim.answer != fcx::SimAnswer::iccid) return 1;
  state.restored_iccid = state.is_mtk ? fcx::without_padding(sim.iccid) : sim.iccid;
  apply_profile(state);
  qve_set_carrier_from_file();
  return 0;
}

void qve_secure_sim_profile_from_iccid() {
  fcx::CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  apply_profile(state);
}

void qve_set_carrier_from_file() {
  // Where the list is an earlier SIM's, what is in the cache may be, too.
  if (fcx::read_sim_profile_permission() != 1 && !fcx::carrier_state().is_stored_profile_stale) {
    restore_from_cache();
  }
  fcx::restore_carrier_properties();
  fcx::restore_sap_feature();
}

void qve_secure_startup_parse_iccid() {
  fcx::CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  fcx::parse_iccid(state, state.restored_iccid.c_str());
}
