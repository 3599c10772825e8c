// Places of the customisation package and of what is kept of it on the device.
#pragma once

#include "common/text.h"

namespace fcx {

/// A device path as the exported functions hand it over, with its NUL in 2048 bytes.
using PathText = TextBuffer<2047>;

inline constexpr char kStoredFilesDirectory[] = "/mnt/vendor/persist-qv/kelp";
inline constexpr char kCarrierProperties[] = "/mnt/vendor/persist-qv/kelp/kelp.prop";
inline constexpr char kPermanentProperties[] = "/mnt/vendor/persist-qv/kelp/perm.prop";
inline constexpr char kFeatureProperties[] = "/mnt/vendor/persist-qv/kelp/feature.prop";
inline constexpr char kStoredCarrierCodes[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml";

inline constexpr char kCarrierCodes[] = "/config/carrier_code.xml";
inline constexpr char kFeatureCodes[] = "/config/feature_code.xml";
inline constexpr char kClientIds[] = "/config/client_id.xml";
inline constexpr char kPetNames[] = "/petname.xml";

}  // namespace fcx
