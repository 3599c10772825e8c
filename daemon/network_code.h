// The network-code list, which names the carriers that the phone may belong to, and what another
// part of a phone's system publishes of it. The phone must be open.
#pragma once

#include <string>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

constexpr size_t kLongestNetworkCode = 2048;  ///< bytes

/// The stored list. Throws virtual_phone::Error when it cannot be read.
std::string stored_network_code();

/// Rewrites the list, as the daemon does, and publishes what follows from it.
/// @param ntcode at most kLongestNetworkCode bytes, without a NUL
/// Throws virtual_phone::Error when it was not stored, and Refused as publish_network_code_lists()
/// does.
void rewrite_network_code(virtual_phone::Phone& phone, const std::string& ntcode);

/// Sets "persist.vendor.qve.mccmnc-list" and "persist.vendor.qve.subset-list" from the stored list,
/// as another part of a phone's system does before carrier set-up starts. Changes nothing when the
/// list cannot be read. Throws virtual_phone::Refused for what is longer than a property.
void publish_network_code_lists(virtual_phone::Phone& phone);

}  // namespace factory_daemon
