#include "tools/temporary_phone.h"

#include "daemon/open.h"
#include "fcx/modem_link.h"

namespace cli {

namespace vp = virtual_phone;

TemporaryPhone::TemporaryPhone(const std::string& profile, const std::filesystem::path& in)
    : scratch_(in.empty() ? vp::quick_directory() : in, "phone", vp::Scratch::Kind::folder) {
  const std::filesystem::path directory = scratch_.phones() / profile;
  vp::create(directory, profile, false);
  factory_daemon::open(directory);
  // The one that is open may lead to an earlier phone's modem. A failure shows with each request.
  static_cast<void>(init_modem_interface());
}

}  // namespace cli
