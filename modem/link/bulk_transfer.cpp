// Data that is longer than one piece.
#include <algorithm>
#include <cstring>

#include "common/log.h"
#include "fcx/modem_link.h"
#include "modem/link/command_link.h"
#include "modem/link/requests.h"

namespace {

/// Bytes in a piece; one with fewer is the last.
constexpr int kPiece = 255;

/// The sum, or the largest number there is.
int add_length(int sum, size_t length) {
  return static_cast<int>(
      std::min<int64_t>(int64_t{sum} + static_cast<int64_t>(length), INT32_MAX));
}

}  // namespace

int send_modem_data(char* data, int len) {
  DOMAIN_INFO("send_modem_data(%d)\n", len);
  DOMAIN_INFO("MAX_QVCMD_REQ_SIZE(%d)\n", static_cast<int>(QVCMD_DATA_SIZE));
  if (len < 0 || (data == nullptr && len > 0)) return QVCMD_FAIL;
  // Goes on at 0 bytes left, on purpose: the modem waits for a piece that is not full.
  for (int left = len; left >= 0; left -= kPiece) {
    const auto length = static_cast<size_t>(std::min(left, kPiece));
    fcx::ModemAnswer dropped;
    const int code = fcx::ask(fcx::request::send_bulk, {data + (len - left), length}, dropped);
    if (code != 0) {
      DOMAIN_INFO("send_modem_data. Return error:%d\n", code);
      return code;
    }
  }
  return 0;
}

int receive_modem_data(char* buf, int* len) {
  if (buf == nullptr || len == nullptr) return QVCMD_FAIL;
  const auto failed = [](int code) {
    DOMAIN_INFO("receive_modem_data Return error:%d\n", code);
    return code;
  };
  for (size_t offset = 0;;) {
    fcx::ModemAnswer answer;
    const int code = fcx::ask(fcx::request::receive_bulk, {}, answer);
    if (code != 0) return failed(code);
    const std::string_view piece = answer.bytes();
    DOMAIN_INFO("receive_modem_data(), rsp_len = %d\n", static_cast<int>(piece.size()));
    // A sender that never ends must end here.
    if (piece.size() > QVCMD_DATA_SIZE - offset) return failed(QVCMD_FAIL);
    memcpy(buf + offset, piece.data(), piece.size());
    *len = add_length(*len, piece.size());
    DOMAIN_INFO("receive_modem_data(), buffer_size = %d\n", *len);
    if (*len == 0 && piece.empty()) return QVCMD_FAIL;
    if (piece.size() < kPiece) return 0;
    offset += piece.size();
    DOMAIN_INFO("receive_modem_data(), cur_ptr = %d\n", static_cast<int>(offset));
  }
}
