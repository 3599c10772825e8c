// Copies of a phone.
#pragma once

#include <filesystem>

#include "virtual_phone/core/phone.h"

namespace exploration {

/// Copies a phone's directory that nobody has open, with all that belongs to it but its log. `to`
/// is made. Throws std::filesystem::filesystem_error.
void copy_phone(const std::filesystem::path& from, const std::filesystem::path& to);

/// The same of one that others may be using. Throws virtual_phone::Error, too.
void copy_phone_in_use(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace exploration
