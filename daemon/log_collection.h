// The phone's logs: how its daemon has them collected, handed out and erased, and what there is of
// them then. The phone must be open. What has the library work takes turns with other processes,
// and writes nothing through a link (daemon/turn.h).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

constexpr char kLogRoot[] = "/data/vendor/factory/logsave/";
constexpr char kLogArchive[] = "/data/vendor/factory/logsave.zip";

/// A file of a folder, or an entry of an archive.
struct LogFile {
  std::string name;  ///< from the folder on
  uint64_t size;     ///< bytes
};

struct LogFolder {
  std::string path;            ///< on the device, with a '/' at its end
  std::vector<LogFile> files;  ///< by name
};

struct LogArchive {
  std::string path;  ///< on the device
  uint64_t size;     ///< bytes
  bool is_whole;     ///< else its entries are not known
  std::vector<LogFile> entries;
};

/// What the library has logged during a call, without line ends.
struct Lines {
  std::vector<std::string> all;
  std::vector<std::string> errors;

  /// The errors; without any the last line.
  std::vector<std::string> reasons() const;
};

/// Collects what is logged while it exists, from whatever thread. One at a time.
class Listener {
 public:
  /// @param heard is called with each line, under a lock
  explicit Listener(Lines& lines, const std::function<void(const std::string& line)>& heard = {});
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
};

enum class LogTarget { internal, nvdump, card };

struct Collection {
  int result;  ///< what logsave() has returned; not 0 without a card, too
  Lines lines;
  LogFolder folder;  ///< that was collected into; without a path where there is none
  std::optional<LogArchive> archive;  ///< that was made, of the internal root
};

/// Collects, and calls `heard` with each line meanwhile, under a lock. Throws virtual_phone::Error
/// when it may not write there or what came of it cannot be looked at, as do all of these.
Collection collect_logs(virtual_phone::Phone& phone, LogTarget target,
                        const std::function<void(const std::string& line)>& heard);

/// The folders of all collections, on the card too.
std::vector<LogFolder> collected_logs(const virtual_phone::Phone& phone);

/// The archive, or nothing.
std::optional<LogArchive> log_archive(const virtual_phone::Phone& phone);

struct Erasure {
  Lines lines;
  bool is_done;                   ///< the library was not stopped by anything
  std::vector<std::string> left;  ///< device paths of what should be gone
};

Erasure erase_logs(virtual_phone::Phone& phone);

struct CrashReports {
  int result;            ///< of the first call of the library that failed, or 0
  const char* function;  ///< that was called last
  Lines lines;
  std::string count;
  std::vector<std::string> summaries;
  std::vector<std::string> files;  ///< device paths of the reports' texts
};

/// Reads the count, and has the reports copied to files.
CrashReports save_crash_reports(const virtual_phone::Phone& phone);

/// Sets the count to 0. @return whether it was
bool erase_crash_reports(const virtual_phone::Phone& phone, Lines& lines);

struct TouchResult {
  int result;  ///< what the library's function has returned, of the last piece
  Lines lines;
  std::vector<std::string> pieces;
  bool is_complete;  ///< nothing is left to hand out
};

/// Takes the touch self-test's result from the library, piece by piece, from where an earlier
/// transfer has broken off.
TouchResult take_touch_result(const virtual_phone::Phone& phone);

}  // namespace factory_daemon
