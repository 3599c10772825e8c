// What a power cut does to the files.
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>

#include "virtual_phone/core/content_hash.h"
#include "virtual_phone/power/unflushed.h"
#include "virtual_phone/power/unflushed_rows.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

/// What a path has: enough to tell whether that has changed.
struct Seen {
  bool is_there = false;
  bool is_file = false;
  uint64_t bytes = 0;
  uint64_t hash = 0;

  bool operator==(const Seen& other) const {
    return is_there == other.is_there && is_file == other.is_file && bytes == other.bytes &&
           hash == other.hash;
  }
};

Seen seen_at(const fs::path& place) {
  const auto found = found_at(place);
  if (!found.has_value()) return {};
  Seen seen{true, S_ISREG(found->st_mode), 0, 0};
  if (!seen.is_file) return seen;
  const unique_fd in(open(place.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  ContentHash hash;
  std::array<char, 65536> piece;
  for (ssize_t size = 1; in.ok() && size > 0; seen.bytes += static_cast<uint64_t>(size)) {
    size = read(in.get(), piece.data(), piece.size());
    if (size < 0) fail_at(place);
    hash.add({piece.data(), static_cast<size_t>(size)});
  }
  seen.hash = hash.value();
  return seen;
}

using SeenByPath = std::map<fs::path, Seen>;

SeenByPath seen_of(const Phone& phone, const std::vector<UnflushedRow>& rows) {
  SeenByPath seen;
  for (const UnflushedRow& row : rows) {
    for (const fs::path& path : {row.path, row.origin}) {
      if (!path.empty()) seen.emplace(path, seen_at(phone.directory() / path));
    }
  }
  return seen;
}

/// A path as people know it.
std::string shown(const fs::path& path) {
  constexpr std::string_view kRoot = "root/";
  const std::string& text = path.native();
  if (text.compare(0, kRoot.size(), kRoot) == 0) return text.substr(kRoot.size() - 1);
  const size_t slash = std::min(text.find('/'), text.size());
  return text.substr(0, slash) + ":" + text.substr(slash);
}

std::vector<LostFile> differences(const SeenByPath& before, const SeenByPath& after) {
  std::vector<LostFile> lost;
  for (const auto& [path, now] : after) {
    const Seen& was = before.at(path);
    if (now == was) continue;
    const Became became = !now.is_there  ? Became::gone
                          : was.is_there ? Became::content
                                         : Became::name;
    lost.push_back({shown(path), became, {}});
    if (now.is_file) lost.back().bytes = now.bytes;
  }
  return lost;
}

/// Leaves of what was written the blocks before the last one, and of what was there the rest.
void tear(const fs::path& flushed, const fs::path& written) {
  constexpr uintmax_t kBlock = 4096;
  const uintmax_t size = fs::file_size(written);
  const uintmax_t whole = size == 0 ? 0 : (size - 1) / kBlock * kBlock;
  const uintmax_t old_size = fs::file_size(flushed);
  fs::resize_file(written, std::max(whole, old_size));
  const unique_fd in(open(flushed.c_str(), O_RDONLY | O_CLOEXEC));
  const unique_fd out(open(written.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!in.ok() || !out.ok()) fail_at(written);
  auto offset = static_cast<off_t>(whole);
  if (lseek(out.get(), offset, SEEK_SET) < 0) fail_at(written);
  while (static_cast<uintmax_t>(offset) < old_size) {
    const ssize_t sent = sendfile(out.get(), in.get(), &offset, old_size);
    if (sent <= 0) fail_at(written);
  }
}

/// Of a file that stays the same file, whatever its names are.
void lose_data(const Phone& phone, const UnflushedRow& row, Unflushed unflushed) {
  const fs::path written = phone.directory() / row.path;
  const fs::path flushed = kept_file(phone, row.id);
  const bool are_there = fs::is_regular_file(fs::symlink_status(written)) && fs::exists(flushed);
  if (row.what != What::data || !are_there) return;
  unflushed == Unflushed::torn ? tear(flushed, written) : copy_content(flushed, written);
}

/// Gives a name back what it had. What is in a directory comes before it.
void put_name_back(const Phone& phone, const UnflushedRow& row,
                   const std::vector<UnflushedRow>& rows) {
  const fs::path place = phone.directory() / row.path;
  const fs::path kept = kept_file(phone, row.id);
  // A directory that has it now may have had another one.
  for (const UnflushedRow& moved : rows) {
    if (moved.what != What::moved || moved.path != row.path || moved.origin == row.path) continue;
    const fs::path origin = phone.directory() / moved.origin;
    const bool is_known = std::any_of(rows.begin(), rows.end(), [&](const UnflushedRow& each) {
      return each.path == moved.origin && each.what == What::name &&
             each.flushed == Flushed::directory;
    });
    if (is_known && fs::is_directory(fs::symlink_status(place))) fs::rename(place, origin);
  }
  const bool was_put_back = row.flushed != Flushed::absent && !found_at(kept).has_value();
  if (was_put_back) return;
  const bool stays =
      row.flushed == Flushed::directory && fs::is_directory(fs::symlink_status(place));
  if (stays) return fs::permissions(place, fs::status(kept).permissions());
  // A file takes the place of another at once: a process that is killed here leaves one of them.
  const bool is_replaced =
      row.flushed == Flushed::file && !fs::is_directory(fs::symlink_status(place));
  if (!is_replaced) fs::remove_all(place);
  if (row.flushed == Flushed::absent) return;
  fs::create_directories(place.parent_path());
  fs::rename(kept, place);
}

void put_names_back(const Phone& phone, const std::vector<UnflushedRow>& rows) {
  std::vector<UnflushedRow> deepest_first;
  for (const UnflushedRow& row : rows) {
    if (row.what == What::name) deepest_first.push_back(row);
    // Else nothing could be put into it.
    const fs::path place = phone.directory() / row.path;
    const bool is_replaced = row.what == What::name && row.flushed == Flushed::directory &&
                             found_at(place).has_value() &&
                             !fs::is_directory(fs::symlink_status(place));
    if (is_replaced) fs::remove(place);
  }
  const auto depth = [](const UnflushedRow& row) {
    return std::distance(row.path.begin(), row.path.end());
  };
  std::stable_sort(
      deepest_first.begin(), deepest_first.end(),
      [&](const UnflushedRow& a, const UnflushedRow& b) { return depth(a) > depth(b); });
  for (const UnflushedRow& row : deepest_first) put_name_back(phone, row, rows);
}

bool is_changed(const Phone& phone, const UnflushedRow& row) {
  const auto now = found_at(phone.directory() / row.path);
  if (row.what == What::data) return now.has_value() && S_ISREG(now->st_mode);
  if (row.what == What::moved) return false;  // its names are told of
  if (row.flushed == Flushed::absent) return now.has_value();
  if (row.flushed == Flushed::directory) return !now.has_value() || !S_ISDIR(now->st_mode);
  return !is_same_file(now, found_at(kept_file(phone, row.id)));
}

}  // namespace

std::vector<UnflushedFile> unflushed_files(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::vector<UnflushedFile> files;
  for (const UnflushedRow& row : unflushed_rows(phone.fleeting())) {
    if (!is_changed(phone, row)) continue;
    const std::string path = shown(row.path);
    if (files.empty() || files.back().path != path) files.push_back({path});
    (row.what == What::data ? files.back().data : files.back().name) = true;
  }
  return files;
}

std::vector<LostFile> lose_unflushed(Phone& phone, Unflushed unflushed) {
  const FileTurn turn(phone);
  const std::lock_guard lock(phone.mutex());
  Database& database = phone.fleeting();
  try {
    const std::vector<UnflushedRow> rows = unflushed_rows(database);
    const SeenByPath before = seen_of(phone, rows);
    for (const UnflushedRow& row : rows) {
      if (unflushed != Unflushed::kept) lose_data(phone, row, unflushed);
    }
    if (unflushed == Unflushed::dropped) put_names_back(phone, rows);
    const SeenByPath after = seen_of(phone, rows);
    remove_rows(phone, database, rows);
    return differences(before, after);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
