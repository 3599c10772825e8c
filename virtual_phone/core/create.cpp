// Making a phone: whole or not at all, and never in place of anything else.
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/file.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "platform/factory_item_library.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/schema.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/modem/sim.h"
#include "virtual_phone/power/unflushed.h"
#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

const Profile& profile_named(std::string_view name) {
  if (const Profile* profile = find_profile(name); profile != nullptr) return *profile;
  std::string known;
  for (const Profile& profile : profiles()) {
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

void write_programs(const fs::path& root) {
  write_tree(root, device_programs());
  for (const ProfileFile& program : device_programs()) {
    fs::permissions(device_file(root, program.path), fs::perms{kProgramMode});
  }
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
    store_sim(database, {SimState::inserted, std::string(profile.sim_iccid), 0,
                         std::string(profile.sim_imsi)});
  }
  start_sim(database);
  transaction.commit();
}

/// The partition of the factory items, as large as no other file is by chance.
constexpr uintmax_t kPartitionSize = kPartitionBlocks * kItemBlock;

fs::path partition_of(const fs::path& directory) {
  return device_file(directory / "root", get_ftm_path());
}

/// As a device has it: what is not written takes no room.
void write_partition(const fs::path& file, const std::vector<ProfileRecord>& records) {
  write_file(file, "");
  fs::resize_file(file, kPartitionSize);
  std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
  for (const auto& [block, bytes] : records) {
    out.seekp(static_cast<std::streamoff>(block * kItemBlock));
    out << bytes;
  }
  out.close();
  if (!out) throw Error(file.string() + ": cannot be written");
}

void make_phone(const fs::path& directory, const Profile& profile) {
  const fs::path root = directory / "root";
  fs::create_directories(directory / "log");
  for (const char* device_path : device_directories()) {
    fs::create_directories(device_file(root, device_path));
  }
  write_tree(root, profile.nodes);
  write_tree(root, profile.files);
  write_programs(root);
  write_tree(directory / kOverlayName, profile.overlay_files);
  write_tree(directory / kEfsName, profile.efs_files);
  write_partition(partition_of(directory), profile.records);
  make_database(directory / kDatabaseName, profile);
}

/// What a directory holds, all of whose entries have names of a phone's.
enum class Content {
  phone,
  half_made,  ///< a phone that was not made to its end, or whose database is damaged
  foreign,    ///< what may be somebody else's
};

Content content_of(const fs::path& directory) {
  constexpr std::string_view kMagic("SQLite format 3\0", 16);
  constexpr size_t kHeader = 100;
  constexpr size_t kApplicationIdOffset = 68;
  // Without a database only the tree says that there was a phone: "root" alone may be anybody's.
  const fs::path partition = partition_of(directory);
  const bool has_partition =
      fs::is_regular_file(partition) && fs::file_size(partition) == kPartitionSize;
  const Content unknown = has_partition ? Content::half_made : Content::foreign;
  const fs::path file = directory / kDatabaseName;
  if (!fs::exists(fs::symlink_status(file))) return unknown;
  if (!fs::is_regular_file(file)) return Content::foreign;
  std::string head(kHeader, '\0');
  std::ifstream in(file, std::ios::binary);
  in.read(head.data(), kHeader);
  head.resize(static_cast<size_t>(in.gcount()));
  if (kMagic.compare(0, head.size(), head.substr(0, kMagic.size())) != 0) return unknown;
  if (head.size() < kHeader) return Content::half_made;
  uint32_t id = 0;
  for (size_t i = 0; i < 4; ++i) {
    id = id << 8 | static_cast<uint8_t>(head[kApplicationIdOffset + i]);
  }
  if (id == kApplicationId) return Content::phone;
  try {
    const bool is_begun = id == 0 && Database::to_look_at(file).is_empty();
    return is_begun ? Content::half_made : Content::foreign;
  } catch (const Error&) {
    return Content::foreign;
  }
}

bool is_phones_entry(const fs::path& entry) {
  const std::string name = entry.filename().string();
  for (const char* suffix : kDatabaseSuffixes) {
    if (name == std::string(kDatabaseName) + suffix) return true;
  }
  for (const char* suffix : kPowerSuffixes) {
    if (name == std::string(kDatabaseName) + suffix) return true;
  }
  if (!fs::is_directory(entry)) return false;
  for (const std::string& known :
       {std::string("root"), std::string("log"), std::string(kOverlayName), std::string(kEfsName),
        std::string(kGoldenCopyName), kGoldenCopyName + std::string(".new"), std::string(kCardName),
        std::string(kUnflushedName)}) {
    if (name == known) return true;
  }
  return false;
}

bool is_inside(const fs::path& directory, const fs::path& of) {
  const fs::path relative = directory.lexically_relative(of);
  return !relative.empty() && *relative.begin() != "..";
}

/// Throws Error for a directory that holds what is no part of a phone, and for what is none.
void check_holds_only_a_phone(const fs::path& directory) {
  const std::string shown = directory.string();
  if (!fs::is_directory(directory)) throw Error(shown + " is no directory: left alone.");
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (is_phones_entry(entry.path())) continue;
    throw Error(shown + " holds " + entry.path().filename().string() +
                ", which is no part of a phone: left alone.");
  }
}

/// Refuses a place where no phone may be made.
void check_is_free(const fs::path& target, bool overwrite) {
  const std::string shown = target.string();
  if (fs::is_symlink(target)) throw Error(shown + " is a link to nowhere: left alone.");
  if (!fs::exists(target)) return;
  check_holds_only_a_phone(target);
  if (fs::is_empty(target)) return;
  const Content content = content_of(target);
  if (content == Content::foreign) {
    throw Error(shown + " is not empty and not a phone: left alone.");
  }
  if (!overwrite) {
    throw Error(
        content == Content::phone
            ? "there is a phone in " + shown + ". `fcx init --force` replaces it."
            : "the phone in " + shown +
                  " is damaged, or was not made to its end. `fcx init --force` replaces it.");
  }
  if (is_inside(fs::current_path(), target)) {
    throw Error(shown + " is the current directory. Go elsewhere to replace it.");
  }
}

/// Makers of phones in one directory take turns while what this returns is open.
unique_fd turn_in(const fs::path& directory) {
  unique_fd turn(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!turn.ok() || flock(turn.get(), LOCK_EX) != 0) {
    throw Error(directory.string() + ": " + strerror(errno));
  }
  return turn;
}

/// Where a phone is made, beside its place, so that a failure leaves what was there.
fs::path made_for(const fs::path& target) {
  return target.parent_path() / ("." + target.filename().string() + ".new");
}

/// Where the phone that was there waits while another takes its place.
fs::path old_of(const fs::path& target) { return made_for(target).string() + "-old"; }

/// Puts a phone back whose successor did not take its place, because the maker was killed.
void put_back(const fs::path& target) {
  if (!fs::exists(fs::symlink_status(target)) && fs::exists(old_of(target))) {
    fs::rename(old_of(target), target);
  }
}

/// Removes what a killed maker left beside the place.
void clear_away(const fs::path& left) {
  if (!fs::exists(fs::symlink_status(left))) return;
  check_holds_only_a_phone(left);
  fs::remove_all(left);
}

/// Puts `made` in the place of `target`, at once. What was there is in `made` afterwards.
void exchange(const fs::path& made, const fs::path& target) {
  if (!fs::exists(target)) return fs::rename(made, target);
  if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) return;
  // Not every file system can: then in steps. Each leaves both, and put_back() undoes the first
  // one.
  const fs::path old = old_of(target);
  fs::rename(target, old);
  std::error_code refused;
  fs::rename(made, target, refused);
  if (refused) put_back(target);
  if (refused) throw Error(target.string() + ": " + refused.message());
  fs::rename(old, made);
}

}  // namespace

void create(const fs::path& directory, std::string_view profile_name, bool overwrite) {
  const Profile& profile = profile_named(profile_name);
  try {
    const fs::path target = normal(fs::weakly_canonical(directory));
    fs::create_directories(target.parent_path());
    const unique_fd turn = turn_in(target.parent_path());
    put_back(target);
    check_is_free(target, overwrite);
    const fs::path made = made_for(target);
    clear_away(made);
    clear_away(old_of(target));
    make_phone(made, profile);
    exchange(made, target);
    fs::remove_all(made);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
