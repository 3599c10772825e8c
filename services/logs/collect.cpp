#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "common/files.h"
#include "common/local_time.h"
#include "common/log.h"
#include "common/text.h"
#include "fcx/device_functions.h"
#include "fcx/log_collection.h"
#include "fcx/make_zip_file.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"
#include "platform/device_home.h"
#include "services/logs/last_logs.h"
#include "services/logs/log_path.h"
#include "services/logs/places.h"

namespace {

using fcx::LogPath;

constexpr mode_t kFolderMode = 0755;

/// The folders that are collected, what they are called in a dated folder, and whether they are
/// collected in a mobile-ID boot.
constexpr struct {
  const char* source;
  const char* folder;
  bool in_mobile_id_boot;
} kCollected[] = {
    {fcx::kDbDump, "dbdump/", true},
    {fcx::kNvDump, "nvdump/", false},
    {fcx::kTouch, "touch/", false},
};

/// The logs that commands print.
constexpr struct {
  const char* what;
  const char* command;
  const char* file;
} kPrinted[] = {
    {"kernel", "/vendor/bin/dmesg", "kernel.log"},
    {"prop", "/vendor/bin/getprop", "property.log"},
};

using DateText = fcx::TextBuffer<29>;

bool is_there(const char* folder) { return fcx::DeviceDirectory(folder).error() == 0; }

/// Makes the dated folder. What cannot be made is logged: what belongs there will be, too.
void make_dated_folder(const LogPath& dated) {
  const fcx::Result made = fcx::make_device_directory(dated.c_str(), kFolderMode);
  if (made.ok() || made.error() == EEXIST) return;
  DOMAIN_ERROR("logsave: %s: %s\n", dated.c_str(), made.reason());
}

void copy_folders(const LogPath& dated, bool is_mobile_id_boot) {
  for (const auto& each : kCollected) {
    if (is_mobile_id_boot && !each.in_mobile_id_boot) continue;
    LogPath target = dated;
    if (target.append({each.folder})) {
      copy_log(target.c_str(), each.source);
    } else {
      DOMAIN_ERROR("logsave: %s%s is too long\n", dated.c_str(), each.folder);
    }
  }
}

void run(const char* command) {
  const int status = fcx::platform_shell(command);
  if (status == 0) return;
  DOMAIN_ERROR("logsave: \"%s\" has ended with %d\n", command,
               WIFEXITED(status) ? WEXITSTATUS(status) : status);
}

void save_printed_logs(const char* path, const char* date) {
  for (const auto& each : kPrinted) {
    DOMAIN_INFO("Save %s log to %s%s/%s\n", each.what, path, date, each.file);
    std::array<char, 1000> command;
    // The path is our own and short.
    snprintf(command.data(), command.size(), "%s > %s%s/%s", each.command, path, date, each.file);
    run(command.data());
  }
}

/// Whether there is something to collect: in a mobile-ID boot the folder, else what the system side
/// copies now.
bool can_collect(const DateText& date, bool is_mobile_id_boot) {
  if (is_mobile_id_boot) {
    if (is_there(DBDUMP_DIR)) return true;
    DOMAIN_INFO("dbdump dir open fail. In mid booting, logsave is only supported dbdump dir.\n");
    return false;
  }
  fcx::ModemAnswer answer;
  if (fcx::ask(fcx::request::copy_logs, date.view(), answer) == 0) return true;
  DOMAIN_INFO("QVATCMDService log copy fail.\n");
  return false;
}

int pack(const char* path) {
  fcx::TextBuffer<LogPath::kLongest> archive{fcx::kLogArchive};
  fcx::TextBuffer<LogPath::kLongest> folder{path};
  if (logsave_makezip(archive.data(), folder.data()) != 0) return 1;
  fcx::platform_sync();
  return 0;
}

int save_internally(const char* path, const DateText& date) {
  DOMAIN_INFO("Save to INTERNAL SD\n");
  const bool is_mobile_id_boot = fcx::is_mobile_id_boot();
  if (!can_collect(date, is_mobile_id_boot)) return 1;
  LogPath dated;
  if (!dated.append({path, date.view(), "/"})) return 1;
  make_dated_folder(dated);
  DOMAIN_INFO("logsave: dir=%s", dated.c_str());
  copy_folders(dated, is_mobile_id_boot);
  fcx::save_last_logs(dated.view());
  save_printed_logs(path, date.c_str());
  return pack(path);
}

int save_nv_dump(const char* path) {
  DOMAIN_INFO("Save to NVDUMP SD\n");
  copy_log(path, NVDUMP_DIR);
  return 0;
}

int save_externally(const char* path, const DateText& date) {
  DOMAIN_INFO("Save to EXTERNAL SD\n");
  LogPath dated;
  if (!dated.append({path, "/", date.view(), "/"})) {
    DOMAIN_ERROR("logsave: %s/%s/ is too long\n", path, date.c_str());
    return 0;
  }
  make_dated_folder(dated);
  copy_folders(dated, false);
  return 0;
}

}  // namespace

void set_directory_name(char* out) {
  if (out == nullptr) return;
  const auto now = static_cast<time_t>(fcx::platform_time());
  tm local{};
  fcx::local_time(now, local);
  constexpr size_t kSize = 30;
  out[0] = '\0';  // of what does not fit nothing is written
  strftime(out, kSize, "%Y%m%d_%H%M%S", &local);
}

int get_external_logsave_path(char* out) {
  if (out == nullptr) return 1;
  if (mmc_emt(nullptr) != 0) {
    DOMAIN_INFO("[External sd log save] sdcard is not inserted");
    return 1;
  }
  fcx::TextBuffer<LogPath::kLongest> card;
  if (get_sdcard_path(card.data()) != 0) {
    DOMAIN_INFO("[External sd log save] get_sdcard_path fail");
    return 1;
  }
  LogPath path;
  if (!path.append({card.view(), "/logsave"})) {
    DOMAIN_ERROR("%s: %s is too long\n", __func__, card.c_str());
    return 1;
  }
  path.view().copy(out, path.size());
  out[path.size()] = '\0';
  return 0;
}

int logsave(const char* path) {
  if (path == nullptr) return 1;
  // It is there already, as a rule; what becomes of a path that is none is seen below.
  static_cast<void>(fcx::make_device_directory(path, kFolderMode));
  DateText date;
  set_directory_name(date.data());
  DOMAIN_INFO("saving date : %s\n", date.c_str());
  const std::string_view target = path;
  // Of "/storage/" only seven characters count, on purpose.
  constexpr std::string_view kStorage = "/storag";
  if (target == fcx::kSavedLogs) return save_internally(path, date);
  if (target.find("nvdump") != std::string_view::npos) return save_nv_dump(path);
  if (target.substr(0, kStorage.size()) == kStorage) return save_externally(path, date);
  DOMAIN_INFO("unknown sdcard...\n");
  return 1;
}
