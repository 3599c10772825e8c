// Places of the customisation package and of what is kept of it on the device.
#pragma once

namespace fcx {

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
