#include "virtual_phone/core/raise.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <set>

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/flush.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/schema.h"
#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

int64_t pragma(Database& database, const char* sql) {
  Query query = database.query(sql);
  return query.step() ? query.number(0) : 0;
}

/// Refuses what is not a phone, or one of a newer version.
void check_version(Database& database, const fs::path& directory) {
  const std::string shown = (directory / kDatabaseName).string();
  if (pragma(database, "PRAGMA application_id") != kApplicationId) {
    if (!database.is_empty()) throw Error(shown + " is not a phone's database.");
    throw Error(shown + " was not made to its end. `fcx init --force` makes a new phone.");
  }
  const int64_t version = pragma(database, "PRAGMA user_version");
  if (version < 1) {
    throw Error(shown + " is damaged (phone version " + std::to_string(version) +
                "); `fcx init --force` makes a new phone.");
  }
  if (version > kPhoneVersion) {
    throw Error(directory.string() + " was made by a newer fcx (phone version " +
                std::to_string(version) + ", this one knows " + std::to_string(kPhoneVersion) +
                "). Update this one, or use another directory.");
  }
}

/// The profile of which the phone was made, or the barest when nobody knows it any more.
const Profile& profile_of(Database& database) {
  Query query = database.query("SELECT value FROM phone WHERE key = 'profile'");
  const Profile* profile = find_profile(query.step() ? query.text(0) : "");
  return profile != nullptr ? *profile : *find_profile("blank");
}

void add_build_properties(Database& database, const Profile& profile) {
  for (const auto& [name, value] : profile.properties) {
    for (const char* sql : {"INSERT OR IGNORE INTO build_property(name, value) VALUES(?, ?)",
                            "INSERT OR IGNORE INTO property(name, value) VALUES(?, ?)"}) {
      database.query(sql).bind(name).bind(value).run();
    }
  }
}

[[noreturn]] void fail(const fs::path& file) {
  throw Error(file.string() + ": " + strerror(errno));
}

bool is_there(const fs::path& path) { return fs::exists(fs::symlink_status(path)); }

/// Makes a directory and those above it, which `made` is told. @return whether there is one now:
/// what has its name, or one of theirs, may be something else, and stays
bool make_directory(const fs::path& directory, std::set<fs::path>& made) {
  if (is_there(directory)) return fs::is_directory(directory);
  if (!make_directory(directory.parent_path(), made)) return false;
  fs::create_directory(directory);
  made.insert(directory.parent_path());
  return true;
}

/// Makes a file that is not there: at once, so that nobody finds half of one, and on disk.
/// @param mode for a program; a node has the usual one
void make_file(const fs::path& file, const std::string& content, std::optional<mode_t> mode) {
  // Only one process at a time raises a phone. What a killed one has left is written over.
  const fs::path temporary = file.parent_path() / ("." + file.filename().string() + ".raised");
  const android::base::unique_fd out(open(
      temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
  if (!out.ok()) fail(temporary);
  errno = ENOSPC;  // of a short write
  if (write(out.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
      (mode.has_value() && fchmod(out.get(), *mode) != 0) || fsync(out.get()) != 0) {
    fail(temporary);
  }
  // What somebody else has put there meanwhile stays.
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, file.c_str(), RENAME_NOREPLACE) == 0) return;
  if (errno == EEXIST) return static_cast<void>(fs::remove(temporary));  // throws what matters
  // EINVAL: not every file system can.
  if (errno != EINVAL || rename(temporary.c_str(), file.c_str()) != 0) fail(file);
}

/// Makes what a phone of this profile has of nodes and programs, and this one has not.
void add_nodes(const fs::path& directory, const Profile& profile) {
  std::set<fs::path> made;
  for (const char* device_path : device_directories()) {
    // Where something else has its name, that stays.
    static_cast<void>(make_directory(directory.string() + "/root" + device_path, made));
  }
  const auto add = [&](const std::vector<ProfileFile>& files, std::optional<mode_t> mode) {
    for (const auto& [device_path, content] : files) {
      const fs::path file = directory.string() + "/root" + device_path;
      if (is_there(file) || !make_directory(file.parent_path(), made)) continue;
      make_file(file, content, mode);
      made.insert(file.parent_path());
    }
  };
  add(profile.nodes, {});
  add(device_programs(), kProgramMode);
  for (const fs::path& changed : made) flush(changed);
}

}  // namespace

void raise(Database& database, const fs::path& directory) {
  check_version(database, directory);
  if (pragma(database, "PRAGMA user_version") == kPhoneVersion) return;
  Transaction transaction(database);
  // Looked at again under the write lock: another process may have been faster, or newer.
  check_version(database, directory);
  int64_t version = pragma(database, "PRAGMA user_version");
  if (version == kPhoneVersion) return;
  for (; version < kPhoneVersion; ++version) database.execute(kSchemaSteps[version]);
  const Profile& profile = profile_of(database);
  add_build_properties(database, profile);
  try {
    add_nodes(directory, profile);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
  // Only now: until then the next one to open the phone does it all again.
  database.execute(("PRAGMA user_version=" + std::to_string(kPhoneVersion)).c_str());
  transaction.commit();
}

}  // namespace virtual_phone
