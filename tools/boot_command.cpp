// boot: a start of the phone, and why it decided as it did.
#include <cstdio>
#include <memory>
#include <string>

#include "tools/action_verbs.h"
#include "tools/boot_report.h"
#include "tools/commands.h"
#include "tools/connect.h"
#include "tools/progress.h"
#include "tools/text.h"
#include "virtual_phone/core/clock.h"

namespace cli {
namespace {

using factory_daemon::Action;

struct Options {
  bool real_time = false;
  bool full = false;
};

factory_daemon::Boot boot_and_wait(const Invocation& invocation, Action::Kind kind,
                                   bool in_real_time) {
  virtual_phone::Phone& phone = invocation.open_phone();
  const auto uptime = kind == Action::Kind::daemon_start ? factory_daemon::Uptime::goes_on
                                                         : factory_daemon::Uptime::begins;
  if (!in_real_time) return factory_daemon::boot(phone, uptime);
  virtual_phone::set_clock(virtual_phone::Clock::real);
  const Progress progress([] { return std::string("set-up is running"); });
  return factory_daemon::boot(phone, uptime);
}

/// The same by a server, in its time, and what it prints.
void boot_by_server(Invocation& invocation, const Connect& connect, Action::Kind kind,
                    bool is_full) {
  const auto answer = connect.client(invocation)
                          .start({kind == Action::Kind::daemon_start, invocation.json, is_full});
  if (!answer.is_started) invocation.exit_status = kCommandFailed;
  printf("%s\n", harmless(answer.report).c_str());
}

}  // namespace

void add_boot(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      tool, "boot", "Start the phone as its daemon does, and explain what it decided",
      "  fcx boot                the phone is switched off and on, and set up for its carrier\n"
      "  fcx boot --daemon       the daemon alone starts again; the phone stays on\n"
      "  fcx boot --real-time    with the waits of a phone, up to 25 seconds\n"
      "  fcx boot --full         ICCIDs whole\n"
      "  fcx boot --connect S    by a running server, see `fcx serve`\n"
      "\n"
      "Shown are what set-up had to go by, what the start did, which properties are others than\n"
      "before it, and the decision. A power-off with its cable attached that was under way when "
      "the\n"
      "daemon alone starts again is taken up, and the cable is pulled after 10 s. The exit status\n"
      "is 0 when set-up came to its end or waited as long as it does for the SIM, and 3 when it\n"
      "could not be started.",
      {});
  auto connect = takes_connection(command);
  command.callback([&invocation, options, connect, read = takes_start(command)] {
    if (connect->is_asked_for()) {
      if (options->real_time) throw UsageError("a server has its own clock: no --real-time");
      return boot_by_server(invocation, *connect, read().kind, options->full);
    }
    const auto boot = boot_and_wait(invocation, read().kind, options->real_time);
    invocation.json ? print(boot_json(boot, options->full)) : print_boot(boot, options->full);
    if (boot.outcome == factory_daemon::BootOutcome::not_started)
      invocation.exit_status = kCommandFailed;
  });
  command.add_flag("--real-time", options->real_time, "Wait as long as a phone does");
  command.add_flag("--full", options->full, "Show ICCIDs whole");
}

}  // namespace cli
