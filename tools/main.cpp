// fcx: a virtual phone and the factory commands, from the command line.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "fcx/version.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/power_cut_command.h"
#include "tools/terminal.h"
#include "tools/text.h"
#include "virtual_phone/core/clock.h"

namespace {

constexpr char kDescription[] =
    "fcx: factory commands on a virtual phone.\n"
    "\n"
    "A virtual phone is a directory with a phone's properties, factory items, files and log. "
    "Commands sent to it are answered by the library that ships on the phone.";

constexpr char kFooter[] =
    "First steps:\n"
    "  fcx init                       make a phone with its factory data written\n"
    "  fcx commands                   what it can be asked\n"
    "  fcx commands csn               all about some of that, with examples\n"
    "  fcx send get_serial_number     ask it\n"
    "  fcx send 4018 123456789012345  write the CSN; `fcx send 4018` reads it\n"
    "  fcx at 'AT%BTAD?'              ask it for an address, over its AT line\n"
    "  fcx status                     which phone that is, and what differs on it\n"
    "  fcx item list                  what is stored now\n"
    "  fcx modem                      what its modem keeps, and was asked\n"
    "  fcx sim                        the SIM that is in it, and how to change it\n"
    "  fcx card                       its SD card, in or out\n"
    "  fcx ntcode get                 the carriers that it may belong to\n"
    "  fcx boot                       start it, and see which carrier it finds\n"
    "  fcx trace send 4010            what the library does to its platform for that\n"
    "  fcx version                    its versions, and where each piece is from\n"
    "  fcx usb                        its cable; `fcx power` says if it is on\n"
    "  fcx capture shot.png           the screen, as the library captures it\n"
    "  fcx screen show shot.png       put a picture on its display\n"
    "  fcx log                        what the library wrote to the log\n"
    "  fcx logs collect               collect its logs into an archive\n"
    "  fcx fault item 9 fail          let every access to item 9 fail\n"
    "  fcx explore boot               try all that can go wrong with a start\n"
    "  fcx power-cut                  cut its power, and see what it has lost\n"
    "  fcx serve --socket /tmp/phone  serve it to station software\n"
    "  fcx station plan.yaml          run a test plan, as at a production line\n"
    "  fcx ledger find IMEI           the unit that has an identity\n"
    "\n"
    "Environment:\n"
    "  FCX_PHONE       the phone's directory; else it is fcx/phone in XDG_STATE_HOME, else\n"
    "                  in .local/state of HOME\n"
    "  FCX_LEDGER      the ledger's file or URL; else it is fcx/ledger.db in XDG_STATE_HOME, else\n"
    "                  in .local/state of HOME\n"
    "  FCX_LEDGER_TIMEOUT  the seconds that a ledger's server may take; 10, when not given\n"
    "  FCX_STATION     what this station is called there; the machine's name, when not given\n"
    "  FCX_CLOCK       fast: nobody waits for the phone, when not given; real: as on a phone\n"
    "  COLUMNS         how wide the terminal is, which says so itself when this is not given\n"
    "  NO_COLOR        when it is not empty, nothing is bold or red; the same with TERM=dumb\n"
    "\n"
    "With --json every command prints one JSON object, and for an error {\"error\": {\"message\",\n"
    "\"exit_status\"}}, on standard output. \"masked\" marks what is shown in part, "
    "\"complaints\"\n"
    "are what standard error would have had.\n"
    "\n"
    "Exit status:\n"
    "  0  done\n"
    "  1  the phone or the ledger could not be used, or a file not be read or written; or what\n"
    "     was asked for is not there; standard error says why\n"
    "  2  the command line makes no sense, or a test plan has errors\n"
    "  3  the factory command was delivered, and its result is not 0 or its opcode unknown; or\n"
    "     an AT line was answered ERROR; or carrier set-up could not be started; or the phone\n"
    "     was not switched off; or logs were not collected, handed out or erased; or an archive\n"
    "     is damaged, or none, and was not unpacked; or a trace is another than it must be; or\n"
    "     a verdict is bad; or a fault has cut the phone's power; or an identity is another\n"
    "     unit's; or a unit has not passed its test plan";

/// Says that there is no memory, without taking any.
int report_no_memory(bool json) {
  constexpr char kOutOfMemory[] = "out of memory";
  if (json) {
    printf("{\"error\": {\"message\": \"%s\", \"exit_status\": %d}}\n", kOutOfMemory,
           cli::kPhoneUnusable);
    // What is not written shows as no object.
    static_cast<void>(fflush(stdout));
  } else {
    fprintf(stderr, "fcx: %s\n", kOutOfMemory);
  }
  return cli::kPhoneUnusable;
}

/// Says why the tool ends so: on standard error, or with --json as an object, and no word beside
/// it.
int report(const cli::Invocation& invocation, const char* message, int exit_status) {
  if (!invocation.json) {
    fprintf(stderr, "%s %s\n", cli::failure("fcx:", stderr).c_str(),
            cli::harmless(message).c_str());
    return exit_status;
  }
  cli::Json error = {{"message", message}, {"exit_status", exit_status}};
  if (!invocation.complaints.empty()) error["complaints"] = invocation.complaints;
  cli::print({{"error", error}});
  // What is not written shows as no object.
  static_cast<void>(fflush(stdout));
  return exit_status;
}

/// Sets the clock that $FCX_CLOCK asks for. Nobody wants to wait for a phone that is not there, so
/// the tool runs on the fast one otherwise.
void choose_clock() {
  const char* variable = getenv("FCX_CLOCK");
  // An empty variable is as none.
  const std::string wanted = variable == nullptr || *variable == '\0' ? "fast" : variable;
  if (wanted != "fast" && wanted != "real") {
    throw cli::UsageError("FCX_CLOCK is \"fast\" or \"real\", not \"" + wanted + "\"");
  }
  virtual_phone::set_clock(wanted == "fast" ? virtual_phone::Clock::fast
                                            : virtual_phone::Clock::real);
}

/// Lets the first allocation that fails still throw: the exception takes memory too, and the
/// reserve that libc++abi has for it is not aligned as the unwinder requires.
void keep_memory_for_errors() {
  static std::vector<char> reserve(std::size_t{64} * 1024);
  std::set_new_handler([] {
    std::set_new_handler(nullptr);
    std::vector<char>().swap(reserve);
    throw std::bad_alloc();
  });
}

/// Told of without an invocation, where the process ends from anywhere.
const cli::Invocation* running = nullptr;

/// What clears away a large object needs memory itself, and ends the process where there is none.
void install_end_without_memory() {
  static const std::terminate_handler other = std::set_terminate([] {
    try {
      if (const auto error = std::current_exception()) std::rethrow_exception(error);
    } catch (const std::bad_alloc&) {
      _exit(report_no_memory(running->json));
    } catch (...) {
      // For the handler that was there.
    }
    other();
  });
}

/// Results that could not be written are no success.
int flushed(int exit_status) {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return exit_status;
  fputs("fcx: the output could not be written\n", stderr);
  return cli::kPhoneUnusable;
}

int run(int argc, char** argv, cli::Invocation& invocation) {
  const cli::Program program{"fcx", kDescription, kFooter, fcx::library_version()};
  return cli::run_command_line(program, argc, argv, invocation, [&](cli::Verb& tool) {
    cli::add_help(tool, invocation);
    cli::add_init(tool, invocation);
    cli::add_status(tool, invocation);
    cli::add_demo(tool, invocation);
    cli::add_commands(tool, invocation);
    cli::add_send(tool, invocation);
    cli::add_at(tool, invocation);
    cli::add_prop(tool, invocation);
    cli::add_item(tool, invocation);
    cli::add_modem(tool, invocation);
    cli::add_sim(tool, invocation);
    cli::add_ntcode(tool, invocation);
    cli::add_card(tool, invocation);
    cli::add_boot(tool, invocation);
    cli::add_trace(tool, invocation);
    cli::add_version(tool, invocation);
    cli::add_events(tool, invocation);
    cli::add_log(tool, invocation);
    cli::add_logs(tool, invocation);
    cli::add_fault(tool, invocation);
    cli::add_explore(tool, invocation);
    cli::add_reboot(tool, invocation);
    cli::add_power(tool, invocation);
    cli::add_power_cut(tool, invocation);
    cli::add_usb(tool, invocation);
    cli::add_screen(tool, invocation);
    cli::add_capture(tool, invocation);
    cli::add_simulate(tool, invocation);
    cli::add_serve(tool, invocation);
    cli::add_station(tool, invocation);
    cli::add_ledger(tool, invocation);
    cli::add_completion(tool, invocation);
  });
}

}  // namespace

int main(int argc, char** argv) {
  keep_memory_for_errors();
  cli::Invocation invocation;
  running = &invocation;
  install_end_without_memory();
  cli::tell_of_power_cuts(invocation);
  try {
    invocation.json = cli::asks_for_json(argc, argv);
    choose_clock();
    return flushed(run(argc, argv, invocation));
  } catch (const cli::UsageError& error) {
    return report(invocation, error.what(), cli::kUsage);
  } catch (const virtual_phone::Refused& error) {
    return report(invocation, error.what(), cli::kUsage);
  } catch (const std::bad_alloc&) {
    return report_no_memory(invocation.json);
  } catch (const std::exception& error) {
    return report(invocation, error.what(), cli::kPhoneUnusable);
  }
}
