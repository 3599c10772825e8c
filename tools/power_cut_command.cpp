// power-cut: what a phone loses that loses its power.
#include "tools/power_cut_command.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "tools/commands.h"
#include "tools/terminal.h"
#include "tools/text.h"
#include "tools/words.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// The command line that this process runs, which a power cut may end anywhere.
const Invocation* running = nullptr;

Json lost_json(const std::vector<vp::LostFile>& lost) {
  Json list = Json::array();
  for (const vp::LostFile& file : lost) {
    list.push_back(
        {{"path", file.path}, {"became", vp::name_of(file.became)}, {"bytes", file.bytes}});
  }
  return list;
}

std::string fate_of(const vp::LostFile& file) {
  const std::string bytes = file.bytes ? std::to_string(*file.bytes) + " bytes" : "";
  switch (file.became) {
    case vp::Became::gone:
      return "gone";
    case vp::Became::content:
      return "back to " + bytes;
    case vp::Became::name:
      break;
  }
  return "back under its name" + (bytes.empty() ? bytes : ", " + bytes);
}

void print_lost(const std::vector<vp::LostFile>& lost) {
  for (const vp::LostFile& file : lost) {
    printf("%s  %s\n", harmless(file.path).c_str(), fate_of(file).c_str());
  }
  if (lost.empty()) puts("nothing was lost");
}

/// Where a fault cuts the power.
void tell_of_cut(const vp::PowerCut& cut) {
  if (running->json) {
    print({{"power_cut",
            {{"change", cut.change},
             {"part", vp::name_of(cut.last.part)},
             {"access", vp::name_of(cut.last.access)},
             {"target", cut.last.target},
             {"unflushed", vp::name_of(cut.unflushed)},
             {"lost", lost_json(cut.lost)}}},
           {"complaints", running->complaints}});
  } else {
    print_lost(cut.lost);
    fprintf(stderr, "%s the power was cut after change %s\n", failure("fcx:", stderr).c_str(),
            harmless(vp::change_text(cut)).c_str());
  }
  // What is not written shows as no object.
  static_cast<void>(fflush(stdout));
  _exit(kCommandFailed);
}

void cut_power(const Invocation& invocation, const std::string& word) {
  const auto unflushed = vp::named<vp::Unflushed>(word);
  if (!unflushed.has_value()) {
    throw UsageError("what was not flushed is dropped, torn or kept, not \"" + word + "\"");
  }
  const std::vector<vp::LostFile> lost = vp::cut_power(invocation.open_phone(), *unflushed);
  if (!invocation.json) return print_lost(lost);
  print({{"unflushed", vp::name_of(*unflushed)}, {"lost", lost_json(lost)}});
}

}  // namespace

Choices unflushed_choices() {
  return {{"dropped", "it is lost"},
          {"torn", "data are cut at the end of a block of 4096 bytes, names are kept"},
          {"kept", "nothing is lost"}};
}

void tell_of_power_cuts(const Invocation& invocation) {
  running = &invocation;
  vp::when_power_is_cut(tell_of_cut);
}

void add_power_cut(Verb& tool, Invocation& invocation) {
  auto unflushed = std::make_shared<std::string>("dropped");
  Verb& command = add_command(
      tool, "power-cut", "Cut the phone's power, and see what it has lost",
      "  fcx power-cut          what was not flushed is lost\n"
      "  fcx power-cut torn     data are cut at the end of a block of 4096 bytes\n"
      "  fcx power              first: what is not flushed\n"
      "  fcx fault power cut --after 3\n"
      "                         cuts it in the middle of a command\n"
      "\n"
      "A file's data are flushed when the file is, its name is when its directory is, and all is\n"
      "by sync() and by a restart. The uptime ends; whoever comes next finds the phone on again.",
      [&invocation, unflushed] { cut_power(invocation, *unflushed); });
  command
      .add_option("unflushed", *unflushed,
                  "What becomes of what was not flushed: dropped, torn or kept; dropped when not "
                  "given")
      .completes(unflushed_choices());
}

}  // namespace cli
