// A virtual phone: a directory with the phone's state (phone.db), its file tree (root/) and what an
// overlay lays over it (overlay/), its modem's file tree (efs/) and its log (log/system.log).
// Several processes may use one phone at once; within a process, any thread may.
// docs/virtual_phone.md describes it for its users.
#pragma once

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/thread_annotations.h"
#include "virtual_phone/core/database.h"
#include "virtual_phone/core/error.h"
#include "virtual_phone/core/log_file.h"

namespace virtual_phone {

constexpr char kDatabaseName[] = "phone.db";
constexpr char kOverlayName[] = "overlay";
constexpr char kEfsName[] = "efs";
constexpr char kGoldenCopyName[] = "efs-golden";

/// $FCX_PHONE, else $XDG_STATE_HOME/fcx/phone, else ~/.local/state/fcx/phone. Throws Error when
/// none of these is set.
std::filesystem::path default_directory();

/// The directory as an absolute path without anything superfluous.
std::filesystem::path normal(const std::filesystem::path& directory);

/// Makes a phone in `directory`, whole or not at all, after whatever a killed maker has left there.
/// @param profile   one of profiles()
/// @param overwrite whether a phone that is there, or the beginning of one, may go; anything else
/// there
///                  never does
/// Throws Error.
void create(const std::filesystem::path& directory, std::string_view profile, bool overwrite);

class Phone {
 public:
  /// Opens the phone in `directory`, and raises one of an older version to this one. Throws Error
  /// when there is none, or none that can be used.
  explicit Phone(const std::filesystem::path& directory);

  const std::filesystem::path& directory() const { return directory_; }
  /// The same without links, which the names of open files have.
  const std::filesystem::path& real_directory() const { return real_directory_; }
  const std::string& root() const { return root_; }
  std::filesystem::path log_file() const { return directory_ / "log" / "system.log"; }
  std::string profile();
  /// Whether the phone's directory is the one that was opened: in one that was removed or replaced
  /// since then all would be lost that is written now.
  bool is_there() const;
  /// Throws Error when it is not.
  void check_is_there() const;

  /// Holds other threads off the two connections below.
  std::mutex& mutex() RETURN_CAPABILITY(mutex_) { return mutex_; }
  /// For what must be on disk when the call returns: items, persistent properties, what the modem
  /// keeps.
  Database& durable() REQUIRES(mutex_) { return durable_; }
  /// For everything else. A killed process loses none of it; a power cut may.
  Database& fleeting() REQUIRES(mutex_) { return fleeting_; }
  LogFile& log() { return log_; }

  /// Counts the changes that this process has made to what the phone keeps: rows of the durable
  /// connection, and the modem's files.
  int64_t changes();
  void count_change() { ++changed_files_; }

  /// Whether this process has written over the fleeting connection since the last call of
  /// flush_changes(): that makes all of it durable. Throws Error.
  bool has_unflushed_changes() const REQUIRES(mutex_);
  void flush_changes() REQUIRES(mutex_);

  /// Whether this process has opened the factory item store.
  std::atomic<bool> items_open = false;
  /// Whether this process has opened the direct interface to the modem.
  std::atomic<bool> modem_open = false;

 private:
  std::filesystem::path directory_;
  std::filesystem::path real_directory_;
  std::string root_;
  std::mutex mutex_;
  Database durable_ GUARDED_BY(mutex_);
  Database fleeting_ GUARDED_BY(mutex_);
  LogFile log_;
  std::atomic<int64_t> changed_files_ = 0;
  int flushed_changes_ GUARDED_BY(mutex_) = 0;
  uint64_t inode_ = 0;  ///< of phone.db
};

/// The phone of this process from now on. Not while another thread uses the one before. Throws
/// Error when it cannot be used.
void select(const std::filesystem::path& directory);

/// The selected phone, or the one in default_directory() when none was selected. Throws Error.
Phone& selected();

/// The same for the platform functions, which cannot throw: null when there is no usable phone.
Phone* selected_or_null() noexcept;

/// The phone that is selected already, or null: none is opened for the answer.
Phone* selected_so_far() noexcept;

// The events that end an uptime.
constexpr char kRestartEvent[] = "restart";     ///< somebody has switched the phone off and on
constexpr char kRebootEvent[] = "reboot";       ///< android_reboot() was called
constexpr char kPowerCutEvent[] = "power_cut";  ///< it has lost its power

/// The phone is switched off, and on for whoever comes next: properties that do not persist are
/// gone, build properties are back, the modem has forgotten its bulk transfer and any reset, and
/// the SIM starts anew. A factory reset that is noted is carried out, and persistent properties are
/// the profile's again. Recorded, at once with all that, as an event of one of these kinds.
void end_uptime(Phone& phone, std::string_view kind, std::string_view detail);

/// The same by hand: an event of kind kRestartEvent.
void restart(Phone& phone, std::string_view reason);

/// What is called after android_reboot() has ended the uptime, by the thread that called it; it
/// need not return. None at first.
void when_rebooted(void (*ended)());

}  // namespace virtual_phone
