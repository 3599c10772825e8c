// sim: the SIM in the phone.
#include <cstdio>
#include <memory>

#include "tools/commands.h"
#include "tools/json.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/modem/sim.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

void show_sim(const Invocation& invocation, vp::Phone& phone, bool full) {
  const vp::Sim sim = vp::sim(phone);
  const int64_t wait = vp::polls_to_wait(phone);
  const bool has_iccid = sim.state == vp::SimState::inserted || !sim.iccid.empty();
  const auto as_asked = [full](const std::string& text) { return full ? text : masked(text); };
  const std::string iccid = as_asked(shown(sim.iccid));
  if (invocation.json) {
    Json object = {{"state", vp::name_of(sim.state)},
                   {"iccid", has_iccid ? Json(iccid) : Json()},
                   {"imsi", sim.imsi.empty() ? Json() : Json(as_asked(sim.imsi))},
                   {"delay", sim.not_yet},
                   {"polls_to_wait", wait}};
    if (has_iccid && !full) object["masked"] = true;
    return print(object);
  }
  printf("state          %s\n", vp::name_of(sim.state));
  if (has_iccid) printf("iccid          %s\n", iccid.c_str());
  if (!sim.imsi.empty()) printf("imsi           %s\n", as_asked(sim.imsi).c_str());
  printf("polls to wait  %lld\n", static_cast<long long>(wait));
  printf("delay          %lld polls after each restart\n", static_cast<long long>(sim.not_yet));
}

/// Lets `change` have the SIM that is there, and shows what came of it.
template <typename Change>
void change_sim(const Invocation& invocation, bool full, Change change) {
  vp::Phone& phone = invocation.open_phone();
  vp::Sim sim = vp::sim(phone);
  change(sim);
  vp::set_sim(phone, sim);
  show_sim(invocation, phone, full);
}

void add_insert(Verb& group, Invocation& invocation) {
  struct Options {
    std::string iccid;
    std::string imsi;
    bool any = false;
  };
  auto options = std::make_shared<Options>();
  Verb& insert = add_command(
      group, "insert", "Put a SIM in, in place of one that is there",
      "  fcx sim insert 8901410000000000001      18 to 20 digits, f after them up to 20\n"
      "  fcx sim insert --any 8901               as from a SIM that was written badly\n"
      "  fcx sim insert --any hex:00ff\n"
      "  fcx sim insert 8901410000000000001 --imsi 310410123456789\n"
      "\n"
      "Without an IMSI the SIM does not tell one: AT+CIMI is answered ERROR.",
      [&invocation, options] {
        std::string iccid = options->iccid;
        if (options->any) {
          iccid = bytes_of(iccid);
        } else {
          vp::check_iccid(iccid);
        }
        if (!options->imsi.empty()) vp::check_imsi(options->imsi);
        change_sim(invocation, true, [&](vp::Sim& sim) {
          sim.state = vp::SimState::inserted;
          sim.iccid = iccid;
          sim.imsi = options->imsi;
        });
      });
  insert.add_option("iccid", options->iccid, "Its ICCID").required();
  insert.add_option("--imsi", options->imsi, "Its IMSI, 6 to 15 digits").type_name("DIGITS");
  insert.add_flag("--any", options->any, "Take any text, or hex:BYTES, of at most 2048 bytes");
}

}  // namespace

void add_sim(Verb& tool, Invocation& invocation) {
  auto full = std::make_shared<bool>(false);
  Verb& group =
      add_command(tool, "sim", "Look at the SIM, and change it",
                  "  fcx sim                               the SIM, its ICCID shown in part\n"
                  "  fcx sim insert 8901410000000000001    put one in\n"
                  "  fcx sim remove                        take it out\n"
                  "  fcx sim error                         it cannot be read\n"
                  "  fcx sim delay 3                       the first 3 polls come too early",
                  {});
  group.callback([&group, &invocation, full] {
    if (!group.has_subcommand()) show_sim(invocation, invocation.open_phone(), *full);
  });
  group.add_flag("--full", *full, "Show the ICCID whole");
  add_insert(group, invocation);
  add_command(group, "remove", "Take the SIM out", "  fcx sim remove", [&invocation, full] {
    change_sim(invocation, *full, [](vp::Sim& sim) {
      sim.state = vp::SimState::absent;
      sim.iccid.clear();
      sim.imsi.clear();
    });
  });
  add_command(group, "error", "Let the SIM be there, and reading it fail", "  fcx sim error",
              [&invocation, full] {
                change_sim(invocation, *full,
                           [](vp::Sim& sim) { sim.state = vp::SimState::error; });
              });

  auto polls = std::make_shared<std::string>();
  Verb& delay = add_command(
      group, "delay", "Let polls find the SIM not ready, after each restart and each change of it",
      "  fcx sim delay 3    the fourth poll finds it\n"
      "  fcx sim delay 0    the first one does",
      [&invocation, full, polls] {
        const size_t count = count_of(*polls, "a delay");
        change_sim(invocation, *full,
                   [&](vp::Sim& sim) { sim.not_yet = static_cast<int64_t>(count); });
      });
  delay.add_option("polls", *polls, "How many polls").required().type_name("N");
}

}  // namespace cli
