#include "virtual_phone/power/unflushed.h"

#include <android/log.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "virtual_phone/core/flush.h"
#include "virtual_phone/power/unflushed_rows.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;
using fcx::FileAccess;
using fcx::FileOperation;

/// What a path without links is below the phone's directory; nothing for what lies elsewhere, and
/// for what is on no disk.
std::optional<fs::path> below(const Phone& phone, const fs::path& place) {
  if (!is_within(place, phone.real_directory()) || place == phone.real_directory()) {
    return std::nullopt;
  }
  const fs::path path = place.native().substr(phone.real_directory().native().size() + 1);
  for (const char* no_disk : {"root/proc", "root/sys", "root/dev"}) {
    if (is_within(path, no_disk)) return std::nullopt;
  }
  return path;
}

/// Where an open file lies, as the kernel names it.
std::optional<fs::path> place_of(int fd) {
  std::array<char, PATH_MAX> place;
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t size = readlink(link.c_str(), place.data(), place.size());
  if (size < 0 || static_cast<size_t>(size) == place.size()) return std::nullopt;
  return std::string(place.data(), static_cast<size_t>(size));
}

/// Where a directory lies, whatever links lead to it.
std::optional<fs::path> place_of_directory(const fs::path& path) {
  const unique_fd directory(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  return directory.ok() ? place_of(directory.get()) : std::nullopt;
}

/// The same of a path that may have links on the way to its last part.
std::optional<fs::path> within(const Phone& phone, const fs::path& path) {
  const auto place = place_of_directory(path.parent_path());
  return place.has_value() ? below(phone, *place / path.filename()) : std::nullopt;
}

/// The same of a file that is opened, or open: where links lead, also one to what is not there yet.
std::optional<fs::path> within_when_open(const Phone& phone, const FileAccess& access) {
  constexpr int kMostLinks = 40;  // as the kernel follows
  std::error_code error;
  if (access.fd >= 0) {
    const auto place = place_of(access.fd);
    return place.has_value() ? below(phone, *place) : std::nullopt;
  }
  fs::path path = access.path;
  for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
    const fs::path to = fs::read_symlink(path, error);
    if (error) return std::nullopt;
    path = path.parent_path() / to;
  }
  return within(phone, path);
}

enum class Company { none, others, nobody };

/// Whom an operation on a file can have beside it.
Company company_of(const FileAccess& access) {
  switch (access.operation) {
    case FileOperation::open:
      return (access.flags & (O_CREAT | O_TRUNC)) == 0 ? Company::none : Company::others;
    case FileOperation::write:
    case FileOperation::mkdir:
      return Company::others;
    case FileOperation::sync:
    case FileOperation::sync_directory:
    case FileOperation::rename:
    case FileOperation::remove:
      return Company::nobody;
    default:
      return Company::none;
  }
}

/// Another name for a file that stays as it is, or a copy where there are no such.
void keep_link(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::remove(to, error);
  fs::create_hard_link(from, to, error);
  if (error) copy_content(from, to);
}

/// Keeps things, all that belongs to one operation at once.
class Keeper {
 public:
  Keeper(const Phone& phone, Database& database) : phone_(phone), database_(database) {}

  /// The data of a file before they are changed for the first time since they were flushed.
  void keep_data(const fs::path& path) {
    if (find_row(database_, path, What::data).has_value()) return;
    const auto id = add(path, What::data, "file");
    if (!id.has_value()) return;
    const fs::path kept = kept_file(phone_, *id);
    // What a killed process has left there may be another name of a file of the phone.
    fs::remove(kept);
    copy_content(phone_.directory() / path, kept);
  }

  /// What has a name before that is changed for the first time since its directory was flushed.
  void keep_name(const fs::path& path) {
    if (find_row(database_, path, What::name).has_value()) return;
    const fs::path place = phone_.directory() / path;
    const auto found = found_at(place);
    if (!found.has_value()) {
      add(path, What::name, "absent");
    } else if (S_ISDIR(found->st_mode)) {
      const auto id = add(path, What::name, "directory");
      if (!id.has_value()) return;
      const fs::path kept = kept_file(phone_, *id);
      fs::remove(kept);
      fs::create_directory(kept);
      fs::permissions(kept, fs::perms(found->st_mode & 07777));
    } else if (S_ISREG(found->st_mode)) {
      const auto data = find_row(database_, path, What::data);
      const auto id = add(path, What::name, "file");
      if (!id.has_value()) return;
      keep_link(data.has_value() ? kept_file(phone_, data->id) : place, kept_file(phone_, *id));
    }
  }

  /// Where a directory is before it is moved for the first time since then.
  void keep_place(const fs::path& path, const fs::path& to) {
    // What is not flushed of one that this takes the place of goes with it.
    std::vector<UnflushedRow> gone;
    for (UnflushedRow& row : unflushed_rows(database_)) {
      if (is_within(row.path, to) && row.path != to) gone.push_back(std::move(row));
    }
    remove_rows(phone_, database_, gone);
    if (find_row(database_, path, What::moved).has_value()) return;
    add(path, What::moved, path.native());
  }

  /// What is kept under other names of the file that has this one stays as it was flushed, when
  /// its data are not looked after any longer: `data`; without it they are flushed.
  void detach(const std::optional<struct stat>& file, const fs::path& data) {
    if (!file.has_value() || file->st_nlink < 2) return;
    for (const UnflushedRow& row : unflushed_rows(database_)) {
      const fs::path kept = kept_file(phone_, row.id);
      if (row.what != What::name || !is_same_file(file, found_at(kept))) continue;
      const fs::path copy = kept.string() + ".new";
      copy_content(data.empty() ? kept : data, copy);
      fs::rename(copy, kept);
    }
  }
  void detach_before_removal(const fs::path& path) {
    const auto data = find_row(database_, path, What::data);
    if (!data.has_value()) return;
    detach(found_at(phone_.directory() / path), kept_file(phone_, data->id));
  }

  /// That of another file, which had this path.
  void forget_data(const fs::path& path) { forget_rows(phone_, database_, path, {What::data}); }

  /// What is looked at from now on holds until commit().
  void begin() {
    if (!transaction_.has_value()) transaction_.emplace(database_);
  }
  void commit() {
    if (transaction_.has_value()) transaction_->commit();
  }

 private:
  /// @return the row's number; none where another process was quicker
  std::optional<int64_t> add(const fs::path& path, What what, const std::string& flushed) {
    begin();
    return add_row(database_, path, what, flushed);
  }

  const Phone& phone_;
  Database& database_;
  std::optional<Transaction> transaction_;
};

bool keep_before_opening(const Phone& phone, Keeper& keeper, const FileAccess& access) {
  const auto path = within_when_open(phone, access);
  if (!path.has_value()) return false;
  const auto found = found_at(phone.directory() / *path);
  const bool is_made = !found.has_value() && (access.flags & O_CREAT) != 0;
  const bool is_emptied = found.has_value() && S_ISREG(found->st_mode) && found->st_size > 0 &&
                          (access.flags & O_TRUNC) != 0;
  if (is_made) {
    keeper.begin();
    keeper.forget_data(*path);
    keeper.keep_name(*path);
  }
  if (is_made || is_emptied) keeper.keep_data(*path);
  return is_made || is_emptied;
}

bool keep_before_writing(const Phone& phone, Keeper& keeper, const FileAccess& access) {
  const auto path = within_when_open(phone, access);
  if (!path.has_value()) return false;
  struct stat open {};
  const bool is_named = found_at(phone.directory() / *path).has_value();
  if (is_named || access.fd < 0) {
    keeper.keep_data(*path);
  } else if (fstat(access.fd, &open) == 0) {
    // It has no name any more, unless a power cut gives it back.
    open.st_nlink = 2;
    keeper.detach(open, {});
  }
  return is_named;
}

bool keep_before_renaming(const Phone& phone, Keeper& keeper, const FileAccess& access) {
  const auto from = within(phone, access.path);
  const auto to = within(phone, access.new_path);
  const auto found = from.has_value() ? found_at(phone.directory() / *from) : found_at(access.path);
  if (!found.has_value()) return false;
  if (to.has_value()) keeper.detach_before_removal(*to);
  if (S_ISDIR(found->st_mode) && from.has_value() && to.has_value()) keeper.keep_place(*from, *to);
  keeper.begin();
  if (from.has_value()) keeper.keep_name(*from);
  if (to.has_value()) keeper.keep_name(*to);
  return from.has_value() || to.has_value();
}

/// What the operation would change, kept.
bool keep(const Phone& phone, Keeper& keeper, const FileAccess& access) {
  if (access.operation == FileOperation::open) return keep_before_opening(phone, keeper, access);
  if (access.operation == FileOperation::write) return keep_before_writing(phone, keeper, access);
  if (access.operation == FileOperation::rename) return keep_before_renaming(phone, keeper, access);
  const auto path = within(phone, access.path);
  const bool removes = access.operation == FileOperation::remove;
  const bool makes = access.operation == FileOperation::mkdir;
  if ((!removes && !makes) || !path.has_value()) return false;
  if (found_at(phone.directory() / *path).has_value() != removes) return false;
  if (removes) keeper.detach_before_removal(*path);
  keeper.keep_name(*path);
  return true;
}

/// A node's has neither.
bool has_place(const FileAccess& access) { return access.path != nullptr || access.fd >= 0; }

/// A directory's names are flushed. Data of a file that is not there are nobody's.
void forget_names_in(Phone& phone, Database& database, const fs::path& directory) {
  const auto real = place_of_directory(directory);
  if (!real.has_value()) return;
  std::vector<UnflushedRow> rows;
  std::vector<fs::path> gone;  // directories that were removed, with all that is below them
  for (UnflushedRow& row : unflushed_rows(database)) {
    const fs::path place = phone.real_directory() / row.path;
    const bool is_in = place.parent_path() == *real;
    const bool is_there = found_at(place).has_value();
    if (is_in && row.what == What::name && !is_there) gone.push_back(row.path);
    const bool is_below_gone = std::any_of(
        gone.begin(), gone.end(), [&](const fs::path& each) { return is_within(row.path, each); });
    if (is_below_gone || (is_in && (row.what == What::name || !is_there))) {
      rows.push_back(std::move(row));
    }
  }
  remove_rows(phone, database, rows);
}

/// What is not flushed of a file, or of a directory and its files, goes with it to its new name.
void move_rows(const Phone& phone, Database& database, const FileAccess& access) {
  const auto from = within(phone, access.path);
  const auto to = within(phone, access.new_path);
  std::vector<UnflushedRow> rows;
  std::vector<UnflushedRow> replaced;
  for (UnflushedRow& row : unflushed_rows(database)) {
    if (to.has_value() && row.path == *to && row.what != What::name) {
      replaced.push_back(std::move(row));
      continue;
    }
    if (!from.has_value()) continue;
    const bool stays = row.path == *from && row.what == What::name;
    if (is_within(row.path, *from) && !stays) rows.push_back(std::move(row));
  }
  remove_rows(phone, database, replaced);
  if (rows.empty()) return;
  if (!to.has_value()) return remove_rows(phone, database, rows);
  Transaction transaction(database);
  for (const UnflushedRow& row : rows) {
    const std::string now = to->native() + row.path.native().substr(from->native().size());
    database.query("UPDATE unflushed SET path = ? WHERE id = ?").bind(now).bind(row.id).run();
  }
  transaction.commit();
}

unique_fd turn_at(const Phone& phone, int how) {
  const fs::path directory = phone.directory() / kUnflushedName;
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  unique_fd fd(open(directory.c_str(), kFlags));
  if (!fd.ok() && errno == ENOENT) {
    std::error_code ignored;  // then there is nothing that could be kept
    fs::create_directory(directory, ignored);
    fd.reset(open(directory.c_str(), kFlags));
  }
  // Without a turn it goes on: it is no failure of the phone's.
  if (fd.ok()) static_cast<void>(TEMP_FAILURE_RETRY(flock(fd.get(), how)));
  return fd;
}

}  // namespace

FileTurn::FileTurn(const Phone& phone, const FileAccess& access) {
  const Company company = has_place(access) ? company_of(access) : Company::none;
  if (company == Company::none) return;
  fd_ = turn_at(phone, company == Company::others ? LOCK_SH : LOCK_EX);
}

FileTurn::FileTurn(const Phone& phone) : fd_(turn_at(phone, LOCK_EX)) {}

bool keep_flushed(Phone& phone, const FileAccess& access) {
  const Company company = company_of(access);
  const bool only_flushes =
      access.operation == FileOperation::sync || access.operation == FileOperation::sync_directory;
  if (!has_place(access) || company == Company::none || only_flushes) return false;
  const std::lock_guard lock(phone.mutex());
  try {
    Keeper keeper(phone, phone.fleeting());
    const bool changes = keep(phone, keeper, access);
    keeper.commit();
    return changes;
  } catch (const std::exception& error) {
    // The phone goes on: it has lost nothing.
    __android_log_print(ANDROID_LOG_WARN, "VirtualPhone", "a power cut will not undo this: %s",
                        error.what());
    return true;
  }
}

void note_flushed(Phone& phone, const FileAccess& access) {
  if (!has_place(access) || company_of(access) != Company::nobody) return;
  const std::lock_guard lock(phone.mutex());
  Database& database = phone.fleeting();
  switch (access.operation) {
    case FileOperation::sync:
      if (const auto path = within_when_open(phone, access)) {
        forget_rows(phone, database, *path, {What::data});
      }
      return;
    case FileOperation::sync_directory:
      return forget_names_in(phone, database, access.path);
    case FileOperation::rename:
      return move_rows(phone, database, access);
    default:
      if (const auto path = within(phone, access.path)) {
        forget_rows(phone, database, *path, {What::data, What::moved});
      }
  }
}

void note_tree_flushed(Phone& phone, const fs::path& tree) {
  const std::lock_guard lock(phone.mutex());
  std::vector<UnflushedRow> rows;
  for (UnflushedRow& row : unflushed_rows(phone.fleeting())) {
    if (is_within(row.path, tree)) rows.push_back(std::move(row));
  }
  remove_rows(phone, phone.fleeting(), rows);
}

void make_durable(Phone& phone) {
  bool has_unflushed_files = false;
  {
    const std::lock_guard lock(phone.mutex());
    if (!phone.has_unflushed_changes()) return;
    has_unflushed_files = !unflushed_rows(phone.fleeting()).empty();
  }
  if (has_unflushed_files) {
    for (const char* tree : {"root", kEfsName}) {
      const FileTurn turn(phone);
      sync_tree(phone.directory() / tree);
      note_tree_flushed(phone, tree);
    }
  }
  const std::lock_guard lock(phone.mutex());
  phone.flush_changes();
}

}  // namespace virtual_phone
