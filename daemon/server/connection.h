// One client of the server: what it has sent, what it waits for, and how long that may take.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "daemon/at_commands.h"
#include "daemon/at_line.h"
#include "daemon/server/daemon_process.h"
#include "daemon/server/frames.h"
#include "daemon/server/loop.h"

namespace factory_daemon {

/// Times that a client may take, in milliseconds.
constexpr uint64_t kHelloLimitMs = 10'000;   ///< to say hello
constexpr uint64_t kFrameLimitMs = 10'000;   ///< for a whole frame, once it has begun
constexpr uint64_t kUnreadLimitMs = 30'000;  ///< to read the next of its answers
constexpr uint64_t kGoodbyeLimitMs = 2'000;  ///< to end a connection that the server has ended

/// It is given one request of the client at a time, so that clients have their turns one after
/// another and nothing piles up: what a client sends meanwhile stays where it is.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  /// @param over called when it is over
  Connection(DaemonProcess& daemon, std::function<void()> over)
      : daemon_(daemon), over_(std::move(over)) {}
  virtual ~Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// What its stream is made with.
  Stream::Events events();
  /// Begins to read. Once.
  void begin(std::unique_ptr<Stream> stream);

  /// Whether nothing more comes of it, so that it can be destroyed; not from one of its events.
  bool is_over() const { return is_over_; }
  /// Ends it when it has taken too long. To be called now and then.
  void check_time(uint64_t now_ms);
  /// Nothing more is taken from it; when it has its answer, it is over.
  void finish();

 protected:
  /// Takes what can be taken of the bytes that have arrived, up to a request. @return how many
  virtual size_t take(std::string_view bytes) = 0;
  /// How much may wait to be taken.
  virtual size_t most_unread() const = 0;
  /// How long the client may be silent in this state, or 0.
  virtual uint64_t silence_limit_ms(bool has_unread) const = 0;
  virtual void was_silent() {}

  /// Has a request carried out. Until it is answered nothing more is taken.
  void submit(Frame request, std::function<void(const Frame& answer)> answer);
  void write(std::string bytes);
  /// The client is told that no more comes, and is heard no more. The connection is over when the
  /// client ends it, too: ended from here alone it might lose what was written last.
  void close_after_writing();
  void arrived(std::string_view bytes);

 private:
  void go_on();
  void say_goodbye();
  void end();

  DaemonProcess& daemon_;
  std::function<void()> over_;
  std::unique_ptr<Stream> stream_;
  std::string unread_;
  bool is_waiting_ = false;  ///< for an answer
  bool is_taking_ = false;
  bool is_closing_ = false;    ///< when all is written
  bool is_closed_ = false;     ///< from this side
  bool is_finishing_ = false;  ///< nobody waits for the client to end it
  bool is_over_ = false;
  uint64_t now_ms_ = 0;           ///< as of the last look
  uint64_t silent_since_ms_ = 0;  ///< 0 when it is not, or may be
  uint64_t closed_since_ms_ = 0;
  uint64_t unread_since_ms_ = 0;  ///< since when it has read no answer; 0 when none waits
};

/// A client that speaks in frames.
class FrameConnection : public Connection {
 public:
  struct About {
    std::string token;  ///< that clients must give; empty when they need none
    std::string json;   ///< of the server, for the hello
  };
  FrameConnection(DaemonProcess& daemon, std::function<void()> over, const About& about)
      : Connection(daemon, std::move(over)), about_(about) {}

  /// Tells the client why it has to go.
  void refuse(FrameError error, const std::string& message, uint32_t tag = 0);

 protected:
  size_t take(std::string_view bytes) override;
  size_t most_unread() const override { return 2 * kLongestRequest; }
  uint64_t silence_limit_ms(bool has_unread) const override;
  void was_silent() override;

 private:
  void take_frame(Frame frame);
  void take_hello(const Frame& frame);

  const About& about_;
  bool has_said_hello_ = false;
};

/// A client on a serial line.
class SerialConnection : public Connection {
 public:
  /// @param heard called when something has come from the client
  SerialConnection(DaemonProcess& daemon, std::function<void()> over,
                   std::function<void()> heard = {})
      : Connection(daemon, std::move(over)), heard_(std::move(heard)) {}

  /// What there is of a line that has not ended.
  void forget_line() { reader_.reset(); }
  /// What was read beside its stream.
  void hear(std::string_view bytes) { arrived(bytes); }

 protected:
  size_t take(std::string_view bytes) override;
  size_t most_unread() const override { return 2 * kLongestAtLine; }
  uint64_t silence_limit_ms(bool) const override { return 0; }

 private:
  void answer(const Frame& frame);

  std::function<void()> heard_;
  AtLineReader reader_;
  AtSettings settings_;
};

}  // namespace factory_daemon
