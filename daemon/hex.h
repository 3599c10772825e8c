// Bytes as the daemon and the tool show them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace factory_daemon {

/// Two lower-case digits for each byte.
std::string to_hex(std::string_view bytes);

/// Bytes from hexadecimal digits, which may stand apart by blanks, colons and commas. Nothing where
/// they are none, and why in `wrong`.
std::optional<std::string> from_hex(std::string_view digits, std::string& wrong);

/// Data as text, or as hex:BYTES where it would not stay in its line as it is.
std::string as_word(std::string_view data);

}  // namespace factory_daemon
