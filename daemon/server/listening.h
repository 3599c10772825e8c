// Sockets that take connections.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace factory_daemon {

/// A socket's file that is its owner's alone, and gone with this object. What a killed server has
/// left in its place is replaced; one that somebody listens at is not.
class SocketFile {
 public:
  /// Throws LoopError.
  explicit SocketFile(std::filesystem::path path);
  ~SocketFile();
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  /// The socket, for an Acceptor, which takes it. Once.
  int release();

 private:
  std::filesystem::path path_;
  int fd_ = -1;
  uint64_t inode_ = 0;
};

struct TcpSocket {
  int fd;               ///< for an Acceptor, which takes it
  std::string address;  ///< "127.0.0.1:4711", "[::1]:4711"
};

/// Throws LoopError.
/// @param host an IP address
TcpSocket bind_tcp(const std::string& host, uint16_t port);

/// Whether an IP address leads to this machine alone. Throws LoopError for what is none.
bool is_loopback(const std::string& host);

}  // namespace factory_daemon
