#include "daemon/server/worker.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "daemon/at_commands.h"
#include "daemon/background.h"
#include "daemon/open.h"
#include "daemon/server/frames.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/power/unflushed.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

[[noreturn]] void end(WorkerEnd how) { _exit(static_cast<int>(how)); }

/// Where frames come from and answers go to.
class Channel {
 public:
  explicit Channel(int socket) : socket_(socket) {}

  /// The next request; nothing when no more come.
  std::optional<Frame> next() {
    for (;;) {
      FrameRead read = read_frame(unread_, kLongestRequest);
      unread_.erase(0, read.consumed);
      if (read.state == FrameRead::State::frame) return std::move(read.frame);
      std::array<char, 16384> bytes{};
      const ssize_t count = TEMP_FAILURE_RETRY(recv(socket_, bytes.data(), bytes.size(), 0));
      if (count <= 0) return {};
      unread_.append(bytes.data(), static_cast<size_t>(count));
    }
  }

  void answer(const Frame& frame) {
    const std::string bytes = encoded(frame);
    std::string_view rest = bytes;
    while (!rest.empty()) {
      const ssize_t count =
          TEMP_FAILURE_RETRY(send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL));
      // Nobody waits for it any more.
      if (count < 0) end(WorkerEnd::served);
      rest.remove_prefix(static_cast<size_t>(count));
    }
  }

 private:
  int socket_;
  std::string unread_;
};

volatile sig_atomic_t begins_nothing = 0;

/// Whether a request waits for its answer, and the thread that gives it.
std::atomic<bool> has_request = false;
std::atomic<std::thread::id> answering;

/// The second after which the library reboots is a thousandth on the fast clock: a busy machine has
/// not sent the answer by then to the command that asked for it.
void let_answer_leave() {
  constexpr int kMostMs = 1000;
  if (vp::chosen_clock() != vp::Clock::fast || answering == std::this_thread::get_id()) return;
  for (int ms = 0; ms < kMostMs && has_request; ++ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool ends_uptime(const vp::Event& event) {
  return event.kind == vp::kRebootEvent || event.kind == vp::kRestartEvent ||
         event.kind == vp::kPowerCutEvent;
}

class Worker {
 public:
  Worker(vp::Phone& phone, const Reports& reports)
      : phone_(phone), reports_(reports), seen_(vp::last_event(phone)) {}

  /// Carries out one request. Nothing is said to be done before what it wrote is durable.
  Frame answer(const Frame& request) {
    if (begins_nothing != 0) {
      return error(request, FrameError::ending, "the server ends; nothing was done");
    }
    try {
      end_with_uptime();
      const auto body = body_for(request);
      vp::make_durable(phone_);
      if (!body.has_value()) {
        return error(request, FrameError::unknown, "the frame's body makes no sense");
      }
      const auto kind = static_cast<uint16_t>(request.kind) | kAnswer;
      return {static_cast<FrameKind>(kind), 0, request.tag, *body};
    } catch (const std::exception& failed) {
      return error(request, FrameError::unusable, failed.what());
    }
  }

 private:
  static constexpr uint16_t kAnswer = 0x8000;

  static Frame error(const Frame& request, FrameError error, std::string message) {
    return {FrameKind::error, 0, request.tag, body_of(ErrorAnswer{error, std::move(message)})};
  }

  /// The library must not go on in another uptime than that which it has begun in.
  void end_with_uptime() {
    if (!phone_.is_there()) end(WorkerEnd::ended_elsewhere);
    const int64_t last = vp::last_event(phone_);
    if (last == seen_) return;
    const auto news = vp::events(phone_, seen_);
    // This process's own end comes here, too, when its thread has not come that far.
    if (std::any_of(news.begin(), news.end(), ends_uptime)) {
      end(vp::power_state(phone_).is_off ? WorkerEnd::found_off : WorkerEnd::ended_elsewhere);
    }
    seen_ = last;
  }

  std::optional<std::string> body_for(const Frame& request) {
    switch (request.kind) {
      case FrameKind::command:
        return command(request);
      case FrameKind::at_line:
        return at_line(request);
      case FrameKind::start:
        return start(request);
      default:
        return {};
    }
  }

  std::optional<std::string> command(const Frame& request) {
    const auto command = read_command_request(request.body);
    if (!command.has_value()) return {};
    const Delivery delivery = deliverer_.deliver(phone_, command->opcode, command->data);
    const bool has_details = (request.flags & kWithDetails) != 0;
    return body_of(CommandAnswer{delivery.response, has_details ? reports_.details(delivery) : ""});
  }

  std::optional<std::string> at_line(const Frame& request) {
    const auto line = read_at_request(request.body);
    if (!line.has_value()) return {};
    AtSettings settings{line->echo, line->error_mode};
    const AtAnswer answer =
        answer_at_line(phone_, line->line, settings,
                       [this](vp::Phone& phone, int32_t opcode, std::string_view payload) {
                         return deliverer_.deliver(phone, opcode, payload);
                       });
    AtResult result{answer.is_ok, settings.echo, static_cast<uint8_t>(settings.error_mode),
                    answer.reason, ""};
    for (const std::string& each : answer.information) result.lines += each + "\n";
    return body_of(result);
  }

  std::optional<std::string> start(const Frame& request) {
    const auto wanted = read_start_request(request.body);
    if (!wanted.has_value()) return {};
    const Boot seen = boot(phone_, wanted->is_daemon_only ? Uptime::goes_on : Uptime::begins);
    seen_ = vp::last_event(phone_);
    return body_of(StartAnswer{seen.outcome != BootOutcome::not_started,
                               reports_.start(seen, wanted->as_json, wanted->full)});
  }

  vp::Phone& phone_;
  const Reports& reports_;
  Deliverer deliverer_;
  int64_t seen_;  ///< the last event that this process has brought about, or found
};

void end_when_rebooted() {
  let_answer_leave();
  const bool is_off = vp::power_state(vp::selected()).is_off;
  end(is_off ? WorkerEnd::switched_off : WorkerEnd::rebooted);
}

/// What a daemon is that somebody has started: no terminal's, and gone with the server.
void leave_the_server() {
  struct sigaction no_more {};
  no_more.sa_handler = [](int) { begins_nothing = 1; };
  no_more.sa_flags = SA_RESTART;
  // It cannot fail for this signal.
  static_cast<void>(sigaction(kNoMoreSignal, &no_more, nullptr));
  // Where it fails the worker ends with its socket.
  static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));
  const android::base::unique_fd nowhere(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) {
    // A closed one would be another file's next.
    if (dup2(nowhere.get(), fd) < 0) end(WorkerEnd::no_phone);
  }
}

}  // namespace

void run_worker(int socket, const std::filesystem::path& directory, const Reports& reports) {
  leave_the_server();
  Channel channel(socket);
  try {
    vp::Phone& phone = open(directory);
    vp::when_rebooted(end_when_rebooted);
    vp::when_power_is_cut([](const vp::PowerCut&) { end(WorkerEnd::power_cut); });
    Worker worker(phone, reports);
    channel.answer({FrameKind::hello_answer, 0, 0, ""});
    answering = std::this_thread::get_id();
    while (const auto request = channel.next()) {
      has_request = true;
      channel.answer(worker.answer(*request));
      has_request = false;
    }
    await_background_work();
    end(WorkerEnd::served);
  } catch (const std::exception& error) {
    channel.answer(
        {FrameKind::error, 0, 0, body_of(ErrorAnswer{FrameError::unusable, error.what()})});
    end(WorkerEnd::no_phone);
  }
}

}  // namespace factory_daemon
