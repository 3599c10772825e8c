#include "simulation/run.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "daemon/network_code.h"
#include "daemon/open.h"
#include "virtual_phone/core/error.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/core/simulated_time.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/profiles/profiles.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;
namespace fs = std::filesystem;
using android::base::unique_fd;
using Kind = factory_daemon::Action::Kind;
using End = Report::End;

/// How the first byte of what a step's process tells says that it ended.
enum : char { kDone = 'D', kNotDone = 'N', kCut = 'C', kHung = 'H' };

/// Where a step's process tells it; it has one.
int tell_fd = -1;

/// Ends the process.
[[noreturn]] void tell(char end, const std::string& text) {
  const std::string all = end + text;
  const ssize_t written = write(tell_fd, all.data(), all.size());
  _exit(written == static_cast<ssize_t>(all.size()) ? 0 : 1);
}

factory_daemon::Outcome carry_out(vp::Phone& phone, const Step& step) {
  switch (step.kind) {
    case Step::Kind::action:
      return factory_daemon::carry_out(phone, step.action);
    case Step::Kind::sim:
      vp::set_sim(phone, step.sim);
      break;
    case Step::Kind::network_code:
      factory_daemon::rewrite_network_code(phone, step.text);
      break;
    case Step::Kind::modem_value:
      vp::check_modem_value(step.name, step.text);
      vp::set_modem_value(phone, step.name, step.text);
      break;
    case Step::Kind::card:
      step.name == kInsert ? vp::insert_card(phone) : vp::remove_card(phone);
      break;
    case Step::Kind::power_cut:
      vp::cut_power(phone, step.unflushed);
      break;
  }
  return {true, "done"};
}

/// The step's process: it does it, and tells how that went.
[[noreturn]] void be_daemon(const fs::path& directory, const Step& step) {
  constexpr int64_t kLongestUs = int64_t{600} * 1'000'000;
  constexpr unsigned kLongestRealSeconds = 60;
  alarm(kLongestRealSeconds);
  vp::simulate_time(step.time_us);
  vp::limit_simulated_time(step.time_us + kLongestUs,
                           [] { tell(kHung, "it sleeps without an end"); });
  vp::when_power_is_cut([](const vp::PowerCut&) { tell(kCut, ""); });
  try {
    if (step.disturbance.has_value()) {
      vp::Phone phone(directory);
      vp::set_fault(phone, *step.disturbance);
    }
    const factory_daemon::Outcome outcome = carry_out(factory_daemon::open(directory), step);
    tell(outcome.is_done ? kDone : kNotDone, outcome.text);
  } catch (const std::exception& error) {
    tell(kNotDone, error.what());
  }
}

std::string read_all(const unique_fd& fd) {
  std::string all;
  std::array<char, 4096> piece;
  for (;;) {
    const ssize_t size = read(fd.get(), piece.data(), piece.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return all;
    all.append(piece.data(), static_cast<size_t>(size));
  }
}

/// What a process that was ended from outside leaves to be told of it.
Report report_of(const Step& step, const std::string& told, int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    if (signal == SIGKILL && step.is_struck_by(vp::Part::daemon)) return {End::killed, "killed"};
    if (signal == SIGALRM) return {End::hung, "it does not end"};
    return {End::crashed, std::string("signal ") + strsignal(signal)};
  }
  const std::string text = told.substr(std::min<size_t>(told.size(), 1));
  switch (told.empty() ? '\0' : told[0]) {
    case kDone:
      return {End::answered, text, true};
    case kNotDone:
      return {End::answered, text, false};
    case kCut:
      return {End::power_cut, "the power is cut"};
    case kHung:
      return {End::hung, text};
    default:
      return {End::crashed, "exit status " + std::to_string(WEXITSTATUS(status))};
  }
}

Report take(const fs::path& directory, const Step& step) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw vp::Error(strerror(errno));
  const unique_fd out(ends[0]);
  unique_fd in(ends[1]);
  const pid_t child = fork();
  if (child < 0) throw vp::Error(std::string("fork: ") + strerror(errno));
  if (child == 0) {
    tell_fd = in.get();
    be_daemon(directory, step);
  }
  in.reset();
  const std::string told = read_all(out);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return report_of(step, told, status);
}

void count(const Step& step, const Report& report, Counts& counts) {
  counts.days = static_cast<int>((step.time_us - kFirstDayUs) / kDayUs) + 1;
  counts.starts += step.is_start() ? 1 : 0;
  counts.commands += step.is_action(Kind::command) || step.is_action(Kind::at_line) ? 1 : 0;
  counts.kills += report.end == End::killed ? 1 : 0;
  const bool is_cut = report.end == End::power_cut || step.kind == Step::Kind::power_cut;
  counts.cuts += is_cut ? 1 : 0;
  const bool is_fault = step.disturbance.has_value() && !step.is_struck_by(vp::Part::daemon) &&
                        !step.is_struck_by(vp::Part::power);
  counts.faults += is_fault ? 1 : 0;
}

std::string shown_time(int64_t time_us) {
  const auto seconds = static_cast<time_t>(time_us / 1'000'000);
  tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> text{};
  strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &utc);
  return text.data();
}

std::string changes(const State& before, const State& now) {
  std::string text;
  const auto add = [&](const std::string& change) { text += (text.empty() ? "" : ", ") + change; };
  for (const auto& [key, value] : now) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != value) add(key + "=" + shown_value(value));
  }
  for (const auto& [key, value] : before) {
    if (now.count(key) == 0) add(key + " is gone");
  }
  return text.empty() ? "nothing changed" : text;
}

std::string line_of(const Step& step, const Report& report, const State& before, const State& now,
                    const std::optional<Failure>& failure) {
  std::string line = shown_time(step.time_us) + "  ";
  bool is_first = true;
  for (const std::string& each : command_lines(step)) {
    line += (is_first ? "" : "; ") + each;
    is_first = false;
  }
  line += "  -> " + report.answer + "  -> ";
  return line + (failure.has_value() ? "WRONG: " + text_of(*failure) : changes(before, now));
}

/// Times of day are the same wherever it runs.
void use_utc() {
  static_cast<void>(setenv("TZ", "UTC", 1));  // only memory could lack, and then nothing works
  tzset();
}

/// The reboot that a step has asked for; nothing where it has not.
std::optional<Report::Reboot> reboot_in(const std::vector<vp::Event>& events, const Step& step) {
  for (const vp::Event& event : events) {
    if (event.kind == vp::kRebootEvent) {
      return Report::Reboot{event.time_us - step.time_us, event.detail};
    }
  }
  return std::nullopt;
}

}  // namespace

Lived live(const Life& life, const fs::path& directory, const Watch& watch) {
  use_utc();
  Lived lived;
  vp::create(directory, life.product->profile, true);
  const auto fresh = [&] {
    vp::Phone phone(directory);
    return std::pair(look(phone), vp::last_event(phone));
  }();
  Model model(*life.product, fresh.first);
  int64_t last_event = fresh.second;
  for (size_t i = 0; i < life.steps.size(); ++i) {
    const Step& step = life.steps[i];
    Report report = take(directory, step);
    // Closed again before the next process begins: a database is not to be taken into one.
    vp::Phone phone(directory);
    report.reboot = reboot_in(vp::events(phone, last_event), step);
    last_event = vp::last_event(phone);
    if (step.disturbance.has_value()) vp::clear_faults(phone);
    if (watch.after) watch.after(i, phone);
    const State before = model.last();
    const State now = look(phone);
    lived.failure = model.check(step, report, now);
    count(step, report, lived.counts);
    if (watch.line) watch.line(line_of(step, report, before, now, lived.failure));
    if (!lived.failure.has_value()) continue;
    lived.failure->step = i;
    break;
  }
  return lived;
}

}  // namespace simulation
