// Sends every command once to be counted. To be run by callgrind, which then has one dump for each
// with the title "OPCODE NAME ARGUMENT"; scripts/bench --instructions does. What is counted is what
// the calling thread does between the command's call and its return.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <exception>

#include "benchmarks/bench_phone.h"
#include "benchmarks/healthy_commands.h"
#include "fcx/background.h"
#include "fcx/modem_link.h"
#include "fcx/service_handler.h"
#include "virtual_phone/core/clock.h"

namespace {

void count(const bench::HealthyCommand& command) {
  const std::string title = std::to_string(command.row->opcode) + " " + bench::name_of(command) +
                            " " + bench::argument_of(command);
  bench::Records records(command);
  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
  service_handler(&records.request, &records.response);
  CALLGRIND_TOGGLE_COLLECT;
  CALLGRIND_DUMP_STATS_AT(title.c_str());
  fcx::wait_for_background_work();
}

}  // namespace

int main() {
  bool is_healthy = true;
  try {
    const bench::Phone phone(bench::quiet_directory(), "instructions");
    bench::drop_log_lines();
    // A restart's thread sleeps a second.
    virtual_phone::set_clock(virtual_phone::Clock::fast);
    init_modem_interface();
    for (const bench::HealthyCommand& command : bench::healthy_commands()) {
      // What is found once, and loaded, is there then.
      is_healthy &= bench::send(command);
      count(command);
    }
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return is_healthy ? 0 : 1;
}
