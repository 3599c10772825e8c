// The version strings that the phone reports, and where each of their pieces is from.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

struct VersionPiece {
  const char* name;
  std::string value;
  const char* source;  ///< property, file, network code, modem, default; "-" for an empty piece
  std::string where;   ///< the property, or the key and the file; may be empty
};

/// A factory item that holds a version of an earlier start.
struct StoredVersion {
  int item;
  std::string value;
};

struct ReportedVersion {
  const char* name;
  const char* title;
  std::optional<std::string> value;
  std::string reason;  ///< the last line that was logged, where there is no value
  std::vector<VersionPiece> pieces;
  std::optional<StoredVersion> stored;
};

/// Reads all of them; nothing is stored. The phone must be open.
std::vector<ReportedVersion> read_versions(virtual_phone::Phone& phone);

}  // namespace factory_daemon
