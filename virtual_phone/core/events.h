// What happened to the phone: reboots, factory resets, wake locks, restored file labels, prepared
// thread pools, and what the system side was asked to do.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

struct Event {
  int64_t id;
  int64_t time_us;     ///< since 1970, on the phone's clock
  std::string kind;    ///< reboot, restart, power_cut, factory_reset, wake_lock, restorecon,
                       ///< rpc_threadpool, sleep, wake_up, omadm
  std::string detail;  ///< what exactly
};

void record_event(Phone& phone, std::string_view kind, std::string_view detail);
/// The same as part of a transaction.
void record_event(Database& database, std::string_view kind, std::string_view detail);

/// The id of the last event, 0 before the first.
int64_t last_event(Phone& phone);

/// The events after the one with the id `after`, oldest first.
std::vector<Event> events(Phone& phone, int64_t after = 0);

}  // namespace virtual_phone
