// The SIM auto profile: the carrier that the customisation package has for an ICCID.
#pragma once

#include <string>

#include "carrier/state.h"

namespace fcx {

struct SimProfile {
  PropertyText carrier;  ///< empty when the package has none for this SIM
  PropertyText sub_carrier;
  PropertyText country;
};

/// A file below the package's root for carrier profiles.
std::string profile_file(const char* name);

/// Finds the first profile in carrier_code.xml whose "iccid" begins the ICCID, sets its carrier,
/// sub-carrier and country, and keeps them for starts to come.
/// @return false when the file could not be read, or they could not be kept
[[nodiscard]] bool qve_parse_sim_auto_profile(const char* iccid, SimProfile& profile);

/// Keeps the features that feature_code.xml has for a carrier: client identifiers in perm.prop, all
/// others in feature.prop. Nothing when there is a perm.prop.
/// @return false when they could not be kept
[[nodiscard]] bool qve_parse_sim_auto_feature_profile(const SimProfile& profile);

/// Applies what the package has for an ICCID: the carrier's profile, features and client
/// identifiers. @return false when something could not be read or kept, so that the next start has
/// to try again
[[nodiscard]] bool apply_sim_profile(const char* iccid);

}  // namespace fcx
