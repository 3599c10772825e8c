// The network-code list, as the tool needs it beside the library.
#pragma once

#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace cli {

constexpr size_t kLongestNetworkCode = 2048;  ///< bytes

/// The stored list. The factory item store must be open. Throws virtual_phone::Error when it cannot
/// be read.
std::string stored_network_code();

/// Throws UsageError, with the reason, for a text that has not the form of a network-code list: in
/// double quotes the number of entries, then each entry in double quotes, with five fields.
void check_network_code(std::string_view ntcode);

/// Sets "persist.vendor.qve.mccmnc-list" and "persist.vendor.qve.subset-list" from the stored list,
/// as another part of a phone's system does before carrier set-up starts. The factory item store
/// must be open. Changes nothing when the list cannot be read. Throws Refused for what is longer
/// than a property.
void publish_network_code_lists(virtual_phone::Phone& phone);

}  // namespace cli
