// Bytes as the daemon and the tool show them.
#pragma once

#include <string>
#include <string_view>

namespace factory_daemon {

/// Two lower-case digits for each byte.
std::string to_hex(std::string_view bytes);

}  // namespace factory_daemon
