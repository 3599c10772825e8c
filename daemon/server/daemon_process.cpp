#include "daemon/server/daemon_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace factory_daemon {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr int kMostFailedStarts = 3;  // as kDoesNotComeUp says
/// Jobs that the process has at once, so that it need not be waited for between them.
constexpr size_t kMostSent = 8;
/// For what commands have left on threads, when the server ends.
constexpr uint64_t kLastWaitMs = 10'000;

constexpr DaemonProcess::Why kRestarting = {FrameError::restarting,
                                            "the phone starts; nothing was done"};
constexpr DaemonProcess::Why kInterrupted = {FrameError::interrupted,
                                             "the phone or its daemon has ended before the answer"};
constexpr DaemonProcess::Why kSwitchedOff = {FrameError::switched_off,
                                             "the phone is switched off; a start switches it on"};
constexpr DaemonProcess::Why kOutOfTime = {
    FrameError::out_of_time, "it took longer than the server waits; the daemon was started anew"};
constexpr DaemonProcess::Why kEnding = {FrameError::ending, "the server ends; nothing was done"};
constexpr DaemonProcess::Why kDoesNotComeUp = {
    FrameError::unusable, "the daemon has ended 3 times in a row while it started"};

/// In a process that was just forked: all files but the first three and `kept` are the server's.
/// @return what `kept` is then
int close_all_but(int kept) {
  constexpr int kOnly = STDERR_FILENO + 1;
  if (kept != kOnly && dup3(kept, kOnly, O_CLOEXEC) < 0) {
    _exit(static_cast<int>(WorkerEnd::no_phone));
  }
  closefrom(kOnly + 1);
  return kOnly;
}

/// What a program finds that nobody has prepared.
void reset_signals() {
  for (const int number : {SIGTERM, SIGINT, SIGPIPE, SIGCHLD}) {
    // Of valid signals.
    static_cast<void>(signal(number, SIG_DFL));
  }
  // What a terminal sends to the server's group is for the server. It may be a leader already.
  static_cast<void>(setpgid(0, 0));
}

/// Answers a job with an error.
void refuse(const DaemonProcess::Job& job, const DaemonProcess::Why& why) {
  job.answer({FrameKind::error, 0, job.request.tag, body_of(ErrorAnswer{why.error, why.message})});
}

void refuse_all(std::deque<DaemonProcess::Job> jobs, const DaemonProcess::Why& why) {
  for (const DaemonProcess::Job& job : jobs) refuse(job, why);
}

/// The start of a daemon that nobody has asked for: of a phone that has come up again.
DaemonProcess::Job start_after_end() {
  return {{FrameKind::start, 0, 0, body_of(StartRequest{true, true, false})},
          [] { return false; },
          [](const Frame&) {}};
}

}  // namespace

DaemonProcess::DaemonProcess(Loop& loop, fs::path phone, const Reports& reports, uint64_t limit_ms,
                             Events events)
    : loop_(loop),
      phone_(std::move(phone)),
      reports_(reports),
      limit_ms_(limit_ms),
      events_(std::move(events)),
      limit_(loop, [this] { out_of_time(); }),
      ended_(loop, [this] { has_ended(); }) {
  spawn();
}

DaemonProcess::~DaemonProcess() {
  stream_.reset();
  if (pid_ == kNoProcess) return;
  end_process();
  static_cast<void>(wait_for_end());  // however it ends
}

void DaemonProcess::spawn() {
  try {
    unread_.clear();
    is_out_of_time_ = false;
    fork_worker();
    state_ = State::opening;
    stream_->read(true);
    limit_.start(limit_ms_);
  } catch (const LoopError& error) {
    cannot_open(error.what());
  }
}

void DaemonProcess::fork_worker() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw loop_error("the daemon's socket", -errno);
  }
  unique_fd own(ends[0]);
  unique_fd workers(ends[1]);
  // Before there is a process that would have to be ended again.
  stream_ = std::make_unique<Stream>(
      loop_, own.release(),
      Stream::Events{
          [this](std::string_view bytes) { arrived(bytes); }, [this] { ended_.start(0); }, {}});
  const pid_t pid = fork();
  if (pid < 0) {
    const int why = errno;
    stream_.reset();
    throw loop_error("the daemon's process", -why);
  }
  if (pid == 0) {
    const int socket = close_all_but(workers.get());
    reset_signals();
    run_worker(socket, phone_, reports_);
  }
  pid_ = pid;
}

void DaemonProcess::end_process() {
  // It may have ended already. Its end is an event.
  static_cast<void>(kill(pid_, SIGKILL));
}

int DaemonProcess::wait_for_end() {
  int status = 0;
  const pid_t ended = TEMP_FAILURE_RETRY(waitpid(std::exchange(pid_, kNoProcess), &status, 0));
  return ended < 0 ? -1 : status;
}

void DaemonProcess::submit(Job job) {
  if (is_finishing_) return refuse(job, kEnding);
  const bool is_start = job.request.kind == FrameKind::start;
  if (is_off_ && !is_start) return refuse(job, kSwitchedOff);
  if (state_ == State::starting) return refuse(job, kRestarting);
  if (std::exchange(has_given_up_, false) && !is_start) {
    start_ = start_after_end();
    spawn();
    return refuse(job, kDoesNotComeUp);
  }
  waiting_.push_back(std::move(job));
  if (state_ == State::none && !is_off_) {
    // The phone may be there by now.
    spawn();
  }
  pump();
}

void DaemonProcess::pump() {
  while (!waiting_.empty() && sent_.size() < kMostSent) {
    const bool is_start = waiting_.front().request.kind == FrameKind::start;
    // A start needs a process of its own, and none that has come up.
    const bool has_turn =
        is_start ? sent_.empty() && (state_ == State::ready || is_off_) : state_ == State::ready;
    if (!has_turn) return;
    Job next = std::move(waiting_.front());
    waiting_.pop_front();
    if (!next.is_wanted()) continue;
    if (is_start) return begin_start(std::move(next));
    send(std::move(next));
  }
}

void DaemonProcess::send(Job job) {
  if (sent_.empty()) limit_.start(limit_ms_);
  stream_->write(encoded(job.request));
  sent_.push_back(std::move(job));
}

void DaemonProcess::begin_start(Job job) {
  start_ = std::move(job);
  if (pid_ == kNoProcess) {
    is_off_ = false;
    return spawn();
  }
  state_ = State::starting;
  is_replaced_ = true;
  end_process();
}

void DaemonProcess::arrived(std::string_view bytes) {
  unread_ += bytes;
  for (;;) {
    FrameRead read = read_frame(unread_, kLongestAnswer);
    unread_.erase(0, read.consumed);
    if (read.state != FrameRead::State::frame) return;
    take(std::move(read.frame));
  }
}

void DaemonProcess::take(Frame frame) {
  if (state_ == State::opening) return take_hello(frame);
  if (sent_.empty()) return;
  if (state_ == State::starting) failed_starts_ = 0;
  state_ = State::ready;
  const Job done = std::move(sent_.front());
  sent_.pop_front();
  sent_.empty() ? limit_.stop() : limit_.start(limit_ms_);
  frame.tag = done.request.tag;
  done.answer(frame);
  if (is_finishing_) return finish();
  pump();
}

void DaemonProcess::take_hello(const Frame& hello) {
  limit_.stop();
  if (hello.kind == FrameKind::error) {
    problem_ = read_error(hello.body).value_or(ErrorAnswer{}).message;
    return;  // it ends
  }
  if (is_finishing_) return finish();
  if (start_.has_value()) {
    state_ = State::starting;
    return send(*std::exchange(start_, std::nullopt));
  }
  state_ = State::ready;
  // From now on clients are told what goes wrong.
  events_.cannot_open = nullptr;
  if (events_.ready) std::exchange(events_.ready, nullptr)();
  pump();
}

void DaemonProcess::out_of_time() {
  is_out_of_time_ = true;
  end_process();
}

void DaemonProcess::has_ended() {
  const bool was_coming_up = state_ == State::opening || state_ == State::starting;
  stream_.reset();
  limit_.stop();
  state_ = State::none;
  const int status = wait_for_end();
  if (is_finishing_) {
    answer_sent(kInterrupted, kEnding);
    return events_.finished();
  }
  if (std::exchange(is_replaced_, false)) return spawn();
  failed_starts_ = was_coming_up ? failed_starts_ + 1 : 0;
  go_on_after(status);
}

void DaemonProcess::go_on_after(int status) {
  const auto has_said = [&](WorkerEnd end) {
    return WIFEXITED(status) && static_cast<WorkerEnd>(WEXITSTATUS(status)) == end;
  };
  if (has_said(WorkerEnd::no_phone)) return cannot_open(problem_);
  is_off_ = has_said(WorkerEnd::switched_off) || has_said(WorkerEnd::found_off);
  // Who is told may ask for more at once.
  state_ = State::starting;
  const Why& not_begun = is_off_ ? kSwitchedOff : kRestarting;
  if (std::exchange(is_out_of_time_, false)) {
    answer_sent(kOutOfTime, not_begun);
  } else if (has_said(WorkerEnd::ended_elsewhere) || has_said(WorkerEnd::found_off)) {
    answer_sent(not_begun, not_begun);
  } else {
    answer_sent(kInterrupted, not_begun);
  }
  has_given_up_ = !is_off_ && failed_starts_ >= kMostFailedStarts;
  refuse_all(std::exchange(waiting_, {}), has_given_up_ ? kDoesNotComeUp : not_begun);
  state_ = State::none;
  if (is_off_) return;
  if (has_given_up_) {
    failed_starts_ = 0;
    return;
  }
  start_ = start_after_end();
  spawn();
}

void DaemonProcess::cannot_open(const std::string& why) {
  state_ = State::none;
  if (events_.cannot_open) return std::exchange(events_.cannot_open, nullptr)(why);
  const Why unusable = {FrameError::unusable, why.c_str()};
  answer_sent(unusable, unusable);
  refuse_all(std::exchange(waiting_, {}), unusable);
}

/// Of what was sent only the first can have been begun.
void DaemonProcess::answer_sent(const Why& first, const Why& others) {
  if (start_.has_value()) sent_.push_back(*std::exchange(start_, std::nullopt));
  auto sent = std::exchange(sent_, {});
  if (sent.empty()) return;
  const Job in_hand = std::move(sent.front());
  sent.pop_front();
  refuse(in_hand, first);
  refuse_all(std::move(sent), others);
}

void DaemonProcess::finish() {
  is_finishing_ = true;
  refuse_all(std::exchange(waiting_, {}), kEnding);
  if (pid_ == kNoProcess) return events_.finished();
  const bool is_asked_for = !sent_.empty() && sent_.front().is_wanted();
  if (state_ == State::opening || (state_ == State::starting && !is_asked_for)) {
    return end_process();
  }
  // What comes after that which is in hand is not begun any more. It may have ended already.
  static_cast<void>(kill(pid_, kNoMoreSignal));
  // This comes again with each answer, or with the end of the process.
  if (!sent_.empty()) return;
  // It reads the end of its requests.
  stream_->close_for_writing();
  limit_.start(std::min(kLastWaitMs, limit_ms_));
}

}  // namespace factory_daemon
