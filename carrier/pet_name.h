// The device's pet name.
#pragma once

namespace fcx {

/// Finds the name that the customisation package, or else the system, has for this region, country,
/// TV and variant, and publishes it in "persist.vendor.qve.petname". Without one that stays.
void resolve_pet_name();

}  // namespace fcx
