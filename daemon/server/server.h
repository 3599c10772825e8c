// The phone's factory daemon for programs on this machine and beside it: it listens, lets the
// library carry out one request after another, and keeps what clients do from each other.
// docs/station-protocol.md and docs/serial.md say what clients see.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "daemon/server/loop.h"
#include "daemon/server/worker.h"

namespace factory_daemon {

struct ServerOptions {
  std::filesystem::path phone;
  std::string about;  ///< what a hello is answered: a JSON object

  std::filesystem::path socket;  ///< of frames; empty: none, as below
  std::optional<uint16_t> port;  ///< 0: a free one
  std::string bind = "127.0.0.1";
  std::string token;  ///< that clients must give in their hello; empty: none is asked for
  bool has_terminal = false;
  std::filesystem::path link;       ///< to the terminal
  std::filesystem::path at_socket;  ///< of AT lines
  std::optional<uint16_t> at_port;  ///< likewise, at 127.0.0.1 alone

  bool starts_phone = false;    ///< before it is ready
  uint64_t limit_ms = 120'000;  ///< for one request
};

/// Where clients find it: what was asked for, with the ports and names that it has become.
struct ServerAddresses {
  std::string tcp;       ///< "127.0.0.1:4711", empty for none
  std::string terminal;  ///< "/dev/pts/3"
  std::string at_tcp;
};

/// Serves until SIGTERM or SIGINT comes; then what is in hand comes to its end. No thread may run
/// in this process, and nothing of the library.
/// @param ready called once, when clients can come
/// Throws LoopError when it cannot listen, and virtual_phone::Error when there is no phone.
void serve(const ServerOptions& options, const Reports& reports,
           const std::function<void(const ServerAddresses&)>& ready);

}  // namespace factory_daemon
