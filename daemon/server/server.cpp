#include "daemon/server/server.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <list>
#include <utility>

#include "daemon/server/connection.h"
#include "daemon/server/daemon_process.h"
#include "daemon/server/listening.h"
#include "daemon/server/terminal.h"
#include "virtual_phone/core/error.h"

namespace factory_daemon {
namespace {

/// Clients at once.
constexpr size_t kMostClients = 2000;
/// How often it is looked who takes too long.
constexpr uint64_t kLookEveryMs = 1000;
/// For clients to read their last answers, when the server ends.
constexpr uint64_t kLastAnswersMs = 1000;

/// Clients and their sockets take files.
void allow_many_files() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  // Where it cannot be raised there are fewer clients.
  static_cast<void>(setrlimit(RLIMIT_NOFILE, &limit));
}

class Server {
 public:
  Server(const ServerOptions& options, const Reports& reports,
         const std::function<void(const ServerAddresses&)>& ready)
      : options_(options),
        about_{options.token, options.about},
        ready_(ready),
        sweep_(loop_, [this] { sweep(); }),
        clock_(loop_, [this] { look_at_the_time(); }),
        daemon_(loop_, options.phone, reports, options.limit_ms,
                {[this] { daemon_is_ready(); },
                 [this](const std::string& why) { cannot_open(why); }, [this] { finished(); }}),
        terminated_(loop_, SIGTERM, [this] { finish(); }),
        interrupted_(loop_, SIGINT, [this] { finish(); }),
        line_left_(loop_, [this] { begin_line(true); }),
        last_answers_(loop_, [this] { loop_.stop(); }) {}

  void run() {
    loop_.run();
    if (!problem_.empty()) throw virtual_phone::Error(problem_);
    if (!not_listening_.empty()) throw LoopError(not_listening_);
  }

 private:
  void cannot_open(const std::string& why) {
    problem_ = why;
    loop_.stop();
  }

  void daemon_is_ready() {
    if (!options_.starts_phone) return listen_or_stop();
    daemon_.submit({{FrameKind::start, 0, 0, body_of(StartRequest{})},
                    [] { return true; },
                    [this](const Frame& answer) {
                      if (answer.kind != FrameKind::error) return listen_or_stop();
                      cannot_open(read_error(answer.body).value_or(ErrorAnswer{}).message);
                    }});
  }

  void listen_or_stop() {
    try {
      listen();
    } catch (const LoopError& error) {
      not_listening_ = error.what();
      loop_.stop();
    }
  }

  void listen() {
    ServerAddresses addresses;
    if (!options_.socket.empty()) listen_at(options_.socket, &Server::take_frames);
    if (options_.port.has_value()) {
      addresses.tcp = listen_at(options_.bind, *options_.port, &Server::take_frames);
    }
    if (!options_.at_socket.empty()) listen_at(options_.at_socket, &Server::take_lines);
    if (options_.at_port.has_value()) {
      addresses.at_tcp = listen_at("127.0.0.1", *options_.at_port, &Server::take_lines);
    }
    if (options_.has_terminal) addresses.terminal = open_terminal();
    clock_.start(kLookEveryMs, kLookEveryMs);
    ready_(addresses);
  }

  using Take = void (Server::*)(uv_stream_t& listener);

  void listen_at(const std::filesystem::path& path, Take of_client) {
    SocketFile& file = files_.emplace_back(path);
    listeners_.emplace_back(loop_, file.release(), [this, of_client](uv_stream_t& listener) {
      (this->*of_client)(listener);
    });
  }

  std::string listen_at(const std::string& host, uint16_t port, Take of_client) {
    const TcpSocket socket = bind_tcp(host, port);
    listeners_.emplace_back(loop_, socket.fd, [this, of_client](uv_stream_t& listener) {
      (this->*of_client)(listener);
    });
    return socket.address;
  }

  std::string open_terminal() {
    terminal_.emplace(loop_, options_.link, [this](const Terminal::Left& left) { was_left(left); });
    open_line();
    return terminal_->name();
  }

  void open_line() {
    line_ = std::make_shared<SerialConnection>(
        daemon_, [] {}, [this] { terminal_->share(); });
    line_->begin(std::make_unique<Stream>(loop_, terminal_->duplicate(), line_->events()));
  }

  void was_left(const Terminal::Left& left) {
    // Half a line is more likely the one's that has left than another's.
    if (line_ != nullptr && !left.is_known) line_->forget_line();
    if (line_ != nullptr) line_->hear(left.bytes);
    if (left.is_over) return begin_line(left.is_open);
    if (line_ != nullptr && left.is_known) line_->forget_line();
  }

  /// The next client finds nothing of the last one: no half line, no answer, no settings.
  void begin_line(bool is_open) {
    line_.reset();
    terminal_->drop_what_is_left(is_open);
    try {
      open_line();
    } catch (const LoopError&) {
      // There are files again when clients have gone.
      line_.reset();
      line_left_.start(kLookEveryMs);
    }
  }

  void take_frames(uv_stream_t& listener) {
    const auto client = std::make_shared<FrameConnection>(daemon_, ends(), about_);
    if (!take(listener, client)) return;
    if (clients_.size() > kMostClients) client->refuse(FrameError::busy, "too many are connected");
  }

  void take_lines(uv_stream_t& listener) {
    const auto client = std::make_shared<SerialConnection>(daemon_, ends());
    if (take(listener, client) && clients_.size() > kMostClients) client->finish();
  }

  std::function<void()> ends() {
    return [this] { sweep_.start(0); };
  }

  bool take(uv_stream_t& listener, const std::shared_ptr<Connection>& client) {
    try {
      client->begin(std::make_unique<Stream>(loop_, listener, client->events()));
    } catch (const LoopError&) {
      return false;  // it has gone again
    }
    clients_.push_back(client);
    return true;
  }

  void sweep() {
    clients_.remove_if([](const auto& client) { return client->is_over(); });
    if (is_finishing_ && clients_.empty()) loop_.stop();
  }

  void look_at_the_time() {
    const uint64_t now_ms = uv_now(loop_.get());
    for (const auto& client : clients_) client->check_time(now_ms);
  }

  /// Whoever still has a request in hand has it answered, unless somebody asks again.
  void finish() {
    if (std::exchange(is_asked_to_finish_, true)) return loop_.stop();
    listeners_.clear();
    files_.clear();
    daemon_.finish();
  }

  void finished() {
    is_finishing_ = true;
    for (const auto& client : clients_) client->finish();
    last_answers_.start(kLastAnswersMs);
    sweep_.start(0);
  }

  const ServerOptions& options_;
  const FrameConnection::About about_;
  const std::function<void(const ServerAddresses&)>& ready_;
  std::string problem_;        ///< with the phone
  std::string not_listening_;  ///< why it cannot listen
  Loop loop_;
  Timer sweep_;
  Timer clock_;
  DaemonProcess daemon_;
  Signal terminated_;
  Signal interrupted_;
  Timer line_left_;
  Timer last_answers_;
  std::list<SocketFile> files_;
  std::list<Acceptor> listeners_;
  std::optional<Terminal> terminal_;
  std::shared_ptr<SerialConnection> line_;
  std::list<std::shared_ptr<Connection>> clients_;
  bool is_asked_to_finish_ = false;
  bool is_finishing_ = false;
};

}  // namespace

void serve(const ServerOptions& options, const Reports& reports,
           const std::function<void(const ServerAddresses&)>& ready) {
  if (!is_loopback(options.bind) && options.token.empty()) {
    throw LoopError("beyond this machine a server asks for a token: none is given");
  }
  allow_many_files();
  // A client that is gone is no reason to end. It cannot fail for this signal.
  static_cast<void>(signal(SIGPIPE, SIG_IGN));
  Server(options, reports, ready).run();
}

}  // namespace factory_daemon
