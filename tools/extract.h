// Unpacking an archive of this machine with the library, on a phone that is gone again.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "daemon/log_collection.h"

namespace cli {

struct Extraction {
  std::filesystem::path archive;
  std::filesystem::path directory;  ///< new, or empty but for what a killed run has left
  bool is_flat = false;             ///< without the folders of the archive
  std::optional<std::string> password;
};

/// Why an archive was not extracted.
struct Refusal {
  bool is_opened;               ///< else it is none, or has no entries
  factory_daemon::Lines lines;  ///< what the library has logged
  bool is_locked;               ///< an entry could not be opened with the password
};

/// Extracts all of it, or leaves the directory as it was; what others put there meanwhile stays.
/// @return nothing when it is done. Throws virtual_phone::Error for what cannot be read or written.
std::optional<Refusal> extract(const Extraction& wanted);

}  // namespace cli
