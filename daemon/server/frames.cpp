#include "daemon/server/frames.h"

#include <algorithm>
#include <cstring>

namespace factory_daemon {
namespace {

/// Appends numbers with their lowest byte first.
class Writer {
 public:
  Writer& u8(uint8_t value) { return number(value, 1); }
  Writer& u16(uint16_t value) { return number(value, 2); }
  Writer& u32(uint32_t value) { return number(value, 4); }
  Writer& bytes(std::string_view value) {
    all_ += value;
    return *this;
  }
  std::string take() { return std::move(all_); }

 private:
  Writer& number(uint32_t value, int count) {
    for (int i = 0; i < count; ++i) all_ += static_cast<char>(value >> (8 * i) & 0xff);
    return *this;
  }

  std::string all_;
};

/// Reads them again. What is not there is 0, and makes is_whole() false.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  uint8_t u8() { return static_cast<uint8_t>(number(1)); }
  uint16_t u16() { return static_cast<uint16_t>(number(2)); }
  uint32_t u32() { return number(4); }
  std::string bytes(size_t count) {
    is_whole_ &= count <= rest_.size();
    const std::string_view read = rest_.substr(0, count);
    rest_.remove_prefix(read.size());
    return std::string(read);
  }
  std::string rest() { return bytes(rest_.size()); }

  /// All that was read was there.
  bool is_whole() const { return is_whole_; }
  /// And nothing is left.
  bool is_at_end() const { return is_whole_ && rest_.empty(); }

 private:
  uint32_t number(size_t count) {
    const std::string read = bytes(count);
    uint32_t value = 0;
    for (size_t i = 0; i < read.size(); ++i) {
      value |= uint32_t{static_cast<uint8_t>(read[i])} << (8 * i);
    }
    return value;
  }

  std::string_view rest_;
  bool is_whole_ = true;
};

/// What was read, if `condition` holds.
template <typename Body>
std::optional<Body> if_true(bool condition, Body body) {
  if (!condition) return {};
  return body;
}

constexpr size_t kLengthField = 4;

}  // namespace

std::string encoded(const Frame& frame) {
  const size_t length = kFrameHeader - kLengthField + frame.body.size();
  return Writer()
      .u32(static_cast<uint32_t>(length))
      .u16(static_cast<uint16_t>(frame.kind))
      .u16(frame.flags)
      .u32(frame.tag)
      .bytes(frame.body)
      .take();
}

FrameRead read_frame(std::string_view bytes, uint32_t longest) {
  FrameRead read;
  if (bytes.size() < kLengthField) return read;
  Reader reader(bytes);
  const uint32_t length = reader.u32();
  if (length > longest || length < kFrameHeader - kLengthField) {
    read.state = FrameRead::State::too_long;
    read.consumed = bytes.size();
  } else if (bytes.size() - kLengthField < length) {
    return read;
  } else {
    read.state = FrameRead::State::frame;
    read.consumed = kLengthField + length;
  }
  read.frame.kind = static_cast<FrameKind>(reader.u16());
  read.frame.flags = reader.u16();
  read.frame.tag = reader.u32();
  if (!reader.is_whole()) read.frame.tag = 0;
  if (read.state == FrameRead::State::frame) {
    read.frame.body = reader.bytes(length - (kFrameHeader - kLengthField));
  }
  return read;
}

std::string body_of(const Hello& hello) {
  return Writer().u16(hello.lowest).u16(hello.highest).bytes(hello.token).take();
}

std::optional<Hello> read_hello(std::string_view body) {
  Reader reader(body);
  Hello hello{reader.u16(), reader.u16(), reader.rest()};
  return if_true(reader.is_whole(), std::move(hello));
}

std::string body_of(const HelloAnswer& answer) {
  return Writer().u16(answer.version).u16(0).bytes(answer.about).take();
}

std::optional<HelloAnswer> read_hello_answer(std::string_view body) {
  Reader reader(body);
  HelloAnswer answer;
  answer.version = reader.u16();
  static_cast<void>(reader.u16());  // kept free
  answer.about = reader.rest();
  return if_true(reader.is_whole(), std::move(answer));
}

std::string body_of(const CommandRequest& request) {
  return Writer()
      .u32(static_cast<uint32_t>(request.opcode))
      .u32(static_cast<uint32_t>(request.data.size()))
      .bytes(request.data)
      .take();
}

std::optional<CommandRequest> read_command_request(std::string_view body) {
  Reader reader(body);
  CommandRequest request;
  request.opcode = static_cast<int32_t>(reader.u32());
  const uint32_t length = reader.u32();
  if (length > QVCMD_DATA_SIZE) return {};
  request.data = reader.bytes(length);
  return if_true(reader.is_at_end(), std::move(request));
}

std::string body_of(const CommandAnswer& answer) {
  const qvcmd_response& response = answer.response;
  return Writer()
      .u32(static_cast<uint32_t>(response.result))
      .u32(static_cast<uint32_t>(response.data_len))
      .u32(static_cast<uint32_t>(response.reserved))
      .bytes({response.data, sizeof response.data})
      .bytes(answer.details)
      .take();
}

std::optional<CommandAnswer> read_command_answer(std::string_view body) {
  Reader reader(body);
  CommandAnswer answer;
  answer.response.result = static_cast<int32_t>(reader.u32());
  answer.response.data_len = static_cast<int32_t>(reader.u32());
  answer.response.reserved = static_cast<int32_t>(reader.u32());
  reader.bytes(sizeof answer.response.data).copy(answer.response.data, sizeof answer.response.data);
  answer.details = reader.rest();
  return if_true(reader.is_whole(), std::move(answer));
}

std::string body_of(const AtRequest& request) {
  return Writer().u8(request.echo ? 1 : 0).u8(request.error_mode).bytes(request.line).take();
}

std::optional<AtRequest> read_at_request(std::string_view body) {
  Reader reader(body);
  const uint8_t echo = reader.u8();
  AtRequest request{echo == 1, reader.u8(), reader.rest()};
  const bool makes_sense = echo <= 1 && request.error_mode <= 2;
  return if_true(reader.is_whole() && makes_sense, std::move(request));
}

std::string body_of(const AtResult& result) {
  return Writer()
      .u8(result.is_ok ? 1 : 0)
      .u8(result.echo ? 1 : 0)
      .u8(result.error_mode)
      .u8(0)
      .u16(static_cast<uint16_t>(std::min<size_t>(result.reason.size(), UINT16_MAX)))
      .bytes(std::string_view(result.reason).substr(0, UINT16_MAX))
      .bytes(result.lines)
      .take();
}

std::optional<AtResult> read_at_result(std::string_view body) {
  Reader reader(body);
  AtResult result;
  result.is_ok = reader.u8() == 1;
  result.echo = reader.u8() == 1;
  result.error_mode = reader.u8();
  static_cast<void>(reader.u8());  // kept free
  const uint16_t reason = reader.u16();
  result.reason = reader.bytes(reason);
  result.lines = reader.rest();
  return if_true(reader.is_whole(), std::move(result));
}

std::string body_of(const StartRequest& request) {
  return Writer()
      .u8(request.is_daemon_only ? 1 : 0)
      .u8(request.as_json ? 0 : 1)
      .u8(request.full ? 1 : 0)
      .u8(0)
      .take();
}

std::optional<StartRequest> read_start_request(std::string_view body) {
  Reader reader(body);
  const uint8_t what = reader.u8();
  const uint8_t form = reader.u8();
  const uint8_t full = reader.u8();
  static_cast<void>(reader.u8());  // kept free
  const bool makes_sense = what <= 1 && form <= 1 && full <= 1;
  return if_true(reader.is_at_end() && makes_sense, StartRequest{what == 1, form == 0, full == 1});
}

std::string body_of(const StartAnswer& answer) {
  return Writer().u32(answer.is_started ? 0 : 1).bytes(answer.report).take();
}

std::optional<StartAnswer> read_start_answer(std::string_view body) {
  Reader reader(body);
  const bool is_started = reader.u32() == 0;
  StartAnswer answer{is_started, reader.rest()};
  return if_true(reader.is_whole(), std::move(answer));
}

std::string body_of(const ErrorAnswer& answer) {
  return Writer().u16(static_cast<uint16_t>(answer.error)).u16(0).bytes(answer.message).take();
}

std::optional<ErrorAnswer> read_error(std::string_view body) {
  Reader reader(body);
  ErrorAnswer answer;
  answer.error = static_cast<FrameError>(reader.u16());
  static_cast<void>(reader.u16());  // kept free
  answer.message = reader.rest();
  return if_true(reader.is_whole(), std::move(answer));
}

}  // namespace factory_daemon
