// init, events, log, reboot: the phone as a whole.
#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>
#include <thread>

#include "tools/commands.h"
#include "tools/json.h"
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

/// A line in the form "11-21 06:26:00.123  1234  1234 I Tag     : message", taken apart.
Json log_entry(const std::string& line) {
  std::istringstream in(line);
  std::string date, time, priority;
  int pid = 0, tid = 0;
  in >> date >> time >> pid >> tid >> priority;
  in.get();
  std::string rest;
  std::getline(in, rest);
  const size_t colon = rest.find(": ");
  std::string tag = rest.substr(0, colon);
  tag.erase(tag.find_last_not_of(' ') + 1);
  return {{"time", date + " " + time},
          {"pid", pid},
          {"tid", tid},
          {"priority", priority},
          {"tag", tag},
          {"message", colon == std::string::npos ? "" : rest.substr(colon + 2)}};
}

/// Prints what is added to the log, until the tool is interrupted.
[[noreturn]] void follow(vp::LogReader& log) {
  while (true) {
    const std::string lines = log.appended();
    fwrite(lines.data(), 1, lines.size(), stdout);
    if (fflush(stdout) != 0) exit(kPhoneUnusable);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

std::string profile_list() {
  std::string list;
  for (const vp::Profile& profile : vp::profiles()) {
    list += (list.empty() ? "" : "; ") + std::string(profile.name) + ": " + profile.meaning;
  }
  return list;
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
      "  fcx --phone /tmp/p init             a phone in a directory of your own",
      [&invocation, options] {
        vp::create(invocation.directory(), options->profile, options->force);
        const std::string directory = invocation.open_phone().directory().string();
        if (invocation.json) {
          print({{"phone", directory}, {"profile", options->profile}});
        } else {
          printf("made a phone (profile %s) in %s\n", options->profile.c_str(), directory.c_str());
        }
      });
  command.add_option("--profile", options->profile, profile_list());
  command.add_flag("--force", options->force, "Replace the phone that is there");
}

void add_events(Verb& tool, Invocation& invocation) {
  add_command(tool, "events", "What happened to the phone: reboots, wake locks and the like",
              "  fcx events", [&invocation] {
                const auto events = vp::events(invocation.open_phone());
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
                  puts("nothing has happened yet");
                  return;
                }
                TextTable table({"ID", "TIME", "KIND", "DETAIL"});
                for (const auto& event : events) {
                  table.add({std::to_string(event.id), shown_time(event.time_us), event.kind,
                             event.detail});
                }
                table.print();
              });
}

void add_log(Verb& tool, Invocation& invocation) {
  struct Options {
    std::optional<std::string> most;
    bool follow = false;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(tool, "log", "What was written to the phone's log",
                              "  fcx log -n 20       the last 20 lines\n"
                              "  fcx log --follow    and then what comes, until Ctrl-C",
                              [&invocation, options] {
                                if (options->follow && invocation.json) {
                                  throw UsageError("--follow prints lines, not one JSON object");
                                }
                                const auto most =
                                    options->most ? count_of(*options->most, "-n") : SIZE_MAX;
                                vp::LogReader log(invocation.open_phone().log_file());
                                const auto lines = log.last_lines(most);
                                if (invocation.json) {
                                  Json list = Json::array();
                                  for (const auto& line : lines) list.push_back(log_entry(line));
                                  return print({{"entries", list}});
                                }
                                for (const auto& line : lines) puts(line.c_str());
                                if (options->follow) follow(log);
                              });
  command.add_option("-n,--lines", options->most, "Print the last N lines").type_name("N");
  command.add_flag("--follow", options->follow, "Go on with what is written from now on");
}

void add_reboot(Verb& tool, Invocation& invocation) {
  auto reason = std::make_shared<std::string>("by hand");
  Verb& command = add_command(
      tool, "reboot", "Switch the phone off and on",
      "  fcx reboot    properties that do not persist are gone, build properties are back",
      [&invocation, reason] {
        vp::Phone& phone = invocation.open_phone();
        const std::string reset = vp::noted_factory_reset(phone);
        vp::restart(phone, *reason);
        if (invocation.json) {
          return print({{"restarted", true},
                        {"reason", *reason},
                        {"factory_reset", reset.empty() ? Json() : Json(reset)}});
        }
        puts("restarted");
        if (!reset.empty()) printf("factory reset carried out: %s\n", reset.c_str());
      });
  command.add_option("reason", *reason, "Recorded with the event");
}

}  // namespace cli
