#include "virtual_phone/power/unflushed_rows.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/sendfile.h>

#include <cerrno>
#include <cstring>

#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {

namespace fs = std::filesystem;
using android::base::unique_fd;

template <>
inline constexpr EnumName<What> kEnumNames<What>[] = {
    {What::data, "data"}, {What::name, "name"}, {What::moved, "moved"}};
template <>
inline constexpr EnumName<Flushed> kEnumNames<Flushed>[] = {
    {Flushed::absent, "absent"}, {Flushed::file, "file"}, {Flushed::directory, "directory"}};

namespace {

UnflushedRow row_of(const Query& query) {
  const auto what = named<What>(query.text(2)).value_or(What::name);
  const std::string flushed = query.text(3);
  return {query.number(0), query.text(1), what, named<Flushed>(flushed).value_or(Flushed::absent),
          what == What::moved ? fs::path(flushed) : fs::path()};
}

}  // namespace

void fail_at(const fs::path& path) { throw Error(path.string() + ": " + strerror(errno)); }

fs::path kept_file(const Phone& phone, int64_t id) {
  return phone.directory() / kUnflushedName / std::to_string(id);
}

std::optional<struct stat> found_at(const fs::path& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return std::nullopt;
  return found;
}

bool is_same_file(const std::optional<struct stat>& a, const std::optional<struct stat>& b) {
  return a.has_value() && b.has_value() && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

bool is_within(const fs::path& path, const fs::path& top) {
  const std::string& all = path.native();
  const std::string& begin = top.native();
  return all.compare(0, begin.size(), begin) == 0 &&
         (all.size() == begin.size() || all[begin.size()] == '/');
}

std::optional<UnflushedRow> find_row(Database& database, const fs::path& path, What what) {
  Query query =
      database.query("SELECT id, path, what, flushed FROM unflushed WHERE path = ? AND what = ?");
  query.bind(path.native()).bind(name_of(what));
  if (!query.step()) return std::nullopt;
  return row_of(query);
}

std::vector<UnflushedRow> unflushed_rows(Database& database) {
  std::vector<UnflushedRow> rows;
  Query query = database.query("SELECT id, path, what, flushed FROM unflushed ORDER BY path, id");
  while (query.step()) rows.push_back(row_of(query));
  return rows;
}

std::optional<int64_t> add_row(Database& database, const fs::path& path, What what,
                               const std::string& flushed) {
  database.query("INSERT OR IGNORE INTO unflushed(path, what, flushed) VALUES(?, ?, ?)")
      .bind(path.native())
      .bind(name_of(what))
      .bind(flushed)
      .run();
  if (database.changes() == 0) return std::nullopt;
  return database.last_id();
}

void remove_rows(const Phone& phone, Database& database, const std::vector<UnflushedRow>& rows) {
  if (rows.empty()) return;
  Transaction transaction(database);
  for (const UnflushedRow& row : rows) {
    database.query("DELETE FROM unflushed WHERE id = ?").bind(row.id).run();
  }
  transaction.commit();
  // After that: a row without its file would lose what is flushed.
  std::error_code ignored;  // one that stays is in nobody's way
  for (const UnflushedRow& row : rows) fs::remove(kept_file(phone, row.id), ignored);
}

void forget_rows(const Phone& phone, Database& database, const fs::path& path,
                 std::initializer_list<What> whats) {
  std::error_code ignored;  // one that stays is in nobody's way
  for (const What what : whats) {
    Query query = database.query("DELETE FROM unflushed WHERE path = ? AND what = ? RETURNING id");
    query.bind(path.native()).bind(name_of(what));
    std::optional<int64_t> id;
    while (query.step()) id = query.number(0);
    if (id.has_value()) fs::remove(kept_file(phone, *id), ignored);
  }
}

void copy_content(const fs::path& from, const fs::path& to) {
  const unique_fd in(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!in.ok() && errno != ENOENT) fail_at(from);
  struct stat found {};
  found.st_mode = 0600;
  if (in.ok() && fstat(in.get(), &found) != 0) fail_at(from);
  // Whoever keeps it can read it again.
  const mode_t mode = (found.st_mode & 07777) | S_IRUSR | S_IWUSR;
  const bool is_new = !found_at(to).has_value();
  const unique_fd out(
      open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
  if (!out.ok() || (is_new && fchmod(out.get(), mode) != 0)) fail_at(to);
  if (!in.ok()) return;
  constexpr size_t kPiece = 1 << 20;
  for (ssize_t sent = 1; sent > 0;) {
    sent = sendfile(out.get(), in.get(), nullptr, kPiece);
    if (sent < 0) fail_at(from);
  }
}

}  // namespace virtual_phone
