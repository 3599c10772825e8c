#include "daemon/server/connection.h"

#include <algorithm>
#include <utility>

namespace factory_daemon {
namespace {

/// Bytes of answers that may wait for a client before it is asked for no more.
constexpr size_t kMostQueued = 65536;

/// In a time that does not depend on where two tokens differ.
bool is_same_token(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<uint8_t>(a[i]) ^ static_cast<uint8_t>(b[i]);
  }
  return difference == 0;
}

}  // namespace

Stream::Events Connection::events() {
  return {[this](std::string_view bytes) { arrived(bytes); }, [this] { end(); },
          [this] {
            unread_since_ms_ = 0;
            go_on();
          }};
}

void Connection::begin(std::unique_ptr<Stream> stream) {
  stream_ = std::move(stream);
  stream_->read(true);
}

void Connection::arrived(std::string_view bytes) {
  if (is_closing_) return;
  unread_ += bytes;
  go_on();
}

void Connection::go_on() {
  // What is answered at once comes here while it is taken.
  if (is_over_ || is_taking_) return;
  if (is_closing_) return say_goodbye();
  while (!is_waiting_ && !is_closing_ && !is_over_ && stream_->queued() <= kMostQueued) {
    is_taking_ = true;
    const size_t taken = take(unread_);
    is_taking_ = false;
    unread_.erase(0, taken);
    if (taken > 0) silent_since_ms_ = 0;
    if (taken == 0 || unread_.empty()) break;
  }
  if (is_closing_) return say_goodbye();
  if (!is_over_) stream_->read(unread_.size() < most_unread());
}

void Connection::say_goodbye() {
  if (is_waiting_ || is_over_ || stream_->queued() > 0) return;
  if (is_finishing_) return end();
  if (!std::exchange(is_closed_, true)) stream_->close_for_writing();
}

void Connection::submit(Frame request, std::function<void(const Frame& answer)> answer) {
  is_waiting_ = true;
  const auto self = weak_from_this();
  daemon_.submit({std::move(request),
                  [self] {
                    const auto client = self.lock();
                    return client != nullptr && !client->is_over_;
                  },
                  [self, answer = std::move(answer)](const Frame& frame) {
                    const auto client = self.lock();
                    if (client == nullptr || client->is_over_) return;
                    client->is_waiting_ = false;
                    answer(frame);
                    client->go_on();
                  }});
}

void Connection::write(std::string bytes) {
  if (!is_over_) stream_->write(std::move(bytes));
}

void Connection::close_after_writing() {
  is_closing_ = true;
  // What comes is not taken, but it is read: else the end would be an error to the client.
  if (!is_over_) stream_->read(true);
}

void Connection::finish() {
  is_finishing_ = true;
  close_after_writing();
  say_goodbye();
}

void Connection::end() {
  if (std::exchange(is_over_, true)) return;
  stream_->read(false);
  over_();
}

void Connection::check_time(uint64_t now_ms) {
  now_ms_ = now_ms;
  const auto has_lasted = [&](uint64_t& since_ms, bool goes_on, uint64_t limit_ms) {
    if (!goes_on) since_ms = 0;
    if (goes_on && since_ms == 0) since_ms = now_ms;
    return goes_on && now_ms - since_ms >= limit_ms;
  };
  if (has_lasted(unread_since_ms_, stream_->queued() > 0, kUnreadLimitMs) ||
      has_lasted(closed_since_ms_, is_closed_, kGoodbyeLimitMs)) {
    return end();
  }
  const uint64_t limit_ms = silence_limit_ms(!unread_.empty());
  if (has_lasted(silent_since_ms_, limit_ms > 0 && !is_waiting_ && !is_closing_, limit_ms)) {
    was_silent();
  }
}

void FrameConnection::refuse(FrameError error, const std::string& message, uint32_t tag) {
  write(encoded({FrameKind::error, 0, tag, body_of(ErrorAnswer{error, message})}));
  close_after_writing();
}

uint64_t FrameConnection::silence_limit_ms(bool has_unread) const {
  if (!has_said_hello_) return kHelloLimitMs;
  return has_unread ? kFrameLimitMs : 0;
}

void FrameConnection::was_silent() {
  refuse(FrameError::garbage, has_said_hello_ ? "the rest of a frame did not come in time"
                                              : "a hello did not come in time");
}

size_t FrameConnection::take(std::string_view bytes) {
  FrameRead read = read_frame(bytes, kLongestRequest);
  if (read.state == FrameRead::State::too_long) {
    refuse(FrameError::too_long, "a frame's length is 8 to " + std::to_string(kLongestRequest),
           read.frame.tag);
  } else if (read.state == FrameRead::State::frame) {
    has_said_hello_ ? take_frame(std::move(read.frame)) : take_hello(read.frame);
  }
  return read.consumed;
}

void FrameConnection::take_hello(const Frame& frame) {
  const auto hello = read_hello(frame.body);
  if (frame.kind != FrameKind::hello || !hello.has_value()) {
    return refuse(FrameError::garbage, "the first frame is a hello", frame.tag);
  }
  if (hello->lowest > kProtocolVersion || hello->highest < kProtocolVersion) {
    return refuse(FrameError::refused,
                  "this server speaks version " + std::to_string(kProtocolVersion), frame.tag);
  }
  if (!about_.token.empty() && !is_same_token(hello->token, about_.token)) {
    return refuse(FrameError::refused, "this server asks for a token, and not for that one",
                  frame.tag);
  }
  has_said_hello_ = true;
  write(encoded({FrameKind::hello_answer, 0, frame.tag,
                 body_of(HelloAnswer{kProtocolVersion, about_.json})}));
}

void FrameConnection::take_frame(Frame frame) {
  switch (frame.kind) {
    case FrameKind::command:
    case FrameKind::at_line:
    case FrameKind::start:
      return submit(std::move(frame), [this](const Frame& answer) { write(encoded(answer)); });
    case FrameKind::hello:
      return refuse(FrameError::garbage, "a hello comes once", frame.tag);
    default:
      write(encoded({FrameKind::error, 0, frame.tag,
                     body_of(ErrorAnswer{FrameError::unknown, "no such kind of frame"})}));
  }
}

size_t SerialConnection::take(std::string_view bytes) {
  if (heard_) heard_();
  std::string echo;
  const AtLineReader::Taken taken = reader_.take(bytes, echo);
  if (settings_.echo && !echo.empty()) write(std::move(echo));
  if (taken.state == AtLineReader::State::too_long) {
    answer({});
  } else if (taken.state == AtLineReader::State::line) {
    const AtRequest request{settings_.echo, static_cast<uint8_t>(settings_.error_mode),
                            reader_.line()};
    submit({FrameKind::at_line, 0, 0, body_of(request)},
           [this](const Frame& frame) { answer(frame); });
  }
  return taken.consumed;
}

void SerialConnection::answer(const Frame& frame) {
  const auto result =
      frame.kind == FrameKind::at_answer ? read_at_result(frame.body) : std::optional<AtResult>();
  std::string text;
  if (result.has_value()) {
    settings_ = {result->echo, result->error_mode};
    if (!result->lines.empty()) text = "\r\n";
    for (const char each : result->lines) {
      if (each == '\n') text += '\r';
      text += each;
    }
  }
  write(text + (result.has_value() && result->is_ok ? "\r\nOK\r\n" : "\r\nERROR\r\n"));
}

}  // namespace factory_daemon
