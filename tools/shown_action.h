// An action as it is shown: of the identities that were typed a part only.
#pragma once

#include <string>

#include "daemon/action.h"
#include "tools/identities.h"

namespace cli {

/// Adds what was typed and is as long as an identity: nobody knows yet whether the phone has it, or
/// takes it for one.
void add_typed_numbers(const factory_daemon::Action& action, Identities& identities);

/// typed_words() with the identities hidden.
std::string shown_words(const factory_daemon::Action& action, const Identities& identities);

}  // namespace cli
