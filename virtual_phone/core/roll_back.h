// What of the phone's database a power cut leaves.
#pragma once

#include "virtual_phone/core/phone.h"
#include "virtual_phone/power/power_cut.h"

namespace virtual_phone {

/// Gives what the phone keeps in its database (items, persistent and build properties, the modem's
/// values and NV items, the SIM) the values that a power cut at this moment leaves: those of the
/// last transaction that was flushed, or with `torn` of a later one. What the bench notes, such as
/// events and faults, stays. All that is there afterwards is flushed. Happens at once for other
/// processes that have the phone open. Throws Error.
void roll_back_unsynced(Phone& phone, Unflushed unflushed);

}  // namespace virtual_phone
