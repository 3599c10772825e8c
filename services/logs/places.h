// Where logs are kept on the device, and when not all of them are.
#pragma once

#include <string_view>

#include "common/properties.h"

namespace fcx {

/// What the globals of fcx/log_collection.h say.
constexpr char kDbDump[] = "/data/vendor/factory/dbdump/";
constexpr char kNvDump[] = "/data/vendor/factory/nvdump/";
constexpr char kTouch[] = "/data/vendor/touch/";

/// The dated folders, and the archive of all of them.
constexpr char kSavedLogs[] = "/data/vendor/factory/logsave/";
constexpr char kLogArchive[] = "/data/vendor/factory/logsave.zip";

/// Whether the device was started to write its mobile identity: the system side is not there then.
inline bool is_mobile_id_boot() {
  constexpr std::string_view kMobileId = "MID";
  return read_property("ro.boot.vendor.qve.rkf").view().substr(0, kMobileId.size()) == kMobileId;
}

}  // namespace fcx
