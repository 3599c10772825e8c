// Base64 as the services of the system side speak it, apart from the library's own: two sides of a
// link that share one codec would share its mistakes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace virtual_phone {

std::string to_base64(std::string_view bytes);

/// The bytes of a text with its padding; nothing for a text that is no base64.
std::optional<std::string> from_base64(std::string_view text);

}  // namespace virtual_phone
