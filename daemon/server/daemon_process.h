// The daemon as the server sees it: the process that has the library, and what waits for it. A new
// process takes the place of one that has ended.
#pragma once

#include <sys/types.h>

#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "daemon/server/frames.h"
#include "daemon/server/loop.h"
#include "daemon/server/worker.h"

namespace factory_daemon {

class DaemonProcess {
 public:
  /// Why there is no other answer.
  struct Why {
    FrameError error;
    const char* message;
  };
  struct Job {
    Frame request;
    std::function<bool()> is_wanted;  ///< nobody may wait for it any more when its turn has come
    std::function<void(const Frame& answer)> answer;
  };
  struct Events {
    std::function<void()> ready;                              ///< at first
    std::function<void(const std::string& why)> cannot_open;  ///< instead
    std::function<void()> finished;                           ///< after finish()
  };

  /// @param limit_ms how long a job may take before the process is killed
  DaemonProcess(Loop& loop, std::filesystem::path phone, const Reports& reports, uint64_t limit_ms,
                Events events);
  /// Kills it.
  ~DaemonProcess();
  DaemonProcess(const DaemonProcess&) = delete;
  DaemonProcess& operator=(const DaemonProcess&) = delete;

  /// One job after another, in the order in which they come. Each is answered, with an error when
  /// it could not be done.
  void submit(Job job);

  /// Lets the job in hand come to its end, and, for a while, what commands have left on threads.
  /// All others are answered with an error.
  void finish();

 private:
  enum class State {
    none,
    opening,   ///< it has not said that it is ready
    starting,  ///< it has, and the phone's software starts
    ready,
  };
  static constexpr int kNoProcess = 0;

  void spawn();
  void fork_worker();
  void end_process();
  void cannot_open(const std::string& why);
  void pump();
  void send(Job job);
  void begin_start(Job job);
  void arrived(std::string_view bytes);
  void take(Frame frame);
  void take_hello(const Frame& hello);
  void has_ended();
  void go_on_after(int status);
  void answer_sent(const Why& first, const Why& others);
  void out_of_time();
  int wait_for_end();

  Loop& loop_;
  const std::filesystem::path phone_;
  const Reports& reports_;
  const uint64_t limit_ms_;
  Events events_;

  State state_ = State::none;
  pid_t pid_ = kNoProcess;
  std::unique_ptr<Stream> stream_;
  std::string unread_;
  std::deque<Job> waiting_;
  std::deque<Job> sent_;      ///< the first is in hand, the others come next
  std::optional<Job> start_;  ///< to be sent once the process is ready
  std::string problem_;       ///< why the phone cannot be opened
  bool is_off_ = false;       ///< the phone is
  bool is_out_of_time_ = false;
  bool is_replaced_ = false;  ///< by one that starts: its end is no surprise
  bool is_finishing_ = false;
  int failed_starts_ = 0;      ///< in a row
  bool has_given_up_ = false;  ///< to start, until the next request
  Timer limit_;
  Timer ended_;  ///< after the event that says so
};

}  // namespace factory_daemon
