#include "daemon/background.h"

#include "fcx/background.h"
#include "virtual_phone/core/simulated_time.h"

namespace factory_daemon {

void await_background_work() {
  const virtual_phone::WaitingForOthers waiting;
  fcx::wait_for_background_work();
}

}  // namespace factory_daemon
