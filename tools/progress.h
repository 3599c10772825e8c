// What goes on, for somebody who waits at a terminal.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

/// Says on a terminal what goes on and for how long, in one line that is gone with this object.
/// Where standard error is none it says nothing.
class Progress {
 public:
  /// @param doing what is being done at that moment; called by a thread of its own
  explicit Progress(std::function<std::string()> doing);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void tick();

  std::function<std::string()> doing_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_over_ = false;
  std::thread ticker_;
};

}  // namespace cli
