#include "daemon/turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace factory_daemon {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;

/// Throws Error for a link at a device path, or on the way to it. What is not there is none.
void check_has_no_link(const vp::Phone& phone, const std::string& device_path) {
  fs::path place = phone.root();
  fs::path shown = "/";
  for (const fs::path& part : fs::path(device_path).lexically_normal().relative_path()) {
    if (part.empty()) return;  // after the last '/'
    place /= part;
    shown /= part;
    std::error_code failed;  // as of a folder that is none: the library meets it, too
    if (fs::symlink_status(place, failed).type() != fs::file_type::symlink) continue;
    throw vp::Error(shown.string() + " is a link, which may lead out of the phone: left alone");
  }
}

}  // namespace

Turn::Turn(const vp::Phone& phone, std::initializer_list<std::string> written)
    : directory_(open(phone.directory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!directory_.ok() || TEMP_FAILURE_RETRY(flock(directory_.get(), LOCK_EX)) != 0) {
    throw vp::Error(phone.directory().string() + ": " + strerror(errno));
  }
  for (const std::string& path : written) check_has_no_link(phone, path);
}

}  // namespace factory_daemon
