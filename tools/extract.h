// Unpacking an archive of this machine with the library, on a phone that is gone again.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "daemon/log_collection.h"

namespace cli {

struct Extraction {
  std::filesystem::path archive;
  std::filesystem::path directory;  ///< new, or empty
  bool is_flat = false;             ///< without the folders of the archive
  std::optional<std::string> password;
};

/// Extracts all of it, or leaves the directory as it was. @return what the library has logged when
/// it has failed, else nothing. Throws virtual_phone::Error for what cannot be read or written, and
/// for what is no archive.
std::optional<factory_daemon::Lines> extract(const Extraction& wanted);

}  // namespace cli
