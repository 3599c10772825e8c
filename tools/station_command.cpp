// station: test plans, checked and run.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "station/plan.h"
#include "station/run.h"
#include "station/virtual_place.h"
#include "tools/commands.h"
#include "tools/connect.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/station_report.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/core/scratch.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

using station::Plan;
using station::Variable;

struct Source {
  const char* name;
  std::optional<uint64_t> values;  ///< nothing: without end, or nobody knows yet
};

Source source_of(const Variable& variable) {
  switch (variable.from) {
    case Variable::From::list:
      return {"list", variable.values.size()};
    case Variable::From::counter:
      return {"counter", variable.count};
    case Variable::From::pool:
      return {"pool", {}};
    case Variable::From::value:
      break;
  }
  return {"value", {}};
}

/// "1 h 20 min": the two largest units that it has.
std::string shown_duration(int64_t ms) {
  constexpr std::pair<const char*, int64_t> kUnits[] = {
      {"d", 86'400'000}, {"h", 3'600'000}, {"min", 60'000}, {"s", 1000}, {"ms", 1}};
  std::string text;
  int told = 0;
  for (const auto& [unit, size] : kUnits) {
    if (ms < size || told == 2) continue;
    text += (told++ == 0 ? "" : " ") + std::to_string(ms / size) + " " + unit;
    ms %= size;
  }
  return text;
}

void print_summary_json(const std::string& file, const Plan& plan) {
  const station::PlanSize size = size_of(plan);
  Json variables = Json::array();
  for (const Variable& variable : plan.variables) {
    const Source source = source_of(variable);
    variables.push_back(
        {{"name", variable.name}, {"from", source.name}, {"values", source.values}});
  }
  print({{"plan", plan.name},
         {"file", file},
         {"steps", size.steps},
         {"groups", size.groups},
         {"runs", size.runs},
         {"time_ms", size.time_ms},
         {"units", units_of(plan)},
         {"variables", variables}});
}

void print_summary(const std::string& file, const Plan& plan) {
  const station::PlanSize size = size_of(plan);
  const std::optional<uint64_t> units = units_of(plan);
  printf("plan      %s\n", plan.name.c_str());
  printf("file      %s\n", harmless(file).c_str());
  printf("steps     %zu, and %zu groups of them\n", size.steps, size.groups);
  printf("a unit    makes %llu steps at most, in %s at most\n",
         static_cast<unsigned long long>(size.runs), shown_duration(size.time_ms).c_str());
  printf("units     %s\n", units ? std::to_string(*units).c_str() : "as many as come");
  if (plan.variables.empty()) return;
  puts("");
  TextTable table({"VARIABLE", "FROM", "VALUES"});
  for (const Variable& variable : plan.variables) {
    const Source source = source_of(variable);
    table.add({variable.name, source.name, source.values ? std::to_string(*source.values) : "-"});
  }
  table.print();
}

Plan read(Invocation& invocation, const std::string& file) {
  station::PlanReading reading = station::read_plan(file);
  if (reading.plan.has_value()) return std::move(*reading.plan);
  for (const station::PlanError& error : reading.errors) {
    invocation.complain(harmless(error.line()));
  }
  const size_t count = reading.errors.size();
  const bool are_all = count < station::kMostErrors;
  throw UsageError("the plan " + file + " has " + (are_all ? "" : "at least ") +
                   std::to_string(count) + (count == 1 ? " error" : " errors"));
}

struct Words {
  std::string plan;
  bool is_check = false;
  std::optional<std::string> phones;
  std::optional<std::string> profile;
  std::optional<std::string> connect;
  std::optional<std::string> token_file;
  std::optional<std::string> units;
  std::optional<std::string> ledger;
  bool no_ledger = false;
  std::optional<std::string> station;
  std::optional<std::string> unit_key;
  std::optional<std::string> json_file;
  std::optional<std::string> junit;
  bool mask = false;
};

/// Somebody has asked it to end.
std::atomic<bool> is_stopped = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal sets it");

void stop_on_signals() {
  struct sigaction stop {};
  stop.sa_handler = [](int) { is_stopped = true; };
  // The second one ends it at once.
  stop.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM}) {
    // It cannot fail for these.
    static_cast<void>(sigaction(number, &stop, nullptr));
  }
}

std::vector<std::string> addresses_in(const std::string& text) {
  std::vector<std::string> addresses;
  std::istringstream words(text);
  for (std::string each; std::getline(words, each, ',');) addresses.push_back(each);
  for (const std::string& each : addresses) {
    if (each.empty()) throw UsageError("an address of --connect is empty");
    if (std::count(addresses.begin(), addresses.end(), each) > 1) {
      throw UsageError("at " + each + " is one phone: name it once");
    }
  }
  return addresses;
}

size_t phones_of(const Words& words) {
  constexpr size_t kMost = 256;
  const size_t phones = count_of(words.phones.value_or("1"), "--phones");
  if (phones < 1 || phones > kMost) {
    throw UsageError("there are 1 to " + std::to_string(kMost) + " phones, not " + *words.phones);
  }
  return phones;
}

/// How many units are tested at so many places.
uint64_t units_of(const Words& words, const Plan& plan, size_t places) {
  const std::optional<uint64_t> most = station::units_of(plan);
  const uint64_t units = words.units.has_value()
                             ? count_of(*words.units, "--units")
                             : std::min<uint64_t>(places, most.value_or(places));
  if (units < 1) throw UsageError("one unit at least is tested");
  if (units > most.value_or(units)) {
    throw UsageError("the plan's variables have values for " + std::to_string(*most) +
                     " units, not for " + std::to_string(units));
  }
  return units;
}

void check_words(const Words& words, const Plan& plan) {
  if (words.connect.has_value() && (words.phones.has_value() || words.profile.has_value())) {
    throw UsageError("give --connect, or --phones and --profile: a server has its own phone");
  }
  const auto is_key = [&](const Variable& variable) {
    return variable.name == words.unit_key && variable.from != Variable::From::pool;
  };
  const auto& variables = plan.variables;
  if (words.unit_key.has_value() && std::none_of(variables.begin(), variables.end(), is_key)) {
    throw UsageError("--unit-key names a variable of the plan, from no pool, not \"" +
                     *words.unit_key + "\"");
  }
  const auto draws = [](const Variable& variable) { return variable.from == Variable::From::pool; };
  if (words.no_ledger && std::any_of(variables.begin(), variables.end(), draws)) {
    throw UsageError("the plan draws numbers from the ledger: it cannot run with --no-ledger");
  }
  if (words.no_ledger && (words.ledger.has_value() || words.station.has_value())) {
    throw UsageError("--ledger and --station are for the ledger: they do not go with --no-ledger");
  }
  for (const auto& file : {words.json_file, words.junit}) {
    const auto folder = std::filesystem::path(file.value_or("")).parent_path();
    if (access(folder.empty() ? "." : folder.c_str(), W_OK) == 0) continue;
    throw virtual_phone::Error(*file + ": nothing can be written there");
  }
}

Choices profiles() {
  Choices choices;
  for (const auto& each : virtual_phone::profiles()) choices.push_back({each.name, each.meaning});
  return choices;
}

/// Where phones are tested.
struct Places {
  std::optional<virtual_phone::Scratch> scratch;  ///< gone after them
  std::vector<std::unique_ptr<station::PhonePlace>> list;
};

void add_served(const Words& words, const std::vector<std::string>& addresses, Places& places) {
  const std::string token = token_in(words.token_file);
  for (const std::string& each : addresses) {
    places.list.push_back(station::served_place(each, token));
  }
}

void add_virtual(const Words& words, size_t phones, Places& places) {
  const std::string profile = words.profile.value_or("single");
  std::vector<std::string> names;
  for (const Choice& each : profiles()) names.push_back(each.text);
  if (std::find(names.begin(), names.end(), profile) == names.end()) {
    throw unknown_name("profile", profile, names, "fcx station --help");
  }
  places.scratch.emplace(virtual_phone::quick_directory(), "station",
                         virtual_phone::Scratch::Kind::folder);
  for (size_t i = 1; i <= phones; ++i) {
    places.list.push_back(station::virtual_place(places.scratch->path(), profile, i));
  }
}

std::string doing(const station::RunState& state, uint64_t units) {
  std::string text = std::to_string(state.done) + " of " + std::to_string(units) + " units tested";
  if (state.failed > 0) text += ", " + std::to_string(state.failed) + " not passed";
  return text;
}

/// Where nothing at all could be tested: why.
std::optional<std::string> why_none(const station::RunResult& run) {
  const auto was_done = [](const station::StepResult& step) {
    return step.verdict != station::Verdict::skipped;
  };
  for (const station::UnitResult& unit : run.units) {
    const bool has_begun = std::any_of(unit.steps.begin(), unit.steps.end(), was_done);
    if (unit.verdict != station::Verdict::error || has_begun) return {};
  }
  if (run.units.empty()) return {};
  return run.units.front().why;
}

void report(Invocation& invocation, const Words& words, const StationReport& report) {
  if (words.json_file.has_value()) {
    write_output_file(*words.json_file, station_json(report).dump() + "\n");
  }
  if (words.junit.has_value()) write_output_file(*words.junit, station_junit(report));
  if (const auto why = why_none(report.run)) throw virtual_phone::Error(*why);
  if (!report.has_passed()) invocation.exit_status = kCommandFailed;
  if (!report.problem.empty()) {
    invocation.exit_status = kPhoneUnusable;
    if (!invocation.json) invocation.complain(harmless("fcx: " + report.problem));
  }
  invocation.json ? print(station_json(report)) : print_station(report);
}

void run(Invocation& invocation, const Words& words) {
  const Plan plan = read(invocation, words.plan);
  check_words(words, plan);
  const auto addresses = addresses_in(words.connect.value_or(""));
  const size_t wanted = words.connect.has_value() ? addresses.size() : phones_of(words);
  const uint64_t units = units_of(words, plan, wanted);
  Places places;
  // Before there is any thread, or anything that the processes of the phones must not have.
  words.connect.has_value() ? add_served(words, addresses, places)
                            : add_virtual(words, std::min<uint64_t>(wanted, units), places);
  std::optional<station::Books> books;
  const std::string name = words.station.value_or(station::default_station());
  if (!words.no_ledger) {
    books.emplace(words.ledger.value_or(station::default_ledger()), name, plan);
  }
  station::RunOptions options;
  options.units = units;
  options.books = books.has_value() ? &*books : nullptr;
  options.key = words.unit_key;
  // A server's clock is a phone's unless it was told otherwise, and so is this one's then.
  const char* clock = getenv("FCX_CLOCK");
  const std::string chosen = clock == nullptr ? "" : clock;
  options.is_fast = chosen == "fast" || (chosen.empty() && !words.connect.has_value());
  options.stop = &is_stopped;
  stop_on_signals();
  station::RunState state;
  station::RunResult result;
  {
    const Progress progress([&] { return doing(state, units); });
    result = run_plan(plan, places.list, options, state);
  }
  StationReport made = {plan,
                        result,
                        words.plan,
                        name,
                        books ? std::optional(books->run()) : std::nullopt,
                        words.unit_key.has_value(),
                        words.mask,
                        ""};
  // One that was stopped is gone on with: its numbers are on no phone yet.
  if (books.has_value() && !result.was_stopped) {
    try {
      books->end(made.has_passed() ? "passed" : "failed");
    } catch (const station::LedgerError& error) {
      // What was measured is told all the same.
      made.problem = error.what();
    }
  }
  report(invocation, words, made);
}

}  // namespace

void add_station(Verb& tool, Invocation& invocation) {
  auto words = std::make_shared<Words>();
  Verb& command = add_command(
      tool, "station", "Run a test plan over phones, as a station at a production line does",
      "  fcx station plan.yaml                        on a fresh virtual phone\n"
      "  fcx station plan.yaml --phones 8 --units 40  on eight side by side, until 40 are tested\n"
      "  fcx station plan.yaml --connect /tmp/phone   on a served one: fcx serve\n"
      "  fcx station plan.yaml --junit report.xml --json-file report.json --mask\n"
      "  fcx station --check plan.yaml                every error with its line and column\n"
      "\n"
      "A plan is YAML or JSON: steps, what they send, and what they expect. Each unit is a phone\n"
      "that the plan is run over; the ledger keeps its results and identities, so one that\n"
      "another unit has fails the step. The exit status is 0 when all units have passed, 3 when\n"
      "one has not, 1 when none could be tested, and 2 for a plan with errors. Ctrl-C and SIGTERM\n"
      "let the steps in hand come to their end; the reports are written all the same.\n"
      "docs/station.md tells of plans and reports.",
      [&invocation, words] {
        if (!words->is_check) return run(invocation, *words);
        const Plan plan = read(invocation, words->plan);
        invocation.json ? print_summary_json(words->plan, plan) : print_summary(words->plan, plan);
      });
  command.add_option("plan", words->plan, "The plan's file").required().completes(Names::file);
  command.add_flag("--check", words->is_check, "Read and check it, and say how large it is");
  command
      .add_option("--phones", words->phones,
                  "On so many fresh virtual phones at once; 1 when not given")
      .type_name("N");
  command.add_option("--profile", words->profile, "Their profile; single when not given")
      .completes(profiles());
  command
      .add_option(
          "--connect", words->connect,
          "On the phones of running servers: a socket's path or HOST:PORT each, with commas "
          "between them")
      .type_name("ADDRESSES")
      .completes(Names::file);
  command
      .add_option("--token-file", words->token_file,
                  "The file with the token that the servers ask for; $FCX_TOKEN when not given")
      .type_name("FILE")
      .completes(Names::file);
  command
      .add_option("--units", words->units,
                  "How many units are tested; as many as there are phones when not given")
      .type_name("M");
  command
      .add_option("--ledger", words->ledger,
                  "The ledger's file or URL; $FCX_LEDGER, or a file of yours, when not given")
      .type_name("WHERE")
      .completes(Names::file);
  command.add_flag("--no-ledger", words->no_ledger, "Claim, draw and keep nothing");
  command
      .add_option(
          "--station", words->station,
          "What this station is called there; $FCX_STATION, or this machine, when not given")
      .type_name("NAME");
  command
      .add_option("--unit-key", words->unit_key,
                  "The plan's variable by which the ledger knows a unit; the run and the unit's "
                  "number when not given")
      .type_name("VARIABLE");
  command
      .add_option("--junit", words->junit, "Write what came of it as JUnit XML, a case a step, too")
      .type_name("FILE")
      .completes(Names::file);
  command.add_option("--json-file", words->json_file, "Write the object that --json prints, too")
      .type_name("FILE")
      .completes(Names::file);
  command.add_flag("--mask", words->mask, "Show identities in part, in the reports too");
}

}  // namespace cli
