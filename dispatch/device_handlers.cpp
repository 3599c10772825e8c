#include <fcntl.h>

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

/// What a file of the start day holds, to be put back when the other one cannot be replaced.
class KeptFile {
 public:
  explicit KeptFile(const char* device_path)
      : device_path_(device_path),
        read_(read_device_file(device_path, content_.data(), content_.capacity())) {}

  void put_back() const {
    if (read_.has_failed()) return log(Result::failed(read_.error()));
    log(read_.is_absent() ? remove_device_file(device_path_)
                          : replace_device_file(device_path_, {content_.c_str(), read_.size()}));
  }

 private:
  void log(Result put_back) const {
    if (put_back.ok()) return;
    HANDLER_ERROR("handle_set_get_startday: %s cannot be put back: %s\n", device_path_,
                  put_back.reason());
  }

  const char* device_path_;
  TextBuffer<QVCMD_DATA_SIZE> content_;
  ReadResult read_;
};

/// Stores a start day of exactly 19 characters. Whether it did; both files are what they were if
/// not.
bool set_startday(std::string_view text) {
  if (text.size() != kNoStartday.size()) return false;
  const KeptFile old_date(kStartdayDateFile);
  const KeptFile old_valid(kStartdayValidFile);
  FileReplacement date(kStartdayDateFile);
  FileReplacement valid(kStartdayValidFile);
  if (!date.write(text).ok() || !valid.write(text == kNoStartday ? "0" : "1").ok()) return false;
  // The date first, so that a power cut between the two never leaves a valid day without a date.
  if (!date.put_in_place().ok()) return false;
  const bool are_in_place = valid.put_in_place().ok();
  if (are_in_place && flush_directory_of(kStartdayDateFile).ok()) return true;
  if (are_in_place) old_valid.put_back();
  old_date.put_back();
  return false;
}

/// Reads the start day. Whether it could.
bool get_startday(StartdayText& day) {
  char valid = 0;
  if (!read_device_file(kStartdayValidFile, &valid, 1).has_content()) return false;
  if (valid == '0') {
    HANDLER_INFO("get startday RETURN : startday is not initialized");
    day = StartdayText(kNoStartday);
    return true;
  }
  return read_device_file(kStartdayDateFile, day.data(), day.capacity()).size() == day.capacity();
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
  DeviceFile file(kAgreeFactoryFile, O_RDONLY);
  if (!file.is_open()) {
    // Neither an absent file nor one that cannot be opened is a failure, on purpose.
    if (file.is_absent()) {
      HANDLER_INFO("AGREE_FACTORY not exist = %s\n", kAgreeFactoryFile);
    } else {
      HANDLER_INFO("Cannot open path : %s", kAgreeFactoryFile);
    }
    return;
  }
  TextBuffer<sizeof response.data - 1> text;
  if (const ReadResult read = file.read(text.data(), text.capacity()); !read.has_content()) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, read.reason());
    response.result = QVCMD_FAIL;
    return;
  }
  answer_text(response, text.view());
}

void handle_write_agree_factory(std::string_view text, qvcmd_response& response) {
  clear(response);
  FileReplacement file(kAgreeFactoryFile);
  if (const Result opened = file.opened(); !opened.ok()) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, opened.reason());
    response.result = QVCMD_FAIL;
    return;
  }
  // The opening alone decides the result, on purpose. Where the text does not fit, the old one
  // stays.
  if (const Result stored = file.commit(text); !stored.ok()) {
    HANDLER_ERROR("%s: %s: %s\n", __func__, kAgreeFactoryFile, stored.reason());
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
