// Frames, as they come over a station's socket: whole, and in pieces of several sizes; and their
// bodies.
#include "daemon/server/frames.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

namespace fd = factory_daemon;

/// Frames, and "too long" where the first of those stands.
std::vector<std::string> read_in_pieces(std::string_view bytes, size_t size) {
  std::vector<std::string> frames;
  std::string unread;
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, size);
    bytes.remove_prefix(piece.size());
    unread += piece;
    for (;;) {
      // Of just its size, so that a byte too many is noticed.
      const std::vector<char> given(unread.begin(), unread.end());
      const fd::FrameRead read = fd::read_frame({given.data(), given.size()}, fd::kLongestRequest);
      fuzz::require(read.consumed <= given.size(), "no more is consumed than was given");
      if (read.state == fd::FrameRead::State::too_long) {
        frames.push_back("too long");
        return frames;
      }
      if (read.state == fd::FrameRead::State::incomplete) break;
      fuzz::require(fd::encoded(read.frame) == unread.substr(0, read.consumed),
                    "a frame is what was read");
      frames.push_back(unread.substr(0, read.consumed));
      unread.erase(0, read.consumed);
    }
    fuzz::require(unread.size() < fd::kLongestRequest + 4, "what is kept is less than a frame");
  }
  return frames;
}

/// A body that makes sense is written as it was read.
template <typename Body>
void check_body(std::string_view body, const std::optional<Body>& read) {
  if (!read.has_value()) return;
  fuzz::require(fd::body_of(*read) == body, "a body is what was read");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> whole = read_in_pieces(bytes, std::max<size_t>(size, 1));
  for (const size_t piece : {1, 3, 12, 4100}) {
    fuzz::require(read_in_pieces(bytes, piece) == whole, "pieces read as the whole");
  }
  check_body(bytes, fd::read_hello(bytes));
  check_body(bytes, fd::read_command_request(bytes));
  check_body(bytes, fd::read_at_request(bytes));
  check_body(bytes, fd::read_command_answer(bytes));
  // Of these some bytes are kept free, or count for one of two values.
  static_cast<void>(fd::read_hello_answer(bytes));
  static_cast<void>(fd::read_at_result(bytes));
  static_cast<void>(fd::read_start_request(bytes));
  static_cast<void>(fd::read_start_answer(bytes));
  static_cast<void>(fd::read_error(bytes));
  return 0;
}
