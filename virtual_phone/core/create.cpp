// Making a phone: whole or not at all, and never in place of anything else.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "platform/factory_item_library.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/schema.h"
#include "virtual_phone/modem/sim.h"
#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

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

fs::path device_file(const fs::path& root, const std::string& device_path) {
  fs::path path = root;
  path += device_path;
  return path;
}

void write_file(const fs::path& file, const std::string& content) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << content;
  out.close();
  if (!out) throw Error(file.string() + ": cannot be written");
}

void write_tree(const fs::path& root, const std::vector<ProfileFile>& files) {
  fs::create_directories(root);
  for (const auto& [path, content] : files) write_file(device_file(root, path), content);
}

void make_database(const fs::path& file, const Profile& profile) {
  Database database(file, Database::Survives::power_cut, true);
  Transaction transaction(database);
  for (const char* step : kSchemaSteps) database.execute(step);
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
  for (const auto& [name, value] : profile.modem_values) {
    database.query("INSERT INTO modem_value(name, value) VALUES(?, ?)")
        .bind(name)
        .bind_blob(value)
        .run();
  }
  for (const auto& [item, bytes] : profile.nv_items) {
    database.query("INSERT INTO modem_nv(item, state, value) VALUES(?, 'active', ?)")
        .bind(item)
        .bind_blob(bytes)
        .run();
  }
  if (!profile.sim_iccid.empty()) {
    store_sim(database, {SimState::inserted, std::string(profile.sim_iccid), 0});
  }
  start_sim(database);
  transaction.commit();
}

void make_phone(const fs::path& directory, const Profile& profile) {
  const fs::path root = directory / "root";
  fs::create_directories(directory / "log");
  for (const char* device_path : device_directories()) {
    fs::create_directories(device_file(root, device_path));
  }
  write_tree(root, profile.files);
  write_tree(directory / kOverlayName, profile.overlay_files);
  write_tree(directory / kEfsName, profile.efs_files);
  const fs::path partition = device_file(root, get_ftm_path());
  write_file(partition, "");
  fs::resize_file(partition, kPartitionBlocks * kItemBlock);
  make_database(directory / kDatabaseName, profile);
}

/// Whether a file is a phone's database, or so damaged that it is no database at all.
bool may_be_a_phones_database(const fs::path& file) {
  constexpr std::string_view kMagic("SQLite format 3\0", 16);
  constexpr size_t kApplicationIdOffset = 68;
  std::array<char, 72> head{};
  std::ifstream(file, std::ios::binary).read(head.data(), head.size());
  if (std::string_view(head.data(), kMagic.size()) != kMagic) return true;
  int32_t id = 0;
  for (size_t i = 0; i < 4; ++i)
    id = id << 8 | static_cast<uint8_t>(head[kApplicationIdOffset + i]);
  return id == kApplicationId;
}

bool is_phones_entry(const std::string& name) {
  const std::string database = kDatabaseName;
  for (const std::string& known :
       {database, database + "-wal", database + "-shm", database + "-journal", std::string("root"),
        std::string("log"), std::string(kOverlayName), std::string(kEfsName),
        std::string(kGoldenCopyName), kGoldenCopyName + std::string(".new")}) {
    if (name == known) return true;
  }
  return false;
}

bool is_inside(const fs::path& directory, const fs::path& of) {
  const fs::path relative = directory.lexically_relative(of);
  return !relative.empty() && *relative.begin() != "..";
}

/// Refuses a place where no phone may be made.
void check_is_free(const fs::path& target, bool overwrite) {
  const std::string shown = target.string();
  if (fs::is_symlink(target)) throw Error(shown + " is a link to nowhere: left alone.");
  if (!fs::exists(target)) return;
  if (!fs::is_directory(target)) throw Error(shown + " is no directory: left alone.");
  bool is_empty = true;
  for (const fs::directory_entry& entry : fs::directory_iterator(target)) {
    is_empty = false;
    const std::string name = entry.path().filename().string();
    if (is_phones_entry(name)) continue;
    throw Error(shown + " holds " + name + ", which is no part of a phone: left alone.");
  }
  if (is_empty) return;
  const fs::path database = target / kDatabaseName;
  if (!fs::is_regular_file(database) || !may_be_a_phones_database(database)) {
    throw Error(shown + " is not empty and not a phone: left alone.");
  }
  if (!overwrite) {
    throw Error("there is a phone in " + shown + ". `fcx init --force` replaces it.");
  }
  if (is_inside(fs::current_path(), target)) {
    throw Error(shown + " is the current directory. Go elsewhere to replace it.");
  }
}

/// Makers of phones in one directory take turns while this exists.
class Turn {
 public:
  explicit Turn(const fs::path& directory)
      : fd_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (fd_ < 0 || flock(fd_, LOCK_EX) != 0) {
      throw Error(directory.string() + ": " + strerror(errno));
    }
  }
  ~Turn() { close(fd_); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  int fd_;
};

/// Puts `made` in the place of `target`, at once. What was there is in `made` afterwards.
void exchange(const fs::path& made, const fs::path& target) {
  if (!fs::exists(target)) return fs::rename(made, target);
  if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) return;
  // Not every file system can: then in steps, each of which leaves both.
  const fs::path old = made.string() + "-old";
  fs::rename(target, old);
  fs::rename(made, target);
  fs::rename(old, made);
}

}  // namespace

void create(const fs::path& directory, std::string_view profile_name, bool overwrite) {
  const Profile& profile = profile_named(profile_name);
  try {
    const fs::path target = normal(fs::weakly_canonical(directory));
    fs::create_directories(target.parent_path());
    const Turn turn(target.parent_path());
    check_is_free(target, overwrite);
    // Made beside it, so that a failure leaves what was there. The next maker clears away what a
    // killed one left.
    const fs::path made = target.parent_path() / ("." + target.filename().string() + ".new");
    fs::remove_all(made);
    make_phone(made, profile);
    exchange(made, target);
    fs::remove_all(made);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
