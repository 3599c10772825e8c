// System properties as carrier set-up uses them.
#pragma once

#include <string_view>

#include "common/properties.h"

namespace fcx {

inline constexpr char kMccListProperty[] = "persist.vendor.qve.mcc-list";
inline constexpr char kMccMncListProperty[] = "persist.vendor.qve.mccmnc-list";
inline constexpr char kSubsetListProperty[] = "persist.vendor.qve.subset-list";
inline constexpr char kFirstBootProperty[] = "persist.vendor.qve.first-boot";
inline constexpr char kFirstMccProperty[] = "persist.vendor.qve.first-mcc";
inline constexpr char kFirstMccMncProperty[] = "persist.vendor.qve.first-mccmnc";
inline constexpr char kIccidProperty[] = "persist.vendor.qve.iccid";
inline constexpr char kLastIccidProperty[] = "persist.vendor.qve.last-iccid";
inline constexpr char kSimChangedProperty[] = "persist.vendor.qve.sim-changed";
inline constexpr char kSimOperatorProperty[] = "persist.vendor.qve.sim.operator";
inline constexpr char kSimSubOperatorProperty[] = "persist.vendor.qve.sim.operator.sub";
inline constexpr char kSimCountryProperty[] = "persist.vendor.qve.sim.country";
inline constexpr char kSimProfileProperty[] = "persist.vendor.qve.sim.profile";
inline constexpr char kCodeChangedProperty[] = "persist.vendor.qve.ntcode-changed";
inline constexpr char kDelegatedCodeProperty[] = "persist.vendor.qve.tavrin.ntcode";
inline constexpr char kTargetOperatorProperty[] = "ro.vendor.qve.build.target_operator";
inline constexpr char kTargetCountryProperty[] = "ro.vendor.qve.build.target_country";
inline constexpr char kPackageRootProperty[] = "ro.vendor.qve.capp_tamra.rootdir";

/// Sets a property. @return false, and a line in the log, when it is refused
[[nodiscard]] bool set_property(const char* name, const char* value);
[[nodiscard]] bool set_property(const char* name, const PropertyText& value);

/// The same for what the next start sets again, or nobody waits for: a refusal is only logged.
void publish(const char* name, const char* value);
void publish(const char* name, const PropertyText& value);

/// The same, but leaves a "ro." property alone that has a value: it takes one only once.
void publish_once(const char* name, const char* value);

/// What the encryption service has the framework do; empty without encryption.
PropertyText decrypt_status();
inline constexpr std::string_view kFrameworkStarts = "trigger_restart_framework";

/// Whether the SIM decides this device's country.
bool is_sim_base();

}  // namespace fcx
