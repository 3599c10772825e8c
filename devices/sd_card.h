// Where the SD card is.
#pragma once

#include "common/files.h"
#include "common/text.h"

namespace fcx {

using CardPath = TextBuffer<255>;

/// Finds the card's mount point, without a '/' at its end: the first one below "/storage/" in
/// "/proc/mounts" that is not the phone's own storage. Unknown when that cannot be read, which is
/// logged in the name of `function`.
[[nodiscard]] Presence find_card(const char* function, CardPath& path);

}  // namespace fcx
