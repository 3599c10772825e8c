// Directories of the phone's file tree that are its own: no link on the way to them leads
// elsewhere. What writes or deletes below a directory on somebody's behalf asks here for it first.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// Where a device directory lies; nothing when there is none, or a link on the way.
std::optional<std::filesystem::path> own_directory(const Phone& phone,
                                                   std::string_view device_path);

/// The same of one that is made where it is missing. Throws Error where something else has its
/// name, or the name of one above it.
std::filesystem::path make_own_directory(const Phone& phone, std::string_view device_path);

}  // namespace virtual_phone
