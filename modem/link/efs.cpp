#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "common/text.h"
#include "fcx/modem_efs.h"
#include "fcx/qvcmd.h"
#include "modem/link/requests.h"
#include "platform/modem_interface.h"

namespace {

enum class Operation : uint8_t { unlink = 3, open = 4, close = 5, read = 6, write = 7 };

constexpr size_t kPathSize = 128;
constexpr size_t kMostBytes = 2032;  // of a file, in one request

// The requests as they travel. Each is sent whole, whatever is used of it.

struct PathRequest {
  Operation operation;
  std::array<char, kPathSize> path;
  std::array<char, 3> unused;
  int32_t flags;
  int32_t mode;
};
static_assert(offsetof(PathRequest, path) == 1);
static_assert(offsetof(PathRequest, flags) == 132);
static_assert(offsetof(PathRequest, mode) == 136);
static_assert(sizeof(PathRequest) == 140);

struct CloseRequest {
  Operation operation;
  std::array<char, 3> unused;
  int32_t fd;
};
static_assert(offsetof(CloseRequest, fd) == 4);
static_assert(sizeof(CloseRequest) == 8);

struct ReadRequest {
  Operation operation;
  std::array<char, 3> unused;
  int32_t fd;
  int32_t count;
};
static_assert(offsetof(ReadRequest, fd) == 4);
static_assert(offsetof(ReadRequest, count) == 8);
static_assert(sizeof(ReadRequest) == 12);

struct WriteRequest {
  Operation operation;
  std::array<char, 3> unused;
  int32_t fd;
  std::array<char, kMostBytes> data;
  int32_t count;
};
static_assert(offsetof(WriteRequest, fd) == 4);
static_assert(offsetof(WriteRequest, data) == 8);
static_assert(offsetof(WriteRequest, count) == 2040);
static_assert(sizeof(WriteRequest) == 2044);

/// What the modem answers: its result and, after a read, the bytes.
struct Answer {
  int32_t result;
  std::array<char, kMostBytes> data;
};
static_assert(offsetof(Answer, data) == 4);
static_assert(sizeof(Answer) <= QVCMD_DATA_SIZE);

/// @return whether the exchange succeeded; the answer is all zero when it did not
template <typename Request>
bool exchange(const Request& sent, Answer& answer) {
  qvcmd_request request{fcx::request::efs, sizeof(Request), {}};
  memcpy(request.data, &sent, sizeof(Request));
  qvcmd_response response{};
  answer = {};
  if (request_to_modem_via_dmi(&request, &response) != 0) return false;
  memcpy(&answer, response.data, sizeof answer);
  return true;
}

template <typename Request>
int result_of(const Request& sent) {
  Answer answer;
  return exchange(sent, answer) ? answer.result : -1;
}

PathRequest path_request(Operation operation, const char* path) {
  PathRequest request{operation, {}, {}, 0, 0};
  fcx::bounded_text(path, kPathSize).copy(request.path.data(), kPathSize);
  return request;
}

/// What the modem says it moved, of the `asked` bytes that it can have moved; below 1 for nothing.
int moved(const Answer& answer, int asked) { return std::min(answer.result, asked); }

int part_of(int left) { return std::min(left, static_cast<int>(kMostBytes)); }

}  // namespace

int efs_init() { return dmi_init(); }

int efs_release() { return dmi_release(); }

int efs_open(char* path, int flags, int mode) {
  if (path == nullptr) return -1;
  PathRequest request = path_request(Operation::open, path);
  request.flags = flags;
  request.mode = mode;
  return result_of(request);
}

int efs_close(int fd) { return result_of(CloseRequest{Operation::close, {}, fd}); }

int efs_unlink(char* path) {
  return path == nullptr ? -1 : result_of(path_request(Operation::unlink, path));
}

int efs_read(int fd, void* buf, int n) {
  if (n > 0 && buf == nullptr) return -1;
  int received = 0;
  // By what was asked for, not by what came: a short read leaves a gap, on purpose.
  for (int done = 0; done < n;) {
    const int asked = part_of(n - done);
    Answer answer;
    exchange(ReadRequest{Operation::read, {}, fd, asked}, answer);
    const int count = moved(answer, asked);
    if (count < 1) break;
    memcpy(static_cast<char*>(buf) + done, answer.data.data(), static_cast<size_t>(count));
    received += count;
    done += asked;
  }
  return received;
}

int efs_write(int fd, void* buf, int n) {
  if (n > 0 && buf == nullptr) return -1;
  int written = 0;
  while (written < n) {
    const int given = part_of(n - written);
    WriteRequest request{Operation::write, {}, fd, {}, given};
    memcpy(request.data.data(), static_cast<const char*>(buf) + written,
           static_cast<size_t>(given));
    Answer answer;
    exchange(request, answer);
    const int count = moved(answer, given);
    if (count < 1) break;
    written += count;
  }
  return written;
}
