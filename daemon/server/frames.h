// The frames in which a station and the server speak: docs/station-protocol.md has them byte by
// byte. Bytes in, frames out; nothing here reads or writes a socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fcx/qvcmd.h"

namespace factory_daemon {

constexpr uint16_t kProtocolVersion = 1;

/// Bytes of a frame, before its body.
constexpr size_t kFrameHeader = 12;

/// Bytes that a request's length may say: room for a command with all that a request holds.
constexpr uint32_t kLongestRequest = 4096;
/// The same of an answer: room for the report of a start.
constexpr uint32_t kLongestAnswer = 4 << 20;

enum class FrameKind : uint16_t {
  hello = 1,
  command = 2,
  at_line = 3,
  start = 4,
  // An answer has the number of what it answers, and this bit.
  hello_answer = 0x8001,
  command_answer = 0x8002,
  at_answer = 0x8003,
  start_answer = 0x8004,
  error = 0xffff,
};

/// Why there is no other answer. The server closes the connection after the first four.
enum class FrameError : uint16_t {
  garbage = 1,       ///< what came is no frame, or does not belong there
  too_long = 2,      ///< its length is more than a frame's can be
  refused = 3,       ///< no common version, or not the token that is asked for
  busy = 4,          ///< too many are connected
  restarting = 5,    ///< the phone starts: nothing was done, and the same may be sent again
  interrupted = 6,   ///< the phone or its daemon has ended before the answer: nobody knows how far
                     ///< it got
  switched_off = 7,  ///< nothing was done; a start switches the phone on
  out_of_time = 8,   ///< it took longer than the server waits; the daemon was started anew
  ending = 9,        ///< the server ends: nothing was done
  unusable = 10,     ///< the phone cannot be used
  unknown = 11,      ///< no such kind of frame, or a body that makes no sense: nothing was done
};

struct Frame {
  FrameKind kind = FrameKind::error;
  uint16_t flags = 0;
  uint32_t tag = 0;  ///< of an answer that of what it answers
  std::string body;
};

/// The bytes of a frame.
std::string encoded(const Frame& frame);

/// The first frame of bytes that arrive piece by piece.
struct FrameRead {
  enum class State {
    frame,
    incomplete,  ///< more bytes must come
    too_long,    ///< its length is more than `longest`, or less than a frame has
  };
  State state = State::incomplete;
  size_t consumed = 0;  ///< bytes that are not needed any more
  Frame frame;          ///< when it is one; of one that is too long the tag, where it has come
};
/// @param longest what a length may say
FrameRead read_frame(std::string_view bytes, uint32_t longest);

// Bodies. Each `read_` gives nothing for a body that makes no sense.

struct Hello {
  uint16_t lowest = kProtocolVersion;
  uint16_t highest = kProtocolVersion;
  std::string token;
};
std::string body_of(const Hello& hello);
std::optional<Hello> read_hello(std::string_view body);

struct HelloAnswer {
  uint16_t version = kProtocolVersion;
  std::string about;  ///< a JSON object
};
std::string body_of(const HelloAnswer& answer);
std::optional<HelloAnswer> read_hello_answer(std::string_view body);

/// The answer is to have details, too.
constexpr uint16_t kWithDetails = 1;

struct CommandRequest {
  int32_t opcode = 0;
  std::string data;  ///< at most QVCMD_DATA_SIZE bytes
};
std::string body_of(const CommandRequest& request);
std::optional<CommandRequest> read_command_request(std::string_view body);

struct CommandAnswer {
  qvcmd_response response{};
  std::string details;  ///< text, when it was asked for
};
std::string body_of(const CommandAnswer& answer);
std::optional<CommandAnswer> read_command_answer(std::string_view body);

struct AtRequest {
  bool echo = true;
  uint8_t error_mode = 0;
  std::string line;  ///< without its end
};
std::string body_of(const AtRequest& request);
std::optional<AtRequest> read_at_request(std::string_view body);

struct AtResult {
  bool is_ok = false;
  bool echo = true;
  uint8_t error_mode = 0;
  std::string reason;  ///< of an error, for people
  std::string lines;   ///< of information, each with "\n"
};
std::string body_of(const AtResult& result);
std::optional<AtResult> read_at_result(std::string_view body);

struct StartRequest {
  bool is_daemon_only = false;
  bool as_json = true;
  bool full = false;  ///< ICCIDs whole
};
std::string body_of(const StartRequest& request);
std::optional<StartRequest> read_start_request(std::string_view body);

struct StartAnswer {
  bool is_started = false;  ///< set-up could be started
  std::string report;       ///< text, or a JSON object
};
std::string body_of(const StartAnswer& answer);
std::optional<StartAnswer> read_start_answer(std::string_view body);

struct ErrorAnswer {
  FrameError error = FrameError::garbage;
  std::string message;
};
std::string body_of(const ErrorAnswer& answer);
std::optional<ErrorAnswer> read_error(std::string_view body);

}  // namespace factory_daemon
