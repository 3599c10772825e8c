// What a start of the phone decided, and why: for people, and as JSON. ICCIDs name a SIM, and are
// shown in part unless `full`.
#pragma once

#include "daemon/boot.h"
#include "tools/json.h"

namespace cli {

/// {phone, inputs, steps, changes, decision, complete}
Json boot_json(const factory_daemon::Boot& boot, bool full);

/// The same as text.
void print_boot(const factory_daemon::Boot& boot, bool full);

// The decision alone.
Json decision_json(const factory_daemon::Boot& boot);
void print_decision(const factory_daemon::Boot& boot);

}  // namespace cli
