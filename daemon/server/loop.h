// libuv with owners. A handle is closed by whoever owns it, and nothing is called for it after
// that. All of it belongs to the one thread that runs the loop.
#pragma once

#include <uv.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace factory_daemon {

/// What could not be done with a socket, a terminal or a file. what() says what, and why.
class LoopError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct CloseHandle {
  void operator()(uv_any_handle* handle) const;
};
/// Of any kind. Its memory is given back when libuv is done with it.
using Handle = std::unique_ptr<uv_any_handle, CloseHandle>;

class Loop {
 public:
  Loop();
  /// Whatever handles there were are closed.
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  uv_loop_t* get() { return &loop_; }
  /// Until stop() is called.
  void run();
  void stop();

 private:
  uv_loop_t loop_{};
};

/// Calls something after a time, or again and again.
class Timer {
 public:
  Timer(Loop& loop, std::function<void()> run);
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  void start(uint64_t after_ms, uint64_t every_ms = 0);
  void stop();

 private:
  std::function<void()> run_;
  Handle handle_;
};

/// Calls something when a signal has come to the process.
class Signal {
 public:
  Signal(Loop& loop, int number, std::function<void()> run);
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

 private:
  std::function<void()> run_;
  Handle handle_;
};

/// Calls something when there is something to read of a file.
class Watch {
 public:
  /// @param fd outlives this
  Watch(Loop& loop, int fd, std::function<void()> run);
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  std::function<void()> run_;
  Handle handle_;
};

/// Bytes in both directions. It is not destroyed while it calls one of its events.
class Stream {
 public:
  struct Events {
    std::function<void(std::string_view bytes)> arrived;
    std::function<void()> ended;    ///< the other side is gone, or an error has come: at most once
    std::function<void()> written;  ///< what was queued has left
  };

  /// Takes a socket, or the open end of a terminal. Throws LoopError, and closes it then.
  Stream(Loop& loop, int fd, Events events);
  /// Takes the next connection of a listener. Throws LoopError.
  Stream(Loop& loop, uv_stream_t& listener, Events events);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  void write(std::string bytes);
  /// Bytes that have not left yet.
  size_t queued() const;
  /// The other side finds the end of what it reads, after all that was written.
  void close_for_writing();
  /// Reading, or leaving what comes where it is.
  void read(bool wanted);

 private:
  uv_stream_t* get() const;

  void fail();

  std::shared_ptr<Stream*> self_;  ///< by which writes that are under way know it; null when it is
                                   ///< gone
  Events events_;
  Handle handle_;
  bool is_reading_ = false;
};

/// Takes connections.
class Acceptor {
 public:
  using Connected = std::function<void(uv_stream_t& listener)>;

  /// @param fd a listening socket's, which this takes. Throws LoopError, and closes it then.
  Acceptor(Loop& loop, int fd, Connected connected);
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;

 private:
  Connected connected_;
  Handle handle_;
};

/// The fault of a call of libuv, or of the system's with errno: "WHAT: why".
LoopError loop_error(const std::string& what, int code);

}  // namespace factory_daemon
