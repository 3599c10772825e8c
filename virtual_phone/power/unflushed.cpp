#include "virtual_phone/power/unflushed.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;
using fcx::FileAccess;
using fcx::FileOperation;

/// What a power cut finds in place of a file's data, or of a name.
enum class Flushed { absent, file, directory };
enum class What { data, name };

struct Row {
  int64_t id;
  fs::path path;  ///< below the phone's directory
  What what;
  Flushed flushed;
};

[[noreturn]] void fail(const fs::path& path) {
  throw Error(path.string() + ": " + strerror(errno));
}

fs::path kept_file(const Phone& phone, int64_t id) {
  return phone.directory() / kUnflushedName / std::to_string(id);
}

std::optional<struct stat> found_at(const fs::path& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return std::nullopt;
  return found;
}

/// A path below the phone's directory, without links on the way to its last part; nothing for what
/// lies elsewhere, and for what is on no disk.
std::optional<fs::path> within(const Phone& phone, const fs::path& path) {
  std::error_code error;
  const fs::path parent = fs::canonical(path.parent_path(), error);
  if (error) return std::nullopt;
  const fs::path below = (parent / path.filename()).lexically_relative(phone.real_directory());
  if (below.empty() || *below.begin() == "..") return std::nullopt;
  constexpr const char* kNoDisk[] = {"root/proc", "root/sys", "root/dev"};
  for (const char* tree : kNoDisk) {
    const fs::path to = below.lexically_relative(tree);
    if (!to.empty() && *to.begin() != "..") return std::nullopt;
  }
  return below;
}

/// The same of a file that is opened, or open: where links lead.
std::optional<fs::path> within_when_open(const Phone& phone, const FileAccess& access) {
  std::error_code error;
  if (access.fd < 0) {
    const fs::path path = fs::weakly_canonical(access.path, error);
    return error ? std::nullopt : within(phone, path);
  }
  const fs::path open = fs::read_symlink("/proc/self/fd/" + std::to_string(access.fd), error);
  return error ? std::nullopt : within(phone, open);
}

Row row_of(const Query& query) {
  return {query.number(0), query.text(1), query.text(2) == "data" ? What::data : What::name,
          query.text(3) == "file"        ? Flushed::file
          : query.text(3) == "directory" ? Flushed::directory
                                         : Flushed::absent};
}

std::optional<Row> find_row(Database& database, const fs::path& path, What what) {
  Query query =
      database.query("SELECT id, path, what, flushed FROM unflushed WHERE path = ? AND what = ?");
  query.bind(path.native()).bind(what == What::data ? "data" : "name");
  if (!query.step()) return std::nullopt;
  return row_of(query);
}

std::vector<Row> all_rows(Database& database) {
  std::vector<Row> rows;
  Query query = database.query("SELECT id, path, what, flushed FROM unflushed ORDER BY path");
  while (query.step()) rows.push_back(row_of(query));
  return rows;
}

int64_t add_row(Database& database, const fs::path& path, What what, Flushed flushed) {
  constexpr const char* kFlushed[] = {"absent", "file", "directory"};
  database.query("INSERT INTO unflushed(path, what, flushed) VALUES(?, ?, ?)")
      .bind(path.native())
      .bind(what == What::data ? "data" : "name")
      .bind(kFlushed[static_cast<size_t>(flushed)])
      .run();
  return database.last_id();
}

void remove_row(const Phone& phone, Database& database, const Row& row) {
  database.query("DELETE FROM unflushed WHERE id = ?").bind(row.id).run();
  std::error_code ignored;  // one that stays is written over
  fs::remove(kept_file(phone, row.id), ignored);
}

/// Copies what there is of `from`; nothing where there is no such file.
void copy_content(const fs::path& from, const fs::path& to) {
  const unique_fd out(open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!out.ok()) fail(to);
  const unique_fd in(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!in.ok() && errno == ENOENT) return;
  if (!in.ok()) fail(from);
  constexpr size_t kPiece = 1 << 20;
  for (ssize_t sent = 1; sent > 0;) {
    sent = sendfile(out.get(), in.get(), nullptr, kPiece);
    if (sent < 0) fail(from);
  }
}

/// Another name for a file that stays as it is, or a copy where there are no such.
void keep_link(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::remove(to, error);
  fs::create_hard_link(from, to, error);
  if (error) fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

/// Keeps the data of a file before they are changed for the first time since they were flushed.
void keep_data(const Phone& phone, Database& database, const fs::path& path) {
  if (find_row(database, path, What::data).has_value()) return;
  const int64_t id = add_row(database, path, What::data, Flushed::file);
  copy_content(phone.directory() / path, kept_file(phone, id));
}

/// Keeps what has a name before that is changed for the first time since its directory was flushed.
void keep_name(const Phone& phone, Database& database, const fs::path& path) {
  if (find_row(database, path, What::name).has_value()) return;
  const fs::path place = phone.directory() / path;
  const auto found = found_at(place);
  if (!found.has_value()) {
    add_row(database, path, What::name, Flushed::absent);
  } else if (S_ISDIR(found->st_mode)) {
    add_row(database, path, What::name, Flushed::directory);
  } else if (S_ISREG(found->st_mode)) {
    const auto data = find_row(database, path, What::data);
    const int64_t id = add_row(database, path, What::name, Flushed::file);
    keep_link(data.has_value() ? kept_file(phone, data->id) : place, kept_file(phone, id));
  }
}

/// What the operation would change, kept.
bool keep(const Phone& phone, Database& database, const FileAccess& access) {
  switch (access.operation) {
    case FileOperation::open: {
      if ((access.flags & (O_CREAT | O_TRUNC)) == 0) return false;
      const auto path = within_when_open(phone, access);
      if (!path.has_value()) return false;
      const auto found = found_at(phone.directory() / *path);
      const bool is_made = !found.has_value() && (access.flags & O_CREAT) != 0;
      const bool is_emptied = found.has_value() && S_ISREG(found->st_mode) && found->st_size > 0 &&
                              (access.flags & O_TRUNC) != 0;
      if (is_made) keep_name(phone, database, *path);
      if (is_made || is_emptied) keep_data(phone, database, *path);
      return is_made || is_emptied;
    }
    case FileOperation::write: {
      const auto path = within_when_open(phone, access);
      if (path.has_value()) keep_data(phone, database, *path);
      return path.has_value();
    }
    case FileOperation::rename: {
      const auto from = within(phone, access.path);
      const auto to = within(phone, access.new_path);
      if (from.has_value()) keep_name(phone, database, *from);
      if (to.has_value()) keep_name(phone, database, *to);
      return from.has_value() || to.has_value();
    }
    case FileOperation::remove:
    case FileOperation::mkdir: {
      const auto path = within(phone, access.path);
      if (path.has_value()) keep_name(phone, database, *path);
      return path.has_value();
    }
    default:
      return false;
  }
}

bool can_change(FileOperation operation) {
  return operation == FileOperation::open || operation == FileOperation::write ||
         operation == FileOperation::rename || operation == FileOperation::remove ||
         operation == FileOperation::mkdir;
}

void forget(const Phone& phone, Database& database, const std::optional<fs::path>& path,
            What what) {
  if (!path.has_value()) return;
  if (const auto row = find_row(database, *path, what)) remove_row(phone, database, *row);
}

/// What is not flushed of a file, or of a directory's files, goes with it to its new name.
void move_rows(const Phone& phone, Database& database, const FileAccess& access) {
  const auto from = within(phone, access.path);
  const auto to = within(phone, access.new_path);
  forget(phone, database, to, What::data);
  if (!from.has_value() || !to.has_value()) return;
  const std::string below = from->native() + "/";
  for (const Row& row : all_rows(database)) {
    const bool is_itself = row.path == *from && row.what == What::data;
    const bool is_below = row.path.native().compare(0, below.size(), below) == 0;
    if (!is_itself && !is_below) continue;
    const std::string now = to->native() + row.path.native().substr(from->native().size());
    database.query("UPDATE unflushed SET path = ? WHERE id = ?").bind(now).bind(row.id).run();
  }
}

/// Puts content into a file that stays the same file, whatever its names are.
void put_content(const fs::path& from, const fs::path& to) {
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(to, error))) return;
  copy_content(from, to);
}

/// Leaves of what was written the blocks before the last one, and of what was there the rest.
void tear(const fs::path& flushed, const fs::path& written) {
  constexpr uintmax_t kBlock = 4096;
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(written, error))) return;
  const uintmax_t size = fs::file_size(written);
  const uintmax_t whole = size == 0 ? 0 : (size - 1) / kBlock * kBlock;
  const uintmax_t old_size = fs::file_size(flushed);
  fs::resize_file(written, std::max(whole, old_size));
  const unique_fd in(open(flushed.c_str(), O_RDONLY | O_CLOEXEC));
  const unique_fd out(open(written.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!in.ok() || !out.ok()) fail(written);
  auto offset = static_cast<off_t>(whole);
  if (lseek(out.get(), offset, SEEK_SET) < 0) fail(written);
  while (static_cast<uintmax_t>(offset) < old_size) {
    const ssize_t sent = sendfile(out.get(), in.get(), &offset, old_size);
    if (sent <= 0) fail(written);
  }
}

void put_names_back(const Phone& phone, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    if (row.what != What::name) continue;
    const fs::path place = phone.directory() / row.path;
    if (row.flushed != Flushed::directory || !fs::is_directory(place)) fs::remove_all(place);
  }
  // In the order of their paths: a directory before what is in it.
  for (const Row& row : rows) {
    if (row.what != What::name || row.flushed == Flushed::absent) continue;
    const fs::path place = phone.directory() / row.path;
    fs::create_directories(row.flushed == Flushed::directory ? place : place.parent_path());
    if (row.flushed == Flushed::file) fs::rename(kept_file(phone, row.id), place);
  }
}

}  // namespace

bool keep_flushed(Phone& phone, const FileAccess& access) {
  // A node's has neither.
  const bool has_place = access.path != nullptr || access.fd >= 0;
  if (!has_place || !can_change(access.operation)) return false;
  // Most openings change nothing.
  const bool reads =
      access.operation == FileOperation::open && (access.flags & (O_CREAT | O_TRUNC)) == 0;
  if (reads) return false;
  const std::lock_guard lock(phone.mutex());
  try {
    fs::create_directories(phone.directory() / kUnflushedName);
    Transaction transaction(phone.fleeting());
    const bool changes = keep(phone, phone.fleeting(), access);
    transaction.commit();
    return changes;
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

void note_flushed(Phone& phone, const FileAccess& access) {
  if (access.path == nullptr && access.fd < 0) return;
  const std::lock_guard lock(phone.mutex());
  Database& database = phone.fleeting();
  switch (access.operation) {
    case FileOperation::sync:
      return forget(phone, database, within_when_open(phone, access), What::data);
    case FileOperation::sync_directory: {
      std::error_code error;
      const fs::path directory = fs::canonical(access.path, error);
      for (const Row& row : all_rows(database)) {
        if (row.what != What::name) continue;
        if (phone.real_directory() / row.path.parent_path() == directory) {
          remove_row(phone, database, row);
        }
      }
      return;
    }
    case FileOperation::rename:
      return move_rows(phone, database, access);
    case FileOperation::remove:
      return forget(phone, database, within(phone, access.path), What::data);
    default:
      return;
  }
}

void note_all_flushed(Phone& phone, std::string_view tree) {
  const std::lock_guard lock(phone.mutex());
  for (const Row& row : all_rows(phone.fleeting())) {
    if (row.path.begin()->native() == tree) remove_row(phone, phone.fleeting(), row);
  }
}

void lose_unflushed(Phone& phone, Unflushed unflushed) {
  const std::lock_guard lock(phone.mutex());
  Database& database = phone.fleeting();
  try {
    const std::vector<Row> rows = all_rows(database);
    for (const Row& row : rows) {
      if (row.what != What::data || unflushed == Unflushed::kept) continue;
      const fs::path written = phone.directory() / row.path;
      const fs::path flushed = kept_file(phone, row.id);
      unflushed == Unflushed::torn ? tear(flushed, written) : put_content(flushed, written);
    }
    if (unflushed == Unflushed::dropped) put_names_back(phone, rows);
    for (const Row& row : rows) remove_row(phone, database, row);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
