#include "daemon/server/listening.h"

#include <android-base/unique_fd.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "daemon/server/loop.h"

namespace factory_daemon {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

const sockaddr* general(const void* address) { return static_cast<const sockaddr*>(address); }

sockaddr_un address_of(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = path.string();
  if (name.size() >= sizeof address.sun_path) {
    throw LoopError(name + ": a socket's path has at most " +
                    std::to_string(sizeof address.sun_path - 1) + " characters");
  }
  name.copy(address.sun_path, name.size());
  return address;
}

unique_fd new_socket(int family) {
  unique_fd fd(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.ok()) throw loop_error("a socket", -errno);
  return fd;
}

/// Whether what is there may be replaced. Throws LoopError when it may not.
void check_is_free(const fs::path& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return;
  if (!S_ISSOCK(found.st_mode)) {
    throw LoopError(path.string() + " is there, and no socket: left alone");
  }
  const sockaddr_un address = address_of(path);
  const unique_fd fd = new_socket(AF_UNIX);
  if (connect(fd.get(), general(&address), sizeof address) != 0) return;
  // One that has just been killed does not listen for long.
  constexpr int kWaitMs = 1000;
  pollfd connected{fd.get(), POLLIN, 0};
  if (TEMP_FAILURE_RETRY(poll(&connected, 1, kWaitMs)) == 0) {
    throw LoopError(path.string() + ": another server listens there");
  }
}

struct IpAddress {
  sockaddr_storage bytes{};
  socklen_t size = 0;
  bool is_loopback = false;
};

IpAddress ip_address(const std::string& host, uint16_t port) {
  IpAddress address;
  auto& v4 = reinterpret_cast<sockaddr_in&>(address.bytes);
  auto& v6 = reinterpret_cast<sockaddr_in6&>(address.bytes);
  constexpr uint32_t kLoopbackNetwork = 127;
  if (inet_pton(AF_INET, host.c_str(), &v4.sin_addr) == 1) {
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    address.size = sizeof v4;
    address.is_loopback = ntohl(v4.sin_addr.s_addr) >> 24 == kLoopbackNetwork;
  } else if (inet_pton(AF_INET6, host.c_str(), &v6.sin6_addr) == 1) {
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    address.size = sizeof v6;
    address.is_loopback = IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr);
  } else {
    throw LoopError("\"" + host + "\" is no IP address");
  }
  return address;
}

uint16_t port_of(int fd) {
  sockaddr_storage bytes{};
  socklen_t size = sizeof bytes;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&bytes), &size) != 0) return 0;
  return ntohs(bytes.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(bytes).sin_port
                                          : reinterpret_cast<sockaddr_in6&>(bytes).sin6_port);
}

}  // namespace

SocketFile::SocketFile(fs::path path) : path_(std::move(path)) {
  check_is_free(path_);
  // It appears with its mode, and in place of what a killed server has left.
  const fs::path made = path_.string() + "." + std::to_string(getpid());
  const sockaddr_un address = address_of(made);
  unique_fd fd = new_socket(AF_UNIX);
  const mode_t before = umask(0177);
  const int bound = bind(fd.get(), general(&address), sizeof address);
  const int failed = errno;
  umask(before);
  if (bound != 0) throw loop_error(path_.string(), -failed);
  struct stat found {};
  if (stat(made.c_str(), &found) != 0 || rename(made.c_str(), path_.c_str()) != 0) {
    const int why = errno;
    static_cast<void>(unlink(made.c_str()));  // what failed is told
    throw loop_error(path_.string(), -why);
  }
  inode_ = found.st_ino;
  fd_ = fd.release();
}

SocketFile::~SocketFile() {
  const unique_fd unused(fd_);
  struct stat found {};
  // Another server may have taken its place.
  if (stat(path_.c_str(), &found) == 0 && found.st_ino == inode_) {
    static_cast<void>(unlink(path_.c_str()));  // the next server replaces it
  }
}

int SocketFile::release() { return std::exchange(fd_, -1); }

TcpSocket bind_tcp(const std::string& host, uint16_t port) {
  const IpAddress address = ip_address(host, port);
  unique_fd fd = new_socket(address.bytes.ss_family);
  const int yes = 1;
  const std::string shown = host + ":" + std::to_string(port);
  if (setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
      bind(fd.get(), general(&address.bytes), address.size) != 0) {
    throw loop_error(shown, -errno);
  }
  const bool has_colons = address.bytes.ss_family == AF_INET6;
  const std::string bound = std::to_string(port_of(fd.get()));
  return {fd.release(), (has_colons ? "[" + host + "]" : host) + ":" + bound};
}

bool is_loopback(const std::string& host) { return ip_address(host, 0).is_loopback; }

}  // namespace factory_daemon
