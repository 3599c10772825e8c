// What a start of the phone decided, and why: for people, and as JSON. ICCIDs name a SIM, and are
// shown in part unless `full`.
#pragma once

#include "tools/boot.h"
#include "tools/cli.h"

namespace cli {

/// {phone, inputs, steps, changes, decision, complete}
Json boot_json(const Boot& boot, bool full);

/// The same as text.
void print_boot(const Boot& boot, bool full);

// The decision alone.
Json decision_json(const Boot& boot);
void print_decision(const Boot& boot);

}  // namespace cli
