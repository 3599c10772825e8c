// The rows of what is not flushed, and the files that are kept for them.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// What a row is about: a file's data, a name, or where a directory was when its name was flushed.
enum class What { data, name, moved };
/// What a power cut finds in place of it.
enum class Flushed { absent, file, directory };

struct UnflushedRow {
  int64_t id;
  std::filesystem::path path;  ///< below the phone's directory, where it is now
  What what;
  Flushed flushed;
  std::filesystem::path origin;  ///< of a directory that was moved
};

[[noreturn]] void fail_at(const std::filesystem::path& path);

/// What was flushed: a file's content, or a directory that only has its mode.
std::filesystem::path kept_file(const Phone& phone, int64_t id);

/// What has a name; of a link the link itself.
std::optional<struct stat> found_at(const std::filesystem::path& path);
bool is_same_file(const std::optional<struct stat>& a, const std::optional<struct stat>& b);
/// Whether a path is `top`, or below it.
bool is_within(const std::filesystem::path& path, const std::filesystem::path& top);

std::optional<UnflushedRow> find_row(Database& database, const std::filesystem::path& path,
                                     What what);
/// All of them, by their paths.
std::vector<UnflushedRow> unflushed_rows(Database& database);
/// @param flushed of a directory that was moved its origin
/// @return its number; none where there is such a row
std::optional<int64_t> add_row(Database& database, const std::filesystem::path& path, What what,
                               const std::string& flushed);
/// Removes rows at once, and then what was kept for them.
void remove_rows(const Phone& phone, Database& database, const std::vector<UnflushedRow>& rows);

/// Removes those of one path likewise.
void forget_rows(const Phone& phone, Database& database, const std::filesystem::path& path,
                 std::initializer_list<What> whats);

/// Gives `to` the content of `from`; none where there is no such file.
void copy_content(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace virtual_phone
