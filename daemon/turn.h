// Turns at a phone: it has one daemon, which does one such thing at a time.
#pragma once

#include <android-base/unique_fd.h>

#include <initializer_list>
#include <string>

#include "virtual_phone/core/phone.h"

namespace factory_daemon {

/// Waits until no other process, or thread, has the turn at this phone, and has it while it exists.
/// It is over with a process that is killed, too.
class Turn {
 public:
  /// @param written device paths that are about to be written or emptied. What lies behind a link
  ///                may be outside of the phone, and is not touched.
  /// Throws virtual_phone::Error, also for such a link.
  explicit Turn(const virtual_phone::Phone& phone, std::initializer_list<std::string> written = {});

 private:
  android::base::unique_fd directory_;
};

}  // namespace factory_daemon
