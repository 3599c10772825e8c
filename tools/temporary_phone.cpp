#include "tools/temporary_phone.h"

#include <unistd.h>

#include "daemon/open.h"
#include "fcx/modem_link.h"

namespace cli {
namespace {

/// In memory where that can be had: every write of a phone is flushed.
std::filesystem::path directory_for_phones() {
  constexpr char kMemory[] = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? kMemory : std::filesystem::temp_directory_path();
}

}  // namespace

TemporaryPhone::Directory::~Directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

TemporaryPhone::TemporaryPhone(const std::string& profile, const std::filesystem::path& in)
    : directory_{(in.empty() ? directory_for_phones() : in) /
                 ("fcx-demo-" + std::to_string(getpid()) + "-" + profile)} {
  virtual_phone::create(directory_.path, profile, true);
  factory_daemon::open(directory_.path);
  // The one that is open may lead to an earlier phone's modem. A failure shows with each request.
  static_cast<void>(init_modem_interface());
}

}  // namespace cli
