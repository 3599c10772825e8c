#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "common/files.h"
#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"

namespace fcx {
namespace {

constexpr char kStartdayValidFile[] = "/mnt/vendor/persist-qv/startday/isValid";
constexpr char kStartdayDateFile[] = "/mnt/vendor/persist-qv/startday/date";
constexpr std::string_view kNoStartday = "0000/00/00 00:00:00";

// No leading slash, unlike the others: the daemon works in "/". On purpose.
constexpr char kAgreeFactoryFile[] = "mnt/vendor/persist-qv/agree_factory";

using StartdayText = TextBuffer<kNoStartday.size()>;

/// Stores a start day of exactly 19 characters. Whether it did.
bool set_startday(std::string_view text) {
  if (text.size() != kNoStartday.size()) return false;
  // The date first, so that a power cut between the two never leaves a valid day without a date.
  return replace_device_file(kStartdayDateFile, text) == 0 &&
         replace_device_file(kStartdayValidFile, text == kNoStartday ? "0" : "1") == 0;
}

/// Reads the start day. Whether it could.
bool get_startday(StartdayText& day) {
  char valid = 0;
  if (read_device_file(kStartdayValidFile, &valid, 1) < 0) return false;
  if (valid == '0') {
    HANDLER_INFO("get startday RETURN : startday is not initialized");
    day = StartdayText(kNoStartday);
    return true;
  }
  const ssize_t length = read_device_file(kStartdayDateFile, day.data(), day.capacity());
  return length == static_cast<ssize_t>(day.capacity());
}

}  // namespace

void handle_set_get_startday(const qvcmd_request& request, qvcmd_response& response) {
  // `result` is never written: the outcome is only in the answer's text, on purpose.
  StartdayText day("OK");
  const bool done = request.data_len != 0 ? set_startday(payload_text(request)) : get_startday(day);
  if (!done) HANDLER_ERROR("handle_set_get_startday fail");
  answer_text(response, done ? day.view() : "ERROR");
}

void handle_read_agree_factory(qvcmd_response& response) {
  clear(response);
  const UniqueFd file = open_device_file(kAgreeFactoryFile, O_RDONLY);
  if (!file.is_open()) {
    // Neither an absent file nor one that cannot be opened is a failure, on purpose.
    if (errno == ENOENT || errno == ENOTDIR) {
      HANDLER_INFO("AGREE_FACTORY not exist = %s\n", kAgreeFactoryFile);
    } else {
      HANDLER_INFO("Cannot open path : %s", kAgreeFactoryFile);
    }
    return;
  }
  TextBuffer<sizeof response.data - 1> text;
  if (read_device_file(file, kAgreeFactoryFile, text.data(), text.capacity()) < 0) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, strerror(errno));
    response.result = QVCMD_FAIL;
    return;
  }
  answer_text(response, text.view());
}

void handle_write_agree_factory(std::string_view text, qvcmd_response& response) {
  clear(response);
  FileReplacement file(kAgreeFactoryFile);
  if (!file.is_open()) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, strerror(errno));
    response.result = QVCMD_FAIL;
    return;
  }
  // The opening alone decides the result, on purpose. Where the text does not fit, the old one
  // stays.
  if (file.commit(text) != 0) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, strerror(errno));
  }
}

void handle_get_ram_size(qvcmd_response& response) {
  const int size = ram_memory_size();
  if (size == 0) {
    response.result = QVCMD_FAIL;
    return;
  }
  answer_number(response, size);
  response.result = QVCMD_OK;
}

}  // namespace fcx
