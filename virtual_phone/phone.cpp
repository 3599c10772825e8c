#include "virtual_phone/phone.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

#include "platform/factory_item_library.h"
#include "virtual_phone/events.h"
#include "virtual_phone/item_store.h"
#include "virtual_phone/profiles.h"
#include "virtual_phone/properties.h"
#include "virtual_phone/schema.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

constexpr char kDatabase[] = "phone.db";
/// Blocks of the factory item partition, of which the file behind it holds only what is written.
constexpr size_t kPartitionBlocks = 4096;

const Profile& profile_named(std::string_view name) {
  std::string known;
  for (const Profile& profile : profiles()) {
    if (profile.name == name) return profile;
    known += known.empty() ? profile.name : std::string(", ") + profile.name;
  }
  throw Refused("there is no profile \"" + std::string(name) + "\". Profiles: " + known);
}

fs::path normal(const fs::path& directory) {
  const fs::path path = fs::absolute(directory).lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

/// The phone's directory, or Error when there is no phone in it.
fs::path existing(const fs::path& directory) {
  std::error_code unreadable;
  if (fs::exists(directory / kDatabase, unreadable)) return directory;
  throw Error("no phone in " + directory.string() + ". Make one with `fcx init`.");
}

fs::path device_file(const fs::path& root, const char* device_path) {
  fs::path path = root;
  path += device_path;
  return path;
}

void write_file(const fs::path& file, const char* content) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << content;
  out.close();
  if (!out) throw Error(file.string() + ": cannot be written");
}

void make_database(const fs::path& file, const Profile& profile) {
  Database database(file, Database::Survives::power_cut, true);
  Transaction transaction(database);
  database.execute(kSchema);
  database.execute(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
  database.execute(("PRAGMA user_version=" + std::to_string(kPhoneVersion)).c_str());
  database.query("INSERT INTO phone(key, value) VALUES('profile', ?)").bind(profile.name).run();
  for (const auto& [name, value] : profile.properties) {
    database.query("INSERT INTO build_property(name, value) VALUES(?, ?)")
        .bind(name)
        .bind(value)
        .run();
  }
  database.execute("INSERT INTO property SELECT name, value FROM build_property");
  for (const auto& [number, bytes] : profile.items) {
    database.query("INSERT INTO item(number, value) VALUES(?, ?)")
        .bind(number)
        .bind_blob(bytes)
        .run();
  }
  transaction.commit();
}

void make_phone(const fs::path& directory, const Profile& profile) {
  const fs::path root = directory / "root";
  fs::create_directories(directory / "log");
  for (const char* device_path : device_directories()) {
    fs::create_directories(device_file(root, device_path));
  }
  for (const auto& [device_path, content] : profile.files) {
    write_file(device_file(root, device_path), content);
  }
  const fs::path partition = device_file(root, get_ftm_path());
  write_file(partition, "");
  fs::resize_file(partition, kPartitionBlocks * kItemBlock);
  make_database(directory / kDatabase, profile);
}

/// Refuses a directory in which no phone may be made.
void check_is_free(const fs::path& target, bool overwrite) {
  if (!fs::exists(target)) return;
  if (!fs::is_directory(target)) throw Error(target.string() + " is no directory: left alone.");
  bool is_empty = true;
  for (const fs::directory_entry& entry : fs::directory_iterator(target)) {
    is_empty = false;
    const std::string name = entry.path().filename().string();
    const bool belongs = name == "root" || name == "log" || name.rfind(kDatabase, 0) == 0;
    if (belongs) continue;
    throw Error(target.string() + " holds " + name + ", which is no part of a phone: left alone.");
  }
  if (!is_empty && !overwrite) {
    throw Error("there is a phone in " + target.string() + ". `fcx init --force` replaces it.");
  }
}

/// Refuses what is not a phone of this version.
void check_version(Database& database, const fs::path& directory) {
  const auto number = [&](const char* pragma) {
    Query query = database.query(pragma);
    return query.step() ? query.number(0) : 0;
  };
  if (number("PRAGMA application_id") != kApplicationId) {
    throw Error((directory / kDatabase).string() + " is not a phone's database.");
  }
  const int64_t version = number("PRAGMA user_version");
  if (version > kPhoneVersion) {
    throw Error(directory.string() + " was made by a newer fcx (phone version " +
                std::to_string(version) + ", this one knows " + std::to_string(kPhoneVersion) +
                "). Update this one, or use another directory.");
  }
}

struct Selection {
  std::mutex mutex;
  std::unique_ptr<Phone> phone;
  std::atomic<Phone*> current = nullptr;
  bool failed = false;
};

Selection& selection() {
  // Never destroyed: threads may write to the log until the process is gone.
  static Selection* const instance = std::make_unique<Selection>().release();
  return *instance;
}

}  // namespace

fs::path default_directory() {
  const auto variable = [](const char* name) {
    const char* value = getenv(name);
    return std::string(value == nullptr ? "" : value);
  };
  if (const std::string phone = variable("FCX_PHONE"); !phone.empty()) return phone;
  if (const std::string state = variable("XDG_STATE_HOME"); !state.empty()) {
    return fs::path(state) / "fcx" / "phone";
  }
  return fs::path(variable("HOME")) / ".local" / "state" / "fcx" / "phone";
}

void create(const fs::path& directory, std::string_view profile_name, bool overwrite) {
  const Profile& profile = profile_named(profile_name);
  const fs::path target = normal(directory);
  const fs::path made = target.string() + ".new-" + std::to_string(getpid());
  try {
    check_is_free(target, overwrite);
    // Made beside it first, so that a failure leaves what was there.
    fs::remove_all(made);
    fs::create_directories(made);
    make_phone(made, profile);
    fs::remove_all(target);
    fs::rename(made, target);
  } catch (const fs::filesystem_error& error) {
    std::error_code ignored;
    fs::remove_all(made, ignored);
    throw Error(error.what());
  } catch (const Error&) {
    std::error_code ignored;
    fs::remove_all(made, ignored);
    throw;
  }
}

Phone::Phone(const std::filesystem::path& directory)
    : directory_(existing(normal(directory))),
      root_((directory_ / "root").string()),
      durable_(directory_ / kDatabase, Database::Survives::power_cut),
      fleeting_(directory_ / kDatabase, Database::Survives::kill),
      log_(log_file()) {
  check_version(fleeting_, directory_);
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

void restart(Phone& phone, std::string_view reason) {
  record_event(phone, "restart", reason);
  const std::lock_guard lock(phone.mutex());
  Transaction transaction(phone.fleeting());
  phone.fleeting().execute("DELETE FROM property WHERE substr(name, 1, 8) <> 'persist.'");
  phone.fleeting().execute("INSERT OR IGNORE INTO property SELECT name, value FROM build_property");
  transaction.commit();
}

}  // namespace virtual_phone
