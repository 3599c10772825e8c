// The phone's log: what is written to liblog goes to log/system.log, one line an entry, in the form
// of `logcat -v threadtime`. Line breaks inside a message are written as \n there, one at its end
// is not.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace virtual_phone {

struct LogEntry {
  int64_t time_us;  ///< since 1970, on the phone's clock
  int buffer;       ///< log_id_t
  int priority;     ///< android_LogPriority
  std::string tag;
  std::string message;  ///< letter for letter
};

/// Calls `observer`, under a lock, with each entry that this process writes. An empty one ends it.
void observe_log(std::function<void(const LogEntry&)> observer);

}  // namespace virtual_phone
