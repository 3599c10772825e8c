// simulate: a phone's life, drawn from a seed.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "simulation/run.h"
#include "simulation/shrink.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/words.h"
#include "virtual_phone/core/scratch.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using simulation::Life;
using simulation::Lived;

struct Options {
  std::string seed;
  std::string days = "14";
  std::optional<std::string> profile;
  std::optional<std::string> log;
  std::optional<std::string> script;
};

Choices product_choices() {
  Choices choices;
  for (const simulation::Product& product : simulation::products()) {
    choices.push_back({product.profile, ""});
  }
  return choices;
}

Life life_of(const Options& options) {
  constexpr size_t kMostDays = 36'500;
  const size_t days = count_of(options.days, "a number of days");
  if (days < 1 || days > kMostDays) {
    throw UsageError("a life has 1 to " + std::to_string(kMostDays) + " days, not " + options.days);
  }
  const simulation::Product* product = nullptr;
  if (options.profile.has_value()) {
    product = simulation::find_product(*options.profile);
    std::vector<std::string> names;
    for (const Choice& choice : product_choices()) names.push_back(choice.text);
    if (product == nullptr) {
      throw unknown_name("simulated profile", *options.profile, names, "fcx simulate --help");
    }
  }
  return simulation::draw_life(count_of(options.seed, "a seed"), static_cast<int>(days), product);
}

/// Lives it, and writes its log.
Lived live_and_log(const Life& life, const fs::path& place, const Options& options, bool is_shown) {
  std::string log;
  const bool shows_progress = !is_shown && isatty(STDERR_FILENO) != 0;
  size_t step = 0;
  const auto write_line = [&](const std::string& line) {
    if (is_shown) printf("%s\n", line.c_str());
    if (options.log.has_value()) log += line + "\n";
    ++step;
    if (shows_progress) fprintf(stderr, "\r%zu of %zu", step, life.steps.size());
  };
  const Lived lived = simulation::live(life, place, {write_line, {}});
  if (shows_progress) fprintf(stderr, "\r\033[K");
  if (options.log.has_value()) write_output_file(*options.log, log);
  return lived;
}

struct Found {
  std::string text;
  size_t steps;
  std::string script;
};

Found find_shortest(const Life& life, const simulation::Failure& failure, const fs::path& place,
                    const Options& options) {
  const simulation::Shrunk shrunk = simulation::shrink(
      life, failure, [&](const Life& shorter) { return simulation::live(shorter, place).failure; });
  Found found{simulation::text_of(shrunk.failure), shrunk.life.steps.size(),
              simulation::script_of(shrunk)};
  if (options.script.has_value()) write_output_file(*options.script, found.script);
  return found;
}

Json summary_json(const Life& life, const Lived& lived, const std::optional<Found>& found) {
  Json failure;
  if (found.has_value()) {
    failure = {{"text", found->text}, {"steps", found->steps}, {"script", found->script}};
  }
  return {{"seed", life.seed},
          {"profile", life.product->profile},
          {"days", lived.counts.days},
          {"starts", lived.counts.starts},
          {"commands", lived.counts.commands},
          {"faults", lived.counts.faults},
          {"kills", lived.counts.kills},
          {"power_cuts", lived.counts.cuts},
          {"failure", failure}};
}

void print_summary(const Life& life, const Lived& lived, const std::optional<Found>& found,
                   const Options& options) {
  printf(
      "seed %llu, profile %s: %d days, %d starts, %d commands, %d faults, %d kills, %d power "
      "cuts\n",
      static_cast<unsigned long long>(life.seed), life.product->profile, lived.counts.days,
      lived.counts.starts, lived.counts.commands, lived.counts.faults, lived.counts.kills,
      lived.counts.cuts);
  if (!found.has_value()) return;
  printf("FAILED, seed %llu: %s\n", static_cast<unsigned long long>(life.seed),
         found->text.c_str());
  printf("%zu steps are enough", found->steps);
  if (options.script.has_value()) {
    printf(": %s\n", options.script->c_str());
  } else {
    printf(":\n\n%s", found->script.c_str());
  }
}

void run(Invocation& invocation, const Options& options) {
  const Life life = life_of(options);
  const vp::Scratch scratch(vp::quick_directory(), "simulate", vp::Scratch::Kind::folder);
  const fs::path place = scratch.phones() / "phone";
  const bool is_shown = !options.log.has_value() && !invocation.json;
  const Lived lived = live_and_log(life, place, options, is_shown);
  std::optional<Found> found;
  if (lived.failure.has_value()) {
    found = find_shortest(life, *lived.failure, place, options);
    invocation.exit_status = kCommandFailed;
  }
  invocation.json ? print(summary_json(life, lived, found))
                  : print_summary(life, lived, found, options);
}

}  // namespace

void add_simulate(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      tool, "simulate",
      "Live a phone's life that is drawn from a seed, and hold it against a model",
      "  fcx simulate --seed 1                       two weeks\n"
      "  fcx simulate --seed 1 --days 365 --log year.log\n"
      "  fcx simulate --seed 7 --profile mtk --script failure.sh\n"
      "\n"
      "Starts, commands, other SIMs, rewritten network codes, faults, kills and power cuts happen "
      "to a\n"
      "phone that is made for it, on a simulated clock: the same seed gives the same log. After "
      "each\n"
      "step a model says what the phone must hold. Where it does not, the life is shortened as "
      "long as\n"
      "it fails in the same way, and what is left is printed as a script of fcx commands, or "
      "written\n"
      "to a file. The exit status is 3 then.",
      [&invocation, options] { run(invocation, *options); });
  command.add_option("--seed", options->seed, "A number").required().type_name("N");
  command.add_option("--days", options->days, "So many days: 14, when not given").type_name("N");
  command
      .add_option("--profile", options->profile, "The phone's; drawn from the seed when not given")
      .completes(product_choices());
  command.add_option("--log", options->log, "Write the log to a file, and not to standard output")
      .type_name("FILE")
      .completes(Names::file);
  command.add_option("--script", options->script, "Write the script of a failure to a file")
      .type_name("FILE")
      .completes(Names::file);
}

}  // namespace cli
