#include "exploration/apart.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "virtual_phone/core/simulated_time.h"
#include "virtual_phone/faults/accesses.h"

namespace exploration {
namespace {

namespace vp = virtual_phone;
using android::base::unique_fd;
using std::chrono::steady_clock;

/// When every try begins, so that all take the same time: 2026-01-01 00:00:00 UTC.
constexpr int64_t kBeginUs = 1'767'225'600'000'000;

// The first byte of what a process tells.
constexpr char kEnded = 'E';
constexpr char kCut = 'C';
constexpr char kSleptTooLong = 'H';
constexpr char kFailed = 'F';

/// Where this process tells it.
int told_to = -1;

void tell(char how, const std::string& bytes) {
  const std::string all = how + bytes;
  for (size_t done = 0; done < all.size();) {
    const ssize_t put = TEMP_FAILURE_RETRY(write(told_to, all.data() + done, all.size() - done));
    if (put < 0) _exit(1);
    done += static_cast<size_t>(put);
  }
}

void be_quiet() {
  const unique_fd nowhere(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (dup2(nowhere.get(), fd) < 0) _exit(1);
  }
  const rlimit none{};
  // Where it is, it is in nobody's way.
  static_cast<void>(setrlimit(RLIMIT_CORE, &none));
}

[[noreturn]] void work_here(const Bounds& bounds, const std::function<std::string()>& work) {
  be_quiet();
  // Nobody is told any more once who waits is gone.
  static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));
  // The whole group goes with a process that hangs; without one it goes alone.
  static_cast<void>(setpgid(0, 0));
  static_cast<void>(setenv("TZ", "UTC", 1));  // without room for it the times are local ones
  vp::simulate_time(kBeginUs);
  const std::chrono::microseconds limit = bounds.virtual_time;
  vp::limit_simulated_time(kBeginUs + limit.count(), [] {
    tell(kSleptTooLong, "");
    _exit(0);
  });
  vp::when_power_is_cut([](const vp::PowerCut&) {
    tell(kCut, "");
    _exit(0);
  });
  try {
    tell(kEnded, work());
  } catch (const std::exception& error) {
    tell(kFailed, error.what());
  }
  // Threads that hang on would keep it.
  _exit(0);
}

/// All that a process tells until it closes its end, or the time is over.
bool read_all(const unique_fd& from, steady_clock::time_point until, std::string& told) {
  std::array<char, 65536> piece;
  while (true) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(until - steady_clock::now());
    pollfd waiting{from.get(), POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t got = TEMP_FAILURE_RETRY(read(from.get(), piece.data(), piece.size()));
    if (got <= 0) return true;
    told.append(piece.data(), static_cast<size_t>(got));
  }
}

std::string seconds(std::chrono::seconds time) { return std::to_string(time.count()) + " s"; }

Apart what_was_told(const std::string& told, int status, const Bounds& bounds) {
  if (WIFSIGNALED(status)) {
    const char* name = sigabbrev_np(WTERMSIG(status));
    return {Ending::crash, name == nullptr ? "a signal" : std::string("SIG") + name};
  }
  const std::string bytes = told.substr(std::min<size_t>(told.size(), 1));
  switch (told.empty() ? '\0' : told.front()) {
    case kEnded:
      return {Ending::ended, bytes};
    case kCut:
      return {Ending::cut, ""};
    case kSleptTooLong:
      return {Ending::hang, "sleeps for more than " + seconds(bounds.virtual_time)};
    case kFailed:
      return {Ending::error, bytes};
    default:
      return {Ending::crash, "exit status " + std::to_string(WEXITSTATUS(status))};
  }
}

}  // namespace

Apart apart(const Bounds& bounds, const std::function<std::string()>& work) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  unique_fd from(ends[0]);
  unique_fd to(ends[1]);
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    from.reset();
    told_to = to.release();
    work_here(bounds, work);
  }
  to.reset();
  std::string told;
  const bool is_over = read_all(from, steady_clock::now() + bounds.real_time, told);
  // It may be gone, or may have no group yet.
  if (!is_over && kill(-child, SIGKILL) != 0) static_cast<void>(kill(child, SIGKILL));
  int status = 0;
  if (TEMP_FAILURE_RETRY(waitpid(child, &status, 0)) != child) {
    throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  if (!is_over) return {Ending::hang, "nothing for " + seconds(bounds.real_time)};
  return what_was_told(told, status, bounds);
}

}  // namespace exploration
