#include "daemon/server/client.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <utility>

namespace factory_daemon {
namespace {

using android::base::unique_fd;

int64_t now_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void fail(const std::string& what) { throw ServerError(what); }

[[noreturn]] void fail(const std::string& address, int error) {
  const bool is_late = error == EINPROGRESS || error == EAGAIN;
  fail("no server at " + address + ": " + (is_late ? "it does not answer" : strerror(error)));
}

/// Lets connect() wait no longer for a machine that says nothing.
void limit_connecting(int fd, int64_t limit_ms) {
  timeval limit{};
  limit.tv_sec = limit_ms / 1000;
  limit.tv_usec = limit_ms % 1000 * 1000;
  // Without it the system's own limit holds.
  static_cast<void>(setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit));
}

unique_fd connected_to_file(const std::string& path, int64_t limit_ms) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) fail(path, ENAMETOOLONG);
  path.copy(address.sun_path, path.size());
  unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.ok()) fail(path, errno);
  limit_connecting(fd.get(), limit_ms);
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(path, errno);
  }
  return fd;
}

struct HostAndPort {
  std::string host;
  std::string port;
};

/// HOST:PORT, or nothing of one in a path.
HostAndPort split(const std::string& address) {
  const size_t colon = address.rfind(':');
  if (address.find('/') != std::string::npos || colon == std::string::npos) return {};
  std::string host = address.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  return {host, address.substr(colon + 1)};
}

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

unique_fd connected_to_host(const std::string& address, const HostAndPort& place,
                            int64_t limit_ms) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(place.host.c_str(), place.port.c_str(), &hints, &found);
  if (error != 0) fail("no server at " + address + ": " + gai_strerror(error));
  const std::unique_ptr<addrinfo, FreeAddresses> list(found);
  int failed = ENOENT;
  for (const addrinfo* each = list.get(); each != nullptr; each = each->ai_next) {
    unique_fd fd(socket(each->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.ok()) limit_connecting(fd.get(), limit_ms);
    if (fd.ok() && connect(fd.get(), each->ai_addr, each->ai_addrlen) == 0) {
      const int yes = 1;
      // Of use where it can be set.
      static_cast<void>(setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes));
      return fd;
    }
    failed = errno;
  }
  fail(address, failed);
}

unique_fd connected_to(const std::string& address, int64_t limit_ms) {
  const HostAndPort place = split(address);
  return place.port.empty() ? connected_to_file(address, limit_ms)
                            : connected_to_host(address, place, limit_ms);
}

template <typename Body>
Body or_fail(std::optional<Body> body) {
  if (!body.has_value()) fail("the server's answer makes no sense");
  return std::move(*body);
}

}  // namespace

Client::Client(const std::string& address, const std::string& token, int64_t limit_ms)
    : socket_(connected_to(address, limit_ms)), limit_ms_(limit_ms) {
  const std::string body = ask(FrameKind::hello, 0, body_of(Hello{1, kProtocolVersion, token}));
  about_ = or_fail(read_hello_answer(body)).about;
}

CommandAnswer Client::command(const CommandRequest& request, bool with_details) {
  const uint16_t flags = with_details ? kWithDetails : 0;
  return or_fail(read_command_answer(ask(FrameKind::command, flags, body_of(request))));
}

AtResult Client::at_line(const AtRequest& request) {
  return or_fail(read_at_result(ask(FrameKind::at_line, 0, body_of(request))));
}

StartAnswer Client::start(const StartRequest& request) {
  return or_fail(read_start_answer(ask(FrameKind::start, 0, body_of(request))));
}

std::string Client::ask(FrameKind kind, uint16_t flags, std::string body) {
  if (!socket_.ok()) fail("the connection to the server was given up");
  const int64_t until_ms = now_ms() + limit_ms_;
  try {
    send_all(encoded({kind, flags, ++last_tag_, std::move(body)}), until_ms);
    Frame answer = receive(until_ms);
    // One that refuses the connection may know no tag.
    if (answer.kind == FrameKind::error && (answer.tag == last_tag_ || answer.tag == 0)) {
      throw AnswerError(or_fail(read_error(answer.body)));
    }
    const auto expected = static_cast<FrameKind>(static_cast<uint16_t>(kind) | 0x8000);
    if (answer.kind != expected || answer.tag != last_tag_) {
      fail("the server has answered something else than was asked");
    }
    return std::move(answer.body);
  } catch (const AnswerError&) {
    throw;
  } catch (const ServerError&) {
    // What still comes would be taken for the next answer.
    socket_.reset();
    throw;
  }
}

void Client::wait_for(short events, int64_t until_ms) {
  pollfd watched{socket_.get(), events, 0};
  const int64_t left_ms = std::clamp<int64_t>(until_ms - now_ms(), 0, INT32_MAX);
  const int ready = TEMP_FAILURE_RETRY(poll(&watched, 1, static_cast<int>(left_ms)));
  if (ready < 0) fail(std::string("the server: ") + strerror(errno));
  if (ready == 0) {
    throw LateError("the server has not answered within " + std::to_string(limit_ms_ / 1000) +
                    " s");
  }
}

void Client::send_all(std::string_view bytes, int64_t until_ms) {
  while (!bytes.empty()) {
    wait_for(POLLOUT, until_ms);
    const ssize_t sent = TEMP_FAILURE_RETRY(
        send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    if (sent < 0 && errno == EAGAIN) continue;
    // It may have said why.
    if (sent < 0) return;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
}

Frame Client::receive(int64_t until_ms) {
  for (;;) {
    FrameRead read = read_frame(unread_, kLongestAnswer);
    if (read.state == FrameRead::State::too_long) fail("what the server says is no frame");
    unread_.erase(0, read.consumed);
    if (read.state == FrameRead::State::frame) return std::move(read.frame);
    wait_for(POLLIN, until_ms);
    std::array<char, 65536> bytes{};
    const ssize_t count = TEMP_FAILURE_RETRY(recv(socket_.get(), bytes.data(), bytes.size(), 0));
    if (count < 0) fail(std::string("the server: ") + strerror(errno));
    if (count == 0) fail("the server has closed the connection");
    unread_.append(bytes.data(), static_cast<size_t>(count));
  }
}

}  // namespace factory_daemon
