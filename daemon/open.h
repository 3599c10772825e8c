// The phone's factory daemon, as the bench plays it. Only it opens a phone: for the tool, and for
// whoever else serves one.
#pragma once

#include <filesystem>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

/// Makes the phone in `directory` this process's, forgets what carrier set-up found out about
/// another, opens the factory item store, and tells the library whether the phone is in flight
/// mode. Throws virtual_phone::Error.
virtual_phone::Phone& open(const std::filesystem::path& directory);

/// Opens the factory item store of this process's phone. Throws virtual_phone::Error.
void open_item_store();

}  // namespace factory_daemon
