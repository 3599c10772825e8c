// Bytes as the daemon and the tool show them.
#pragma once

#include <string>
#include <string_view>

namespace factory_daemon {

/// Two lower-case digits for each byte.
std::string to_hex(std::string_view bytes);

/// Data as text, or as hex:BYTES where it would not stay in its line as it is.
std::string as_word(std::string_view data);

}  // namespace factory_daemon
