#include "virtual_phone/core/phone.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/immortal.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/factory_reset.h"
#include "virtual_phone/core/raise.h"
#include "virtual_phone/modem/sim.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

/// The phone's directory, or Error when there is no phone in it.
fs::path existing(const fs::path& directory) {
  std::error_code error;
  if (fs::exists(directory / kDatabaseName, error)) return directory;
  if (error) throw Error((directory / kDatabaseName).string() + ": " + error.message());
  throw Error("no phone in " + directory.string() + ". Make one with `fcx init`.");
}

struct Selection {
  std::mutex mutex;
  std::unique_ptr<Phone> phone GUARDED_BY(mutex);
  std::atomic<Phone*> current = nullptr;
  bool failed GUARDED_BY(mutex) = false;
};

/// Threads may write to the log until the process is gone.
Selection& selection() { return fcx::immortal<Selection>(); }

}  // namespace

fs::path default_directory() {
  const auto variable = [](const char* name) {
    const char* value = getenv(name);
    return std::string(value == nullptr ? "" : value);
  };
  if (const std::string phone = variable("FCX_PHONE"); !phone.empty()) return phone;
  // A relative one counts as not set.
  if (const std::string state = variable("XDG_STATE_HOME"); state.substr(0, 1) == "/") {
    return fs::path(state) / "fcx" / "phone";
  }
  if (const std::string home = variable("HOME"); !home.empty()) {
    return fs::path(home) / ".local" / "state" / "fcx" / "phone";
  }
  throw Error("it is not said where the phone is. Set FCX_PHONE, or give --phone.");
}

fs::path normal(const fs::path& directory) {
  const fs::path path = fs::absolute(directory).lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

Phone::Phone(const std::filesystem::path& directory)
    : directory_(existing(normal(directory))),
      real_directory_(fs::canonical(directory_)),
      root_((directory_ / "root").string()),
      durable_(directory_ / kDatabaseName, Database::Survives::power_cut),
      fleeting_(directory_ / kDatabaseName, Database::Survives::kill),
      log_((raise(durable_, directory_), log_file())) {
  struct stat database {};
  if (stat((directory_ / kDatabaseName).c_str(), &database) == 0) inode_ = database.st_ino;
}

bool Phone::is_there() const {
  struct stat database {};
  return stat((directory_ / kDatabaseName).c_str(), &database) == 0 && database.st_ino == inode_;
}

void Phone::check_is_there() const {
  if (is_there()) return;
  throw Error((directory_ / kDatabaseName).string() +
              " was removed or replaced meanwhile: nothing was written.");
}

int64_t Phone::changes() {
  const std::lock_guard lock(mutex_);
  return durable_.all_changes() + changed_files_;
}

bool Phone::has_unflushed_changes() const { return fleeting_.all_changes() != flushed_changes_; }

void Phone::flush_changes() {
  const int changes = fleeting_.all_changes();
  fleeting_.flush_log();
  flushed_changes_ = changes;
}

std::string Phone::profile() {
  const std::lock_guard lock(mutex_);
  Query query = fleeting_.query("SELECT value FROM phone WHERE key = 'profile'");
  return query.step() ? query.text(0) : "";
}

void select(const fs::path& directory) {
  auto phone = std::make_unique<Phone>(directory);
  Selection& selected = selection();
  const std::lock_guard lock(selected.mutex);
  selected.current = phone.get();
  selected.phone = std::move(phone);
}

Phone& selected() {
  if (selection().current == nullptr) select(default_directory());
  return *selection().current;
}

Phone* selected_or_null() noexcept {
  Selection& known = selection();
  if (Phone* phone = known.current; phone != nullptr) return phone;
  const std::lock_guard lock(known.mutex);
  if (known.current == nullptr && !known.failed) {
    try {
      known.phone = std::make_unique<Phone>(default_directory());
      known.current = known.phone.get();
    } catch (const std::exception& error) {
      known.failed = true;  // said once
      fprintf(stderr, "virtual phone: %s\n", error.what());
    }
  }
  return known.current;
}

Phone* selected_so_far() noexcept { return selection().current; }

void end_uptime(Phone& phone, std::string_view kind, std::string_view detail) {
  const std::string reset = noted_factory_reset(phone);
  // Before the note goes: killed in between, the next start does it.
  if (!reset.empty()) erase_files_for(reset, phone);
  // Whatever ends in order flushes all first.
  if (kind != kPowerCutEvent) {
    for (const char* tree : {"root", kEfsName}) note_tree_flushed(phone, tree);
  }
  const std::lock_guard lock(phone.mutex());
  // The files that a reset has erased do not come back with a power cut, nor may the properties.
  Database& database = reset.empty() ? phone.fleeting() : phone.durable();
  Transaction transaction(database);
  record_event(database, kind, detail);
  if (!reset.empty()) {
    record_event(database, kFactoryResetEvent, reset);
    database.execute("DELETE FROM property");
  }
  database.execute("DELETE FROM property WHERE substr(name, 1, 8) <> 'persist.'");
  database.execute("INSERT OR IGNORE INTO property SELECT name, value FROM build_property");
  database.execute("DELETE FROM modem_run");
  start_sim(database);
  transaction.commit();
}

void restart(Phone& phone, std::string_view reason) { end_uptime(phone, kRestartEvent, reason); }

}  // namespace virtual_phone
