// init, events, log, reboot: the phone as a whole.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include "tools/action_verbs.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/log_filter.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/factory_reset.h"
#include "virtual_phone/core/log_file.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// The last `most` of a list.
template <typename Row>
void keep_last(std::vector<Row>& rows, size_t most) {
  if (rows.size() > most) rows.erase(rows.begin(), rows.end() - static_cast<ptrdiff_t>(most));
}

/// A line, taken apart; a line in another form is all message.
Json log_entry(const std::string& line) {
  const auto found = log_line(line);
  if (!found.has_value()) return {{"time", Json()}, {"message", line}};
  return {{"time", found->time}, {"pid", found->pid},
          {"tid", found->tid},   {"priority", std::string(1, found->priority)},
          {"tag", found->tag},   {"message", found->message}};
}

/// Prints what is added to the log and passes, until the tool is interrupted.
[[noreturn]] void follow(vp::LogReader& log, const LogFilter& filter) {
  while (true) {
    std::istringstream lines(log.appended());
    for (std::string line; std::getline(lines, line);) {
      if (filter.passes(line)) puts(line.c_str());
    }
    if (fflush(stdout) != 0) exit(kPhoneUnusable);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

struct LogOptions {
  std::optional<std::string> most;
  std::optional<std::string> tag;
  std::optional<std::string> priority;
  std::optional<std::string> text;
  std::optional<std::string> since;
  std::optional<std::string> until;
  bool follow = false;
};

LogFilter filter_of(const LogOptions& options) {
  LogFilter filter;
  filter.tag = options.tag;
  filter.text = options.text;
  if (options.priority) filter.priority = log_priority(*options.priority);
  if (options.since) filter.since_us = log_time(*options.since, "--since", false);
  if (options.until) filter.until_us = log_time(*options.until, "--until", true);
  return filter;
}

void show_log(const Invocation& invocation, const LogOptions& options) {
  if (options.follow && invocation.json) {
    throw UsageError("--follow prints lines, not one JSON object");
  }
  const size_t most = options.most ? count_of(*options.most, "-n") : SIZE_MAX;
  const LogFilter filter = filter_of(options);
  vp::LogReader log(invocation.open_phone().log_file());
  auto lines = log.last_lines(filter.is_empty() ? most : SIZE_MAX);
  const auto hidden = [&](const std::string& line) { return !filter.passes(line); };
  lines.erase(std::remove_if(lines.begin(), lines.end(), hidden), lines.end());
  keep_last(lines, most);
  if (invocation.json) {
    Json list = Json::array();
    for (const auto& line : lines) list.push_back(log_entry(line));
    return print({{"entries", list}});
  }
  for (const auto& line : lines) puts(line.c_str());
  if (options.follow) follow(log, filter);
}

void show_events(const Invocation& invocation, const std::optional<std::string>& last) {
  const size_t most = last ? count_of(*last, "-n") : SIZE_MAX;
  auto events = vp::events(invocation.open_phone());
  keep_last(events, most);
  if (invocation.json) {
    Json list = Json::array();
    for (const auto& event : events) {
      list.push_back({{"id", event.id},
                      {"time_us", event.time_us},
                      {"kind", event.kind},
                      {"detail", event.detail}});
    }
    return print({{"events", list}});
  }
  if (events.empty()) {
    puts(most == 0 ? "no event is shown" : "nothing has happened yet");
    return;
  }
  TextTable table({"ID", "TIME", "KIND", "DETAIL"});
  for (const auto& event : events) {
    table.add({std::to_string(event.id), shown_time(event.time_us), event.kind, event.detail});
  }
  table.print();
}

Choices profile_choices() {
  Choices choices;
  for (const vp::Profile& profile : vp::profiles()) {
    choices.push_back({profile.name, profile.meaning});
  }
  return choices;
}

/// "Profiles:" and a row each, for the end of help.
std::string profile_help() {
  std::string help = "\n\nProfiles:";
  for (const Choice& profile : profile_choices()) {
    help += "\n  " + profile.text + "  " + profile.meaning;
  }
  return help;
}

}  // namespace

void add_init(Verb& tool, Invocation& invocation) {
  struct Options {
    std::string profile = "single";
    bool force = false;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      tool, "init", "Make a virtual phone",
      "  fcx init                            a phone with its factory data written\n"
      "  fcx init --profile blank --force    replace it by one where nothing was written\n"
      "  fcx --phone /tmp/p init             a phone in a directory of your own" +
          profile_help(),
      [&invocation, options] {
        vp::create(invocation.directory(), options->profile, options->force);
        const std::string directory = invocation.open_phone().directory().string();
        if (invocation.json) {
          print({{"phone", directory}, {"profile", options->profile}});
        } else {
          printf("made a phone (profile %s) in %s\n", options->profile.c_str(), directory.c_str());
        }
      });
  command.add_option("--profile", options->profile, "What it is: single, when not given; see below")
      .type_name("NAME")
      .completes(profile_choices());
  command.add_flag("--force", options->force, "Replace the phone that is there");
}

void add_events(Verb& tool, Invocation& invocation) {
  auto most = std::make_shared<std::optional<std::string>>();
  Verb& command =
      add_command(tool, "events", "What happened to the phone: reboots, wake locks and the like",
                  "  fcx events\n"
                  "  fcx events -n 5    the last 5",
                  [&invocation, most] { show_events(invocation, *most); });
  command.add_option("-n,--lines", *most, "Show the last N events").type_name("N");
}

void add_log(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<LogOptions>();
  Verb& command = add_command(
      tool, "log", "What was written to the phone's log",
      "  fcx log -n 20                            the last 20 lines\n"
      "  fcx log --follow                         and then what comes, until Ctrl-C\n"
      "  fcx log --priority W --since 10m         warnings and errors of the last ten minutes\n"
      "  fcx log --tag Fcx --text sbp -n 5        the last 5 lines that are both\n"
      "  fcx log --since 12:00:05 --until 12:01   of today\n"
      "  fcx log --since '06-01 12:00'            from that day on\n"
      "\n"
      "A line is shown that passes all that is given, and -n counts those. A time is on the "
      "phone's\n"
      "clock: 10m is ten minutes ago (s, m, h, d), and a time of day is today's. --until takes\n"
      "in all of the second, or the minute, that it names.",
      [&invocation, options] { show_log(invocation, *options); });
  command.add_option("-n,--lines", options->most, "Print the last N lines").type_name("N");
  command.add_flag("--follow", options->follow, "Go on with what is written from now on");
  command.add_option("--tag", options->tag, "Lines with this tag, whole and in its case")
      .type_name("TAG");
  command.add_option("--priority", options->priority, "Lines as urgent as this: V, D, I, W, E or F")
      .type_name("LETTER")
      .completes(log_priorities());
  command.add_option("--text", options->text, "Lines with this in their message, in whatever case");
  command.add_option("--since", options->since, "Lines from this time on").type_name("TIME");
  command.add_option("--until", options->until, "Lines up to this time").type_name("TIME");
}

void add_reboot(Verb& tool, Invocation& invocation) {
  Verb& command = add_command(
      tool, "reboot", "Switch the phone off and on",
      "  fcx reboot                   properties that do not persist are gone, build properties\n"
      "                               are back\n"
      "  fcx reboot 'test 12 begins'  the event says why",
      {});
  command.callback([&invocation, read = takes_restart(command)] {
    const std::string reason = read().bytes;
    vp::Phone& phone = invocation.open_phone();
    const std::string reset = vp::noted_factory_reset(phone);
    vp::restart(phone, reason);
    if (invocation.json) {
      return print({{"restarted", true},
                    {"reason", reason},
                    {"factory_reset", reset.empty() ? Json() : Json(reset)}});
    }
    puts("restarted");
    if (!reset.empty()) printf("factory reset carried out: %s\n", reset.c_str());
  });
}

}  // namespace cli
