// power: whether the phone is on, and switching it off.
#include <array>
#include <cstdio>
#include <memory>

#include "daemon/power_off.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/power/unflushed.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::Moment;
using factory_daemon::PowerOff;

Json end_json(const std::optional<vp::Event>& end) {
  if (!end.has_value()) return nullptr;
  return {{"kind", end->kind}, {"detail", end->detail}, {"time_us", end->time_us}};
}

std::string end_text(const vp::Event& end) {
  return end.kind + ": " + end.detail + ", at " + shown_time(end.time_us);
}

std::string state_text(const vp::PowerState& power) {
  if (!power.last_end.has_value()) return "on, since it was made";
  if (!power.is_off) return "on, since " + shown_time(power.last_end->time_us);
  return "switched off at " + shown_time(power.last_end->time_us) +
         "; the next command finds it switched on again";
}

Json unflushed_json(const std::vector<vp::UnflushedFile>& files) {
  Json list = Json::array();
  for (const vp::UnflushedFile& file : files) {
    list.push_back({{"path", file.path}, {"data", file.data}, {"name", file.name}});
  }
  return list;
}

void show_power(const Invocation& invocation) {
  const vp::PowerState power = vp::power_state(invocation.open_phone());
  const std::vector<vp::UnflushedFile> unflushed = vp::unflushed_files(invocation.open_phone());
  if (invocation.json) {
    Json locks = Json::array();
    for (const vp::WakeLock& lock : power.wake_locks) {
      locks.push_back({{"name", lock.name}, {"since_us", lock.since_us}});
    }
    return print({{"state", power.is_off ? "off" : "on"},
                  {"last_end", end_json(power.last_end)},
                  {"wake_locks", locks},
                  {"unflushed", unflushed_json(unflushed)}});
  }
  std::string locks;
  for (const vp::WakeLock& lock : power.wake_locks) {
    locks += (locks.empty() ? "" : "; ") + lock.name + ", since " + shown_time(lock.since_us);
  }
  printf("state        %s\n", state_text(power).c_str());
  printf("last end     %s\n", power.last_end ? end_text(*power.last_end).c_str() : "none yet");
  printf("wake locks   %s\n", locks.empty() ? "none" : locks.c_str());
  if (unflushed.empty()) puts("not flushed  nothing");
  for (const vp::UnflushedFile& file : unflushed) {
    const char* what = !file.name ? "data" : file.data ? "data and name" : "name";
    printf("not flushed  %s: %s\n", harmless(file.path).c_str(), what);
  }
}

/// What is told of a moment.
const char* word_of(Moment::Kind kind) {
  switch (kind) {
    case Moment::Kind::note:
      return "hand";
    case Moment::Kind::line:
      return "log";
    case Moment::Kind::property:
      return "property";
    case Moment::Kind::node:
      return "node";
    case Moment::Kind::event:
      return "event";
    case Moment::Kind::request:
    case Moment::Kind::sim:
    case Moment::Kind::no_sim_answer:
      break;
  }
  return "request";
}

/// A run of moments, and how often it comes in a row.
struct Run {
  size_t length = 1;
  size_t times = 1;
};

/// The run that begins at a moment: that of which the repetitions take the most moments together.
Run run_at(const std::vector<Moment>& moments, size_t begin) {
  constexpr size_t kLongest = 16;
  const auto is_same = [&](size_t a, size_t b) {
    return moments[a].kind == moments[b].kind && moments[a].text == moments[b].text;
  };
  Run best;
  for (size_t length = 1; length <= kLongest; ++length) {
    size_t same = 0;
    while (begin + length + same < moments.size() && is_same(begin + same, begin + length + same)) {
      ++same;
    }
    const size_t times = same / length + 1;
    if (times > 1 && times * length > best.times * best.length) best = {length, times};
  }
  return best;
}

std::string seconds(int64_t us) {
  std::array<char, 32> text{};
  snprintf(text.data(), text.size(), "%.1f s", static_cast<double>(us) / 1e6);
  return text.data();
}

void print_steps(const PowerOff& off) {
  TextTable table({"AT", "WHAT", "STEP"});
  for (size_t at = 0; at < off.moments.size();) {
    const Run run = run_at(off.moments, at);
    for (size_t i = at; i < at + run.length; ++i) {
      const Moment& moment = off.moments[i];
      table.add({seconds(moment.time_us - off.began_us), word_of(moment.kind), moment.text});
    }
    if (run.times > 1) {
      table.add({"", "",
                 "... " + std::to_string(run.times) + " times in all, each of these " +
                     std::to_string(run.length)});
    }
    at += run.length * run.times;
  }
  table.print();
}

Json power_off_json(const PowerOff& off) {
  Json steps = Json::array();
  for (const Moment& moment : off.moments) {
    steps.push_back({{"ms", (moment.time_us - off.began_us) / 1000},
                     {"what", word_of(moment.kind)},
                     {"step", moment.text}});
  }
  return {{"result", off.result}, {"steps", steps}, {"end", end_json(off.end)}};
}

void power_off(Invocation& invocation, const std::string& pull_after, bool voltage_drop) {
  constexpr size_t kLongestSeconds = 3600;
  const size_t pulled_after_s = count_of(pull_after, "--pull-after");
  if (pulled_after_s > kLongestSeconds) {
    throw UsageError("the cable is pulled after " + std::to_string(kLongestSeconds) +
                     " seconds at most, not " + pull_after);
  }
  const PowerOff off = factory_daemon::power_off_with_cable(
      invocation.open_phone(), {static_cast<int64_t>(pulled_after_s) * 1'000'000, voltage_drop});
  if (!off.end.has_value()) invocation.exit_status = kCommandFailed;
  if (invocation.json) return print(power_off_json(off));
  printf(
      "A phone waits without an end for its cable to be pulled. Here one that is there is pulled\n"
      "after %zu s (--pull-after).\n\n",
      pulled_after_s);
  print_steps(off);
  puts("");
  const std::string outcome =
      off.end.has_value() ? "is switched off, by " + off.end->detail : "stays on";
  printf("power_off_with_cable() has returned %d. The phone %s.\n", off.result, outcome.c_str());
}

void add_off_with_cable(Verb& group, Invocation& invocation) {
  struct Options {
    std::string pull_after = "10";
    bool voltage_drop = false;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      group, "off-with-cable",
      "Power the phone off while its cable is attached, and tell step by step",
      "  fcx power off-with-cable                     the cable is pulled after 10 s\n"
      "  fcx power off-with-cable --pull-after 3\n"
      "  fcx power off-with-cable --voltage-drop      its voltage drops before the USB state "
      "changes\n"
      "  fcx usb disconnect && fcx power off-with-cable\n"
      "\n"
      "The exit status is 0 when the phone was switched off, and 3 when it stayed on.",
      [&invocation, options] {
        power_off(invocation, options->pull_after, options->voltage_drop);
      });
  command
      .add_option("--pull-after", options->pull_after,
                  "Pull the cable after so many seconds of the phone's clock; 10 when not given")
      .type_name("SECONDS");
  command.add_flag("--voltage-drop", options->voltage_drop, "Let its voltage drop first");
}

}  // namespace

void add_power(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "power",
      "Whether the phone is on, how its last uptime ended, what keeps it awake, and what it has "
      "not "
      "flushed",
      "  fcx power    \"switched off\" is what the last one left: whoever uses it switches it on",
      {});
  group.callback([&group, &invocation] {
    if (!group.has_subcommand()) show_power(invocation);
  });
  add_off_with_cable(group, invocation);
}

}  // namespace cli
