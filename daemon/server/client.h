// What speaks to a server, or to anything else that answers frames: one request after another.
#pragma once

#include <android-base/unique_fd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "daemon/server/frames.h"

namespace factory_daemon {

/// The server cannot be reached, or what it says makes no sense. what() says which.
class ServerError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// It has not answered in time.
class LateError : public ServerError {
  using ServerError::ServerError;
};

/// The server has answered with an error.
class AnswerError : public ServerError {
 public:
  explicit AnswerError(const ErrorAnswer& answer)
      : ServerError(answer.message), error_(answer.error) {}
  FrameError error() const { return error_; }

 private:
  FrameError error_;
};

/// A connection. All throw ServerError, after which only another one helps, and AnswerError, after
/// which the next request may do better.
class Client {
 public:
  /// @param address a socket's path, or HOST:PORT, where the host is a name or an address; an IPv6
  ///                one in brackets
  /// @param limit_ms how long the server may take for each answer, and to be reached at all
  Client(const std::string& address, const std::string& token, int64_t limit_ms);

  /// What the server says of itself: a JSON object.
  const std::string& about() const { return about_; }

  /// How long it may take for each answer from now on.
  void set_limit(int64_t limit_ms) { limit_ms_ = limit_ms; }

  CommandAnswer command(const CommandRequest& request, bool with_details);
  AtResult at_line(const AtRequest& request);
  StartAnswer start(const StartRequest& request);

 private:
  std::string ask(FrameKind kind, uint16_t flags, std::string body);
  void send_all(std::string_view bytes, int64_t until_ms);
  Frame receive(int64_t until_ms);
  void wait_for(short events, int64_t until_ms);

  android::base::unique_fd socket_;
  int64_t limit_ms_;
  uint32_t last_tag_ = 0;
  std::string unread_;
  std::string about_;
};

}  // namespace factory_daemon
