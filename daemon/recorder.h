// What happens while the library works, moment by moment.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/thread_annotations.h"

namespace factory_daemon {

/// What happened at one moment.
struct Moment {
  enum class Kind {
    note,      ///< what is done beside the library: `text` is a sentence
    line,      ///< a line of the library's log
    property,  ///< a property was set: NAME=VALUE
    node,      ///< a kernel node has another content: PATH=CONTENT
    request,   ///< a request over the modem link: NUMBER NAME, and how it went
    event,     ///< an event of the phone: KIND: DETAIL
    sim,       ///< the modem was asked for the SIM, and answered `text`
    no_sim_answer,
  };
  int64_t time_us;  ///< on the phone's clock
  Kind kind;
  std::string text;
  bool is_change = false;  ///< the property had another value before
};

/// Writes down the log's lines and the properties that are set while it exists, from whatever
/// thread. One at a time.
class Recorder {
 public:
  /// What else is looked at or done, by the thread that brings a line or a property about, before
  /// and after it is written down. It may add moments, and sets no properties.
  struct Around {
    std::function<void(int64_t time_us)> before;
    std::function<void(int64_t time_us)> after;
  };

  /// @param moments outlives this
  explicit Recorder(std::vector<Moment>& moments, Around around = {});
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  void add(Moment moment);
  /// A sentence about this moment.
  void note(const std::string& sentence);

 private:
  void observe(Moment moment);

  std::mutex mutex_;
  std::vector<Moment>& moments_ GUARDED_BY(mutex_);
  Around around_;
};

}  // namespace factory_daemon
