// Places whose phones are virtual and fresh, each served by processes of its own: one that hangs
// or crashes is nobody else's concern.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "station/link.h"

namespace station {

/// Makes phones of a profile in `directory`, one after another. A process is forked for that at
/// once: this one may have no thread, and the library may have done nothing in it. That process and
/// all of its own end with this one, or with the object, and Ctrl-C at the terminal does not reach
/// them. Throws std::system_error.
/// @param number of the place: no two of a directory have the same
std::unique_ptr<PhonePlace> virtual_place(const std::filesystem::path& directory,
                                          const std::string& profile, size_t number);

}  // namespace station
