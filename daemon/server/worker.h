// The process that has the library: it serves one phone, one frame after another, and ends with the
// phone's uptime. The server makes a fresh one each time.
#pragma once

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "daemon/boot.h"
#include "daemon/deliver.h"

namespace factory_daemon {

/// Text that the tool makes for people and programs, as answers have it.
struct Reports {
  std::function<std::string(const Delivery& delivery)> details;
  std::function<std::string(const Boot& boot, bool as_json, bool full)> start;
};

/// How a worker ends that is not killed.
enum class WorkerEnd {
  served = 0,            ///< nobody sends it frames any more
  no_phone = 40,         ///< it could not open the phone; it has said why
  rebooted = 41,         ///< android_reboot() has ended the uptime
  switched_off = 42,     ///< likewise, and left the phone off
  power_cut = 43,        ///< a fault has cut the power
  ended_elsewhere = 44,  ///< another process has ended the uptime, or replaced the phone: what it
                         ///< was sent last was not begun
  found_off = 45,        ///< likewise, and the phone is off
};

/// The signal after which a worker begins nothing any more, and answers that the server ends.
constexpr int kNoMoreSignal = SIGUSR1;

/// Opens the phone, says with an empty hello answer that it is ready, or with an error that it is
/// not, and answers the frames that come over `socket` until that is closed. Then it waits for what
/// commands have left on threads. To be called in a process of its own in which the library has
/// done nothing yet; standard input and output are not used, and lead nowhere afterwards.
[[noreturn]] void run_worker(int socket, const std::filesystem::path& phone,
                             const Reports& reports);

}  // namespace factory_daemon
