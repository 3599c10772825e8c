#include "virtual_phone/core/log_buffer.h"

#include <android/log.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <exception>
#include <mutex>
#include <string_view>

#include "platform/thread_annotations.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/log_file.h"
#include "virtual_phone/core/phone.h"
#include "virtual_phone/core/simulated_time.h"

namespace virtual_phone {
namespace {

constexpr std::string_view kPriorities = "??VDIWEFS";

std::mutex observer_mutex;
std::function<void(const LogEntry&)> log_observer GUARDED_BY(observer_mutex);
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

void write_and_tell(Phone& phone, const LogEntry& entry) {
  phone.log().append(line_of(entry));
  if (!is_observed) return;
  const std::lock_guard lock(observer_mutex);
  if (log_observer) log_observer(entry);
}

/// Says once that an entry is lost, without memory for it.
void tell_of_loss() {
  static std::atomic<bool> is_told = false;
  if (is_told.exchange(true)) return;
  constexpr std::string_view kLost = "virtual phone: log entries are lost: out of memory\n";
  // There is nowhere else to say it.
  static_cast<void>(write(STDERR_FILENO, kLost.data(), kLost.size()) >= 0);
}

/// liblog's way out: every message of this process comes here. liblog is C: nothing may throw.
void write_entry(const __android_logger_data* data, const char* message) noexcept {
  Phone* phone = selected_or_null();
  if (phone == nullptr) {
    __android_log_stderr_logger(data, message);
    return;
  }
  await_turn();
  try {
    write_and_tell(*phone, {now_us(), data->buffer_id, data->priority,
                            data->tag == nullptr ? "" : data->tag, message});
  } catch (const std::exception&) {
    tell_of_loss();
  }
}

/// From the moment this home is loaded.
[[maybe_unused]] const bool is_logger_set = (__android_log_set_logger(write_entry), true);

}  // namespace

void observe_log(std::function<void(const LogEntry&)> observer) {
  const std::lock_guard lock(observer_mutex);
  log_observer = std::move(observer);
  is_observed = static_cast<bool>(log_observer);
}

}  // namespace virtual_phone
