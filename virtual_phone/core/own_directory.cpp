#include "virtual_phone/core/own_directory.h"

#include "virtual_phone/core/error.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

bool is_a_directory(const fs::path& path) {
  return fs::symlink_status(path).type() == fs::file_type::directory;
}

fs::path parts_of(std::string_view device_path) {
  return (fs::path("/") / device_path).lexically_normal().relative_path();
}

}  // namespace

std::optional<fs::path> own_directory(const Phone& phone, std::string_view device_path) {
  fs::path directory = phone.root();
  for (const fs::path& part : parts_of(device_path)) {
    directory /= part;
    if (!is_a_directory(directory)) return std::nullopt;
  }
  return directory;
}

fs::path make_own_directory(const Phone& phone, std::string_view device_path) {
  fs::path directory = phone.root();
  std::error_code failed;
  for (const fs::path& part : parts_of(device_path)) {
    directory /= part;
    if (!fs::exists(fs::symlink_status(directory))) fs::create_directory(directory, failed);
    if (failed) throw Error(directory.string() + ": " + failed.message());
    if (!is_a_directory(directory)) throw Error(directory.string() + " is no directory");
  }
  return directory;
}

}  // namespace virtual_phone
