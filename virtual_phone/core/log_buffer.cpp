#include "virtual_phone/core/log_buffer.h"

#include <android/log.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string_view>

#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/log_file.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {
namespace {

constexpr off_t kFullLog = 8 << 20;
constexpr std::string_view kPriorities = "??VDIWEFS";

std::mutex observer_mutex;
std::function<void(const LogEntry&)> log_observer;
std::atomic<bool> is_observed = false;

void append_escaped(std::string& line, std::string_view message) {
  while (!message.empty() && message.back() == '\n') message.remove_suffix(1);
  for (const char c : message) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else {
      line += c;
    }
  }
  line += '\n';
}

/// "11-21 06:26:00.123", which changes once a second but for its milliseconds.
void append_time(std::string& line, int64_t time_us) {
  struct Second {
    time_t second = -1;
    std::array<char, 24> text{};
  };
  thread_local Second shown;
  const auto second = static_cast<time_t>(time_us / 1'000'000);
  if (second != shown.second) {
    tm local{};
    localtime_r(&second, &local);
    strftime(shown.text.data(), shown.text.size(), "%m-%d %H:%M:%S", &local);
    shown.second = second;
  }
  std::array<char, 8> milliseconds;
  snprintf(milliseconds.data(), milliseconds.size(), ".%03d",
           static_cast<int>(time_us / 1000 % 1000));
  line += shown.text.data();
  line += milliseconds.data();
}

std::string line_of(const LogEntry& entry) {
  std::string line;
  line.reserve(64 + entry.tag.size() + entry.message.size());
  append_time(line, entry.time_us);
  const auto priority = static_cast<size_t>(entry.priority);
  std::array<char, 64> head;
  snprintf(head.data(), head.size(), " %5d %5d %c ", getpid(), gettid(),
           priority < kPriorities.size() ? kPriorities[priority] : '?');
  line += head.data();
  line += entry.tag;
  if (entry.tag.size() < 8) line.append(8 - entry.tag.size(), ' ');
  line += ": ";
  append_escaped(line, entry.message);
  return line;
}

/// liblog's way out: every message of this process comes here.
void write_entry(const __android_logger_data* data, const char* message) {
  Phone* phone = selected_or_null();
  if (phone == nullptr) {
    __android_log_stderr_logger(data, message);
    return;
  }
  const LogEntry entry{now_us(), data->buffer_id, data->priority,
                       data->tag == nullptr ? "" : data->tag, message};
  phone->log().append(line_of(entry));
  if (!is_observed) return;
  const std::lock_guard lock(observer_mutex);
  if (log_observer) log_observer(entry);
}

/// From the moment this home is loaded.
[[maybe_unused]] const bool is_logger_set = (__android_log_set_logger(write_entry), true);

}  // namespace

void observe_log(std::function<void(const LogEntry&)> observer) {
  const std::lock_guard lock(observer_mutex);
  log_observer = std::move(observer);
  is_observed = static_cast<bool>(log_observer);
}

LogFile::LogFile(const std::filesystem::path& file) {
  struct stat old {};
  if (stat(file.c_str(), &old) == 0 && old.st_size > kFullLog) {
    std::error_code ignored;
    std::filesystem::rename(file, file.string() + ".1", ignored);
  }
  fd_ = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0664);
  if (fd_ < 0) {
    throw Error(file.string() + ": " + strerror(errno) +
                ". A phone is for users who may write to its directory.");
  }
}

LogFile::~LogFile() { close(fd_); }

void LogFile::append(std::string_view line) const {
  // One write an entry: entries of several processes do not mix. A full disk loses the entry.
  static_cast<void>(write(fd_, line.data(), line.size()) >= 0);
}

}  // namespace virtual_phone
