#include "tools/output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/scratch.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
using virtual_phone::Error;

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

/// Where the file is, or is to be: where links lead, be there something or not.
fs::path place_of(const fs::path& file) {
  const fs::file_status status = fs::status(file);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw Error(file.string() + " is no file: left alone.");
  }
  constexpr int kMostLinks = 40;
  fs::path place = file;
  for (int links = 0; fs::is_symlink(place); ++links) {
    if (links == kMostLinks) fail(ELOOP);
    place = place.parent_path() / fs::read_symlink(place);
  }
  return place;
}

/// That of the file that is replaced, else as if it had been made the usual way.
mode_t mode_for(const fs::path& place) {
  struct stat replaced {};
  if (stat(place.c_str(), &replaced) == 0) return replaced.st_mode & 0777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void write_all(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t size = write(fd, content.data(), content.size());
    if (size < 0) fail(errno);
    content.remove_prefix(static_cast<size_t>(size));
  }
}

}  // namespace

void write_output_file(const fs::path& file, std::string_view content) {
  try {
    const fs::path place = place_of(file);
    const virtual_phone::Scratch made(place.parent_path(), "output",
                                      virtual_phone::Scratch::Kind::file);
    write_all(made.fd(), content);
    if (fchmod(made.fd(), mode_for(place)) != 0 || fsync(made.fd()) != 0) fail(errno);
    if (rename(made.path().c_str(), place.c_str()) != 0) fail(errno);
  } catch (const std::system_error& error) {
    throw Error(file.string() + ": " + error.code().message());
  }
}

}  // namespace cli
