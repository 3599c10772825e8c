#include <cerrno>

#include "common/files.h"
#include "common/log.h"
#include "fcx/log_collection.h"
#include "fcx/system_control.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "services/logs/log_path.h"
#include "services/logs/places.h"

namespace {

using fcx::DeviceDirectory;
using fcx::FileType;
using fcx::LogPath;
using fcx::Result;

void log_failure(const char* path, const char* reason) {
  DOMAIN_ERROR("Delete_Folder: %s: %s\n", path, reason);
}

/// Removes what can be removed of a folder. The path is what it was afterwards.
/// @return as Delete_Folder()
int delete_folder(LogPath& path);

/// Removes the folder or regular file of that path; anything else is left.
void delete_entry(LogPath& path) {
  FileType type = FileType::other;
  const Result looked_up = fcx::look_up_type(path.c_str(), type);
  Result removed;
  if (looked_up.ok() && type == FileType::directory && path.append({"/"})) {
    // What cannot be opened has been logged, and stays.
    static_cast<void>(delete_folder(path));
  } else if (looked_up.ok() && type == FileType::regular) {
    removed = fcx::remove_device_file(path.c_str());
  }
  // Somebody may have been quicker.
  const Result& failed = looked_up.ok() ? removed : looked_up;
  if (!failed.ok() && !fcx::ReadResult::is_absence(failed.error())) {
    log_failure(path.c_str(), failed.reason());
  }
}

int delete_folder(LogPath& path) {
  DeviceDirectory directory(path.c_str());
  if (directory.error() != 0) {
    if (!fcx::ReadResult::is_absence(directory.error())) {
      log_failure(path.c_str(), directory.reason());
    }
    return -1;
  }
  const size_t size = path.size();
  while (const char* name = directory.next()) {
    if (path.append_entry(name)) delete_entry(path);
    path.cut(size);
  }
  if (directory.error() != 0) log_failure(path.c_str(), directory.reason());
  const Result removed = fcx::remove_device_directory(path.c_str());
  // One where something was left stays, and nothing is said.
  const bool is_left = removed.error() == ENOTEMPTY || removed.error() == EEXIST;
  if (!removed.ok() && !is_left) log_failure(path.c_str(), removed.reason());
  return 0;
}

void switch_log_services(char value) {
  char text[] = {value, '\0'};
  // A failure has been logged, and stops nothing.
  static_cast<void>(system_set_logservice(text));
}

void erase_folder(const char* path) {
  // What is not there needs no erasing, and what stays has been logged.
  static_cast<void>(Delete_Folder(path));
}

}  // namespace

int Delete_Folder(const char* path) {
  if (path == nullptr) return -1;
  if (LogPath folder; folder.append({path})) return delete_folder(folder);
  DOMAIN_ERROR("%s: the path has more than %zu characters\n", __func__, LogPath::kLongest);
  return -1;
}

void logsave_erase() {
  if (fcx::is_mobile_id_boot()) {
    DOMAIN_INFO("can't use logerase in MID.\n");
    return;
  }
  switch_log_services('0');
  fcx::ModemAnswer answer;
  if (fcx::ask(fcx::request::erase_logs, {}, answer) != 0) {
    // The log services stay off, on purpose.
    DOMAIN_INFO("QVATCMDService log erase fail.\n");
    return;
  }
  switch_log_services('1');
  erase_folder(DBDUMP_DIR);
  DOMAIN_INFO("delete /data/vendor/factory/dbdump/\n");
  erase_folder(NVDUMP_DIR);
  DOMAIN_INFO("delete %s.\n", NVDUMP_DIR);
  erase_folder(fcx::kSavedLogs);
  DOMAIN_INFO("delete %s\n", fcx::kSavedLogs);
  if (const Result removed = fcx::remove_device_file(fcx::kLogArchive); !removed.ok()) {
    DOMAIN_ERROR("%s: %s: %s\n", __func__, fcx::kLogArchive, removed.reason());
  }
  DOMAIN_INFO("delete %s \n", fcx::kLogArchive);
  fcx::platform_sync();
}
