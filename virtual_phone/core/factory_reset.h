// Who carries out the factory reset that the library has noted: on a phone the recovery system,
// before the next start.
#pragma once

#include <string>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// The event of a reset that was carried out, with what was noted as its detail.
constexpr char kFactoryResetEvent[] = "factory_reset";

/// What is noted for the next start; empty when nothing is.
std::string noted_factory_reset(Phone& phone);

/// Empties what a reset empties of the file tree: "/data", and the card when the note says so. No
/// link is followed, and factory items, the modem and all other files stay. Interrupted, it can be
/// done again. Throws Error for what cannot be removed.
void erase_files_for(const std::string& reset, Phone& phone);

}  // namespace virtual_phone
