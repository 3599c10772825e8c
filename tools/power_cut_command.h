// Power cuts: by hand, and those that faults set.
#pragma once

#include "tools/cli.h"
#include "tools/json.h"
#include "virtual_phone/faults/accesses.h"

namespace cli {

/// What can become of what was not flushed.
Choices unflushed_choices();

/// Lets a power cut that a fault has set be told of: the change after which it was cut on standard
/// error and what was lost on standard output, or an object, and exit status 3. The invocation
/// outlives the tool's work.
void tell_of_power_cuts(const Invocation& invocation);

}  // namespace cli
