// serve: a phone that station software talks to.
#include <sys/mman.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "daemon/server/server.h"
#include "fcx/version.h"
#include "tools/boot_report.h"
#include "tools/commands.h"
#include "tools/connect.h"
#include "tools/delivery.h"
#include "tools/json.h"
#include "tools/words.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/error.h"
#include "virtual_phone/core/phone.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::ServerAddresses;
using factory_daemon::ServerOptions;

struct Words {
  std::string socket;
  std::optional<std::string> tcp;
  std::string bind = "127.0.0.1";
  std::optional<std::string> token_file;
  std::optional<std::string> pty;
  std::string at_socket;
  std::optional<std::string> at_tcp;
  std::string limit = "120";
  bool starts_phone = false;
};

/// What is printed while `print` runs. Standard output leads nowhere otherwise: this is the
/// process's whose answers are a server's.
template <typename Print>
std::string printed(Print print) {
  const android::base::unique_fd text(memfd_create("report", MFD_CLOEXEC));
  const auto check = [](bool is_done) {
    if (!is_done) throw vp::Error(std::string("the report: ") + strerror(errno));
  };
  check(text.ok() && fflush(stdout) == 0 && dup2(text.get(), STDOUT_FILENO) >= 0);
  print();
  check(fflush(stdout) == 0);
  std::string all(static_cast<size_t>(lseek(text.get(), 0, SEEK_END)), '\0');
  const ssize_t count = pread(text.get(), all.data(), all.size(), 0);
  check(count >= 0);
  all.resize(static_cast<size_t>(count));
  while (!all.empty() && all.back() == '\n') all.pop_back();
  return all;
}

factory_daemon::Reports reports() {
  return {[](const factory_daemon::Delivery& delivery) {
            return delivery_json(shown_delivery(delivery)).line();
          },
          [](const factory_daemon::Boot& boot, bool as_json, bool full) {
            return as_json ? boot_json(boot, full).dump()
                           : printed([&] { print_boot(boot, full); });
          }};
}

uint16_t port_of(const std::string& text) {
  constexpr size_t kHighest = 65535;
  const size_t port = count_of(text, "a port");
  if (port > kHighest) throw UsageError("a port is at most 65535, not " + text);
  return static_cast<uint16_t>(port);
}

std::optional<uint16_t> port_of(const std::optional<std::string>& text) {
  if (!text.has_value()) return {};
  return port_of(*text);
}

uint64_t limit_ms_of(const std::string& text) {
  constexpr size_t kMost = 86'400;
  const size_t seconds = count_of(text, "--limit");
  if (seconds == 0 || seconds > kMost) {
    throw UsageError("a limit is 1 to " + std::to_string(kMost) + " seconds, not " + text);
  }
  return uint64_t{seconds} * 1000;
}

ServerOptions options_of(const Invocation& invocation, const Words& words) {
  ServerOptions options;
  options.phone = vp::normal(invocation.directory());
  options.about = Json({{"phone", options.phone.string()},
                        {"version", fcx::library_version()},
                        {"pid", getpid()}})
                      .line();
  options.socket = words.socket;
  options.port = port_of(words.tcp);
  options.bind = words.bind;
  options.token = token_in(words.token_file);
  options.has_terminal = words.pty.has_value();
  options.link = words.pty.value_or("");
  options.at_socket = words.at_socket;
  options.at_port = port_of(words.at_tcp);
  options.starts_phone = words.starts_phone;
  options.limit_ms = limit_ms_of(words.limit);
  const bool listens = !words.socket.empty() || words.tcp.has_value() || words.pty.has_value() ||
                       !words.at_socket.empty() || words.at_tcp.has_value();
  if (!listens) {
    throw UsageError("say where it listens: --socket, --tcp, --pty, --at-socket, --at-tcp");
  }
  return options;
}

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

void print_ready(const ServerOptions& options, const ServerAddresses& addresses) {
  const Json object = {{"ready", true},
                       {"phone", options.phone.string()},
                       {"pid", getpid()},
                       {"protocol", factory_daemon::kProtocolVersion},
                       {"socket", or_null(options.socket.string())},
                       {"tcp", or_null(addresses.tcp)},
                       {"pty", or_null(addresses.terminal)},
                       {"link", or_null(options.link.string())},
                       {"at_socket", or_null(options.at_socket.string())},
                       {"at_tcp", or_null(addresses.at_tcp)}};
  puts(object.line().c_str());
  // Nobody who waits for it would wait for more; a server without such a reader serves all the
  // same.
  static_cast<void>(fflush(stdout));
}

void run_server(const Invocation& invocation, const Words& words) {
  const ServerOptions options = options_of(invocation, words);
  const char* clock = getenv("FCX_CLOCK");
  if (clock == nullptr || *clock == '\0') vp::set_clock(vp::Clock::real);
  factory_daemon::serve(options, reports(),
                        [&](const ServerAddresses& addresses) { print_ready(options, addresses); });
}

}  // namespace

void add_serve(Verb& tool, Invocation& invocation) {
  auto words = std::make_shared<Words>();
  Verb& command = add_command(
      tool, "serve", "Serve the phone to station software, over sockets and a serial line",
      "  fcx serve --socket /tmp/phone            frames, and `fcx send 4010 --connect "
      "/tmp/phone`\n"
      "  fcx serve --tcp 4711                     frames over TCP, from this machine alone\n"
      "  fcx serve --pty /tmp/ttyPhone            AT lines over a pseudo-terminal\n"
      "  fcx serve --at-tcp 0 --at-socket /tmp/at likewise over sockets; port 0 is a free one\n"
      "  fcx serve --tcp 4711 --bind 192.0.2.7 --token-file token\n"
      "                                           from other machines, which give the token\n"
      "\n"
      "When clients can come, one line of JSON says where. SIGTERM and Ctrl-C end it, after the\n"
      "command in hand. The clock is a phone's unless FCX_CLOCK says fast. An answer leaves when\n"
      "what the command wrote is durable. After a reboot the library runs in a fresh process, and\n"
      "connections stay. docs/station-protocol.md and docs/serial.md describe what clients see.",
      [&invocation, words] { run_server(invocation, *words); });
  command.add_option("--socket", words->socket, "Frames over a socket file, its owner's alone")
      .type_name("PATH")
      .completes(Names::file);
  command.add_option("--tcp", words->tcp, "Frames over TCP; 0 for a free port").type_name("PORT");
  command
      .add_option("--bind", words->bind,
                  "The address of --tcp; 127.0.0.1 when not given. Another machine's needs a token")
      .type_name("ADDRESS");
  command
      .add_option("--token-file", words->token_file,
                  "The file with the token that clients of --socket and --tcp must give; "
                  "$FCX_TOKEN when not given")
      .type_name("FILE")
      .completes(Names::file);
  command.add_option("--pty", words->pty, "AT lines over a pseudo-terminal, which LINK leads to")
      .type_name("LINK")
      .completes(Names::file);
  command.add_option("--at-socket", words->at_socket, "AT lines over a socket file")
      .type_name("PATH")
      .completes(Names::file);
  command.add_option("--at-tcp", words->at_tcp, "AT lines over TCP, from this machine alone")
      .type_name("PORT");
  command
      .add_option("--limit", words->limit,
                  "How long a request may take before the daemon is ended and started anew; 120 "
                  "when not given")
      .type_name("SECONDS");
  command.add_flag("--boot", words->starts_phone, "Start the phone first, as `fcx boot`");
}

}  // namespace cli
