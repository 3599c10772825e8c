// The carrier_code.xml that an update of profiles has stored on the device. On an overlay product
// the package's file passes as a copy through the same name, so the stored one waits aside
// meanwhile.
#pragma once

#include "common/result.h"

namespace fcx {

/// Where the stored file waits.
inline constexpr char kStoredAside[] = "/mnt/vendor/persist-qv/kelp/carrier_code.xml.stored";

/// Moves the stored file aside, or notes that there is none: from then on what has its name is a
/// copy. On disk when it is done; when it is not, everything is as it was, or put_back() makes it
/// so.
Result set_stored_codes_aside();

/// Ends what set_stored_codes_aside() began, in this start or in one that was interrupted: the
/// stored file has its name again, and no copy has. Nothing when nothing was begun.
Result put_stored_codes_back();

/// The same, but where nothing was stored the copy stays.
Result put_stored_codes_back_or_keep_copy();

}  // namespace fcx
