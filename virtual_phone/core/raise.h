// Phones that an older program made.
#pragma once

#include <filesystem>

#include "virtual_phone/core/database.h"

namespace virtual_phone {

/// Raises the phone in `directory`, whose database this is, to this version: its tables, and what
/// newer phones of its profile have of programs, nodes, directories and build properties. Nothing
/// that is there is changed. Killed in between, it is begun anew by the next call. Throws Error for
/// what is no phone or was made by a newer program, and for what cannot be raised.
void raise(Database& database, const std::filesystem::path& directory);

}  // namespace virtual_phone
