#include "tools/output_file.h"

#include <android-base/unique_fd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "virtual_phone/core/error.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
using virtual_phone::Error;

[[noreturn]] void fail(const fs::path& file) {
  throw Error(file.string() + ": " + strerror(errno));
}

/// Where the file is, or is to be.
fs::path place_of(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::exists(status)) return file;
  if (!fs::is_regular_file(status)) throw Error(file.string() + " is no file: left alone.");
  const fs::path place = fs::canonical(file, error);
  if (error) throw Error(file.string() + ": " + error.message());
  return place;
}

/// As if it had been made the usual way.
mode_t usual_mode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void write_all(int fd, std::string_view content, const fs::path& file) {
  while (!content.empty()) {
    const ssize_t size = write(fd, content.data(), content.size());
    if (size < 0) fail(file);
    content.remove_prefix(static_cast<size_t>(size));
  }
}

}  // namespace

void write_output_file(const fs::path& file, std::string_view content) {
  const fs::path place = place_of(file);
  std::string temporary = (place.parent_path() / ("." + place.filename().string() + ".XXXXXX"));
  const android::base::unique_fd out(mkostemp(temporary.data(), O_CLOEXEC));
  if (!out.ok()) fail(file);
  try {
    write_all(out.get(), content, file);
    if (fchmod(out.get(), usual_mode()) != 0 || fsync(out.get()) != 0) fail(file);
    if (rename(temporary.c_str(), place.c_str()) != 0) fail(file);
  } catch (const Error&) {
    // What matters is why there is no file.
    static_cast<void>(unlink(temporary.c_str()));
    throw;
  }
}

}  // namespace cli
