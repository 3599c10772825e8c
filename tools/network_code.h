// The form of a network-code list, for whoever types one.
#pragma once

#include <string_view>

namespace cli {

/// Throws UsageError, with the reason, for a text that has not the form of a network-code list: in
/// double quotes the number of entries, then each entry in double quotes, with five fields.
void check_network_code(std::string_view ntcode);

}  // namespace cli
