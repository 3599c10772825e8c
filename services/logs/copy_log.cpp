#include <fcntl.h>

#include <array>
#include <cerrno>

#include "common/files.h"
#include "common/log.h"
#include "fcx/log_collection.h"
#include "services/logs/log_path.h"
#include "services/logs/walked_folder.h"

namespace {

using fcx::DeviceDirectory;
using fcx::DeviceFile;
using fcx::FileId;
using fcx::LogPath;
using fcx::Result;
using fcx::WalkedFolder;

constexpr char kFunction[] = "copy_log";
constexpr mode_t kFolderMode = 0777;
constexpr mode_t kFileMode = 0666;

void log_failure(const char* path, const char* reason) {
  DOMAIN_ERROR("%s: %s: %s\n", kFunction, path, reason);
}

/// The folder of that path, or why there is none.
DeviceFile open_folder(const char* path) { return DeviceFile(path, O_RDONLY | O_DIRECTORY); }

/// Makes the target folder when it is not there. Whether it is there now.
bool find_target(const char* path, FileId& id) {
  if (const DeviceFile there = open_folder(path); there.is_open()) {
    id = there.id();
    return true;
  }
  // Somebody else may be as quick.
  const Result result = fcx::make_device_directory(path, kFolderMode);
  if (!result.ok() && result.error() != EEXIST) {
    log_failure(path, result.reason());
    return false;
  }
  const DeviceFile made = open_folder(path);
  if (!made.is_open()) log_failure(path, made.reason());
  id = made.id();
  return made.is_open();
}

/// One call. Both paths are those of what is being copied; folders have a '/' at their end, but for
/// the first two, which are as they were given.
class LogCopy {
 public:
  /// False when one of the paths does not fit.
  [[nodiscard]] bool begin(const char* target, const char* source) {
    return target_.append({target}) && source_.append({source});
  }
  /// The first folder.
  void run();

 private:
  void copy_folder(WalkedFolder& folder);
  void copy_entries(const WalkedFolder& folder);
  void copy_entry(const WalkedFolder& parent);
  void copy_file(DeviceFile& source);
  Result write(DeviceFile& source, DeviceFile& target);

  LogPath target_, source_;
  std::array<char, 128 << 10> piece_;
};

void LogCopy::run() {
  FileId target;
  const bool has_target = find_target(target_.c_str(), target);
  const DeviceFile source = open_folder(source_.c_str());
  if (!source.is_open()) {
    DOMAIN_ERROR("%s: do not open src file!!! : %s\n", kFunction, source_.c_str());
  } else if (has_target && !(source.id() == target)) {
    copy_entries({source.id(), target});
  }
}

void LogCopy::copy_folder(WalkedFolder& folder) {
  // A folder that a link leads to may be the target's own.
  if (find_target(target_.c_str(), folder.target) && !(folder.target == folder.id)) {
    copy_entries(folder);
  }
  DOMAIN_INFO("from %s to %s copy done!!!\n", source_.c_str(), target_.c_str());
}

void LogCopy::copy_entries(const WalkedFolder& folder) {
  DeviceDirectory directory(source_.c_str());
  if (directory.error() != 0) {
    DOMAIN_ERROR("%s: do not open src file!!! : %s\n", kFunction, source_.c_str());
    return;
  }
  const size_t source_size = source_.size();
  const size_t target_size = target_.size();
  while (const char* name = directory.next()) {
    if (source_.append_entry(name) && target_.append_entry(name)) copy_entry(folder);
    source_.cut(source_size);
    target_.cut(target_size);
  }
  if (directory.error() != 0) log_failure(source_.c_str(), directory.reason());
}

void LogCopy::copy_entry(const WalkedFolder& parent) {
  WalkedFolder folder;
  {
    DeviceFile source(source_.c_str(), O_RDONLY);
    if (source.is_regular()) copy_file(source);
    if (!source.is_directory()) return;
    folder.id = source.id();
  }  // closed: deep folders would keep many open
  if (!parent.leads_to(source_.c_str(), folder)) return;
  if (source_.append({"/"}) && target_.append({"/"})) copy_folder(folder);
}

void LogCopy::copy_file(DeviceFile& source) {
  // Not emptied with the opening: a link may have led to the source itself.
  DeviceFile target(target_.c_str(), O_WRONLY | O_CREAT, kFileMode);
  if (!target.is_regular() || target.id() == source.id()) return;
  if (const Result written = write(source, target); !written.ok()) {
    log_failure(target_.c_str(), written.reason());
    // The disk has room for others, and nobody takes the beginning for the whole.
    if (const Result removed = fcx::remove_device_file(target_.c_str()); !removed.ok()) {
      log_failure(target_.c_str(), removed.reason());
    }
  }
}

Result LogCopy::write(DeviceFile& source, DeviceFile& target) {
  if (const Result emptied = target.make_empty(); !emptied.ok()) return emptied;
  for (;;) {
    const fcx::ReadResult read = source.read(piece_.data(), piece_.size());
    // What was read of it before is all that can be had.
    if (!read.has_content()) log_failure(source_.c_str(), read.reason());
    if (read.size() > 0) {
      const Result written = target.write({piece_.data(), read.size()});
      if (!written.ok()) return written;
    }
    if (read.size() < piece_.size()) return target.close();
  }
}

}  // namespace

void copy_log(const char* dst, const char* src) {
  if (dst == nullptr || src == nullptr) return;
  if (LogCopy copy; copy.begin(dst, src)) {
    copy.run();
  } else {
    DOMAIN_ERROR("%s: a path has more than %zu characters\n", kFunction, LogPath::kLongest);
  }
  DOMAIN_INFO("from %s to %s copy done!!!\n", src, dst);
}
