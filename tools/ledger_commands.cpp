// ledger: which identity belongs to which unit, pools of numbers, and results.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

#include "station/csv.h"
#include "station/input_file.h"
#include "station/ledger.h"
#include "tools/commands.h"
#include "tools/identities.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/table.h"
#include "tools/text.h"
#include "tools/words.h"

namespace cli {
namespace {

using station::Ledger;
using station::NoLedger;

/// What all of them take, and the words of each.
struct Options {
  std::optional<std::string> ledger;
  std::optional<std::string> station;
  bool mask = false;

  std::string value;
  std::string unit;
  std::string kind;
  std::string what;
  std::optional<std::string> of_unit;
  std::optional<std::string> of_run;
  std::optional<std::string> output;
  std::string pool;
  std::string state = "drawn";
  std::optional<std::string> first;
  std::optional<std::string> count;
  std::optional<std::string> of_kind;
  std::optional<std::string> file;

  std::unique_ptr<Ledger> open(NoLedger otherwise = NoLedger::fail) const {
    return station::open_ledger(ledger.value_or(station::default_ledger()), otherwise);
  }
  std::string station_name() const { return station.value_or(station::default_station()); }
  /// An identity, or a unit's key, which may be one.
  std::string identity(const std::string& text) const { return mask ? masked(text) : text; }
};

constexpr const char* kStates[] = {"free", "drawn", "used", "returned", "all"};

/// Prints an object that shows identities.
void print_identities(Json object, const Options& options) {
  if (options.mask) object["masked"] = true;
  print(object);
}

/// A row for a terminal: what somebody else has put into the database shall not steer it.
void add_harmless(TextTable& table, std::vector<std::string> row) {
  for (std::string& cell : row) cell = cell.empty() ? "-" : harmless(cell);
  table.add(std::move(row));
}

Json unit_json(const station::LedgerUnit& unit, const Options& options) {
  Json identities = Json::array();
  for (const auto& each : unit.identities) {
    identities.push_back({{"kind", each.identity.kind},
                          {"value", options.identity(each.identity.value)},
                          {"station", each.station},
                          {"claimed_at", each.at}});
  }
  return {{"unit", options.identity(unit.key)},
          {"station", unit.station},
          {"known_at", unit.at},
          {"identities", identities}};
}

/// "UNIT, KIND, VALUE, STATION, SINCE" for each identity, or for a unit that has none.
std::vector<std::vector<std::string>> unit_rows(const station::LedgerUnit& unit,
                                                const Options& options) {
  const std::string key = options.identity(unit.key);
  if (unit.identities.empty()) return {{key, "", "", unit.station, unit.at}};
  std::vector<std::vector<std::string>> rows;
  for (const auto& each : unit.identities) {
    rows.push_back(
        {key, each.identity.kind, options.identity(each.identity.value), each.station, each.at});
  }
  return rows;
}

Json number_json(const station::PoolNumber& number, const Options& options) {
  return {{"value", options.identity(number.value)},
          {"state", number.state},
          {"station", number.station},
          {"unit", options.identity(number.unit)},
          {"changed_at", number.at}};
}

std::vector<std::string> number_row(const station::PoolNumber& number, const Options& options) {
  return {options.identity(number.value), number.state, number.station,
          options.identity(number.unit), number.at};
}

void print_units(const std::vector<station::LedgerUnit>& units, const Options& options) {
  TextTable table({"UNIT", "KIND", "VALUE", "STATION", "SINCE"});
  for (const auto& unit : units) {
    for (auto& row : unit_rows(unit, options)) add_harmless(table, std::move(row));
  }
  table.print();
}

Json units_json(const std::vector<station::LedgerUnit>& units, const Options& options) {
  Json list = Json::array();
  for (const auto& unit : units) list.push_back(unit_json(unit, options));
  return list;
}

void find(const Invocation& invocation, const Options& options) {
  const auto ledger = options.open();
  std::vector<station::LedgerUnit> units;
  const auto add = [&](const station::LedgerUnit& unit) { units.push_back(unit); };
  ledger->each_unit(options.value, add);
  for (const auto& claimed : ledger->find(options.value)) {
    const auto is_it = [&](const auto& unit) { return unit.key == claimed.unit; };
    if (std::none_of(units.begin(), units.end(), is_it)) ledger->each_unit(claimed.unit, add);
  }
  const auto numbers = ledger->find_number(options.value);
  if (units.empty() && numbers.empty()) {
    throw NotThere("no unit and no number in the ledger is \"" + options.value + "\"");
  }
  if (invocation.json) {
    Json list = Json::array();
    for (const auto& [pool, number] : numbers) {
      Json object = {{"pool", pool}};
      object.update(number_json(number, options));
      list.push_back(object);
    }
    return print_identities({{"units", units_json(units, options)}, {"numbers", list}}, options);
  }
  if (!units.empty()) print_units(units, options);
  if (numbers.empty()) return;
  if (!units.empty()) puts("");
  TextTable table({"POOL", "NUMBER", "STATE", "STATION", "UNIT", "SINCE"});
  for (const auto& [pool, number] : numbers) {
    auto row = number_row(number, options);
    row.insert(row.begin(), pool);
    add_harmless(table, std::move(row));
  }
  table.print();
}

void list_units(const Invocation& invocation, const Options& options) {
  std::vector<station::LedgerUnit> units;
  options.open()->each_unit("", [&](const auto& unit) { units.push_back(unit); });
  if (invocation.json) return print_identities({{"units", units_json(units, options)}}, options);
  print_units(units, options);
}

void list_runs(const Invocation& invocation, const Options& options) {
  Json list = Json::array();
  TextTable table({"RUN", "PLAN", "STATION", "BEGUN", "ENDED", "VERDICT"});
  for (const auto& run : options.open()->runs("")) {
    list.push_back({{"run", run.id},
                    {"plan", run.plan},
                    {"station", run.station},
                    {"begun_at", run.begun_at},
                    {"ended_at", run.ended_at},
                    {"verdict", run.verdict}});
    add_harmless(table, {run.id, run.plan, run.station, run.begun_at, run.ended_at, run.verdict});
  }
  if (invocation.json) return print({{"runs", list}});
  table.print();
}

/// Tells results, and shows of identities in what was measured only a part where that is wanted.
void each_result(
    const Options& options,
    const std::function<void(const station::LedgerRun&, station::LedgerResult)>& tell) {
  const auto ledger = options.open();
  std::string of;
  Identities identities;
  ledger->each_result({options.of_unit.value_or(""), options.of_run.value_or("")},
                      [&](const station::LedgerRun& run, station::LedgerResult result) {
                        if (!options.mask) return tell(run, result);
                        if (result.unit != of) {
                          of = result.unit;
                          identities = Identities();
                          identities.add(of);
                          ledger->each_unit(of, [&](const station::LedgerUnit& unit) {
                            for (const auto& each : unit.identities)
                              identities.add(each.identity.value);
                          });
                        }
                        result.unit = masked(result.unit);
                        for (std::string* text : {&result.value, &result.low, &result.high}) {
                          *text = identities.hidden_in(*text);
                        }
                        tell(run, result);
                      });
}

void list_results(const Invocation& invocation, const Options& options) {
  Json list = Json::array();
  TextTable table({"TIME", "UNIT", "STEP", "VERDICT", "VALUE", "LOW", "HIGH", "STATION", "RUN"});
  each_result(options, [&](const station::LedgerRun& run, const station::LedgerResult& result) {
    list.push_back({{"run", run.id},
                    {"plan", run.plan},
                    {"station", run.station},
                    {"unit", result.unit},
                    {"position", result.position},
                    {"step", result.step},
                    {"verdict", result.verdict},
                    {"value", result.value},
                    {"low", result.low},
                    {"high", result.high},
                    {"measured_at", result.at}});
    add_harmless(table, {result.at, result.unit, result.step, result.verdict, result.value,
                         result.low, result.high, run.station, run.id});
  });
  if (invocation.json) return print_identities({{"results", list}}, options);
  table.print();
}

void export_csv(const Invocation& invocation, const Options& options) {
  std::string csv;
  size_t rows = 0;
  const auto add = [&](std::vector<std::string> fields) {
    for (std::string& field : fields) field = harmless(field);
    const std::string line = station::csv_row(fields);
    // What nobody keeps is printed as it comes.
    if (invocation.json || options.output.has_value()) {
      csv += line;
    } else {
      printf("%s", line.c_str());
    }
    ++rows;
  };
  if (options.what == "units") {
    const auto ledger = options.open();
    add({"unit", "kind", "value", "station", "since"});
    ledger->each_unit("", [&](const station::LedgerUnit& unit) {
      for (auto& row : unit_rows(unit, options)) add(std::move(row));
    });
  } else if (options.what == "results") {
    add({"run", "plan", "station", "begun_at", "ended_at", "run_verdict", "unit", "position",
         "step", "verdict", "value", "low", "high", "measured_at"});
    each_result(options, [&](const station::LedgerRun& run, const station::LedgerResult& result) {
      add({run.id, run.plan, run.station, run.begun_at, run.ended_at, run.verdict, result.unit,
           std::to_string(result.position), result.step, result.verdict, result.value, result.low,
           result.high, result.at});
    });
  } else {
    throw unknown_name("export", options.what, {"units", "results"}, "fcx ledger export --help");
  }
  if (options.output.has_value()) write_output_file(*options.output, csv);
  if (!invocation.json) return;
  print_identities({{"rows", rows - 1},
                    {"file", options.output},
                    {"csv", options.output.has_value() ? Json() : Json(csv)}},
                   options);
}

void claim(Invocation& invocation, const Options& options) {
  const auto ledger = options.open(NoLedger::make);
  const auto conflicts =
      ledger->claim(options.unit, options.station_name(), {{options.kind, options.value}});
  if (!conflicts.empty()) invocation.exit_status = kCommandFailed;
  Json list = Json::array();
  for (const auto& [other, is_drawn] : conflicts) {
    list.push_back({{"kind", other.identity.kind},
                    {"value", options.identity(other.identity.value)},
                    {"unit", options.identity(other.unit)},
                    {"station", other.station},
                    {"at", other.at},
                    {"is_drawn", is_drawn}});
    if (invocation.json) continue;
    const std::string whose = other.unit.empty() ? "no unit yet" : options.identity(other.unit);
    invocation.complain(harmless("fcx: " + other.identity.kind + " " +
                                 options.identity(other.identity.value) +
                                 (is_drawn ? " was drawn for " : " is that of ") + whose + ", at " +
                                 other.station + ", " + other.at));
  }
  if (!invocation.json) return;
  print_identities({{"unit", options.identity(options.unit)},
                    {"station", options.station_name()},
                    {"claimed", conflicts.empty()},
                    {"conflicts", list}},
                   options);
}

void list_pools(const Invocation& invocation, const Options& options) {
  Json list = Json::array();
  TextTable table({"POOL", "KIND", "FREE", "DRAWN", "USED", "RETURNED"});
  for (const auto& pool : options.open()->pools()) {
    list.push_back({{"pool", pool.name},
                    {"kind", pool.kind},
                    {"free", pool.free},
                    {"drawn", pool.drawn},
                    {"used", pool.used},
                    {"returned", pool.returned}});
    add_harmless(table,
                 {pool.name, pool.kind, std::to_string(pool.free), std::to_string(pool.drawn),
                  std::to_string(pool.used), std::to_string(pool.returned)});
  }
  if (invocation.json) return print({{"pools", list}});
  table.print();
}

void list_numbers(const Invocation& invocation, const Options& options) {
  const std::vector<std::string> states(std::begin(kStates), std::end(kStates));
  if (std::find(states.begin(), states.end(), options.state) == states.end()) {
    throw unknown_name("state", options.state, states, "fcx ledger pool list --help");
  }
  Json list = Json::array();
  TextTable table({"NUMBER", "STATE", "STATION", "UNIT", "SINCE"});
  const std::string state = options.state == "all" ? "" : options.state;
  for (const auto& number : options.open()->numbers(options.pool, state)) {
    list.push_back(number_json(number, options));
    add_harmless(table, number_row(number, options));
  }
  if (invocation.json) {
    return print_identities({{"pool", options.pool}, {"numbers", list}}, options);
  }
  table.print();
}

/// The values in a file, in their normal form.
std::vector<std::string> values_in(const std::string& file, const station::IdentityKind& kind) {
  constexpr size_t kLargest = size_t{128} << 20;
  std::string wrong;
  const auto text = station::read_input_file(file, kLargest, wrong);
  if (!text.has_value()) throw virtual_phone::Error(file + " cannot be read: " + wrong);
  if (text->size() > kLargest) throw UsageError(file + " has more than 128 MiB");
  const station::CsvColumn column = station::read_first_csv_column(*text);
  if (!column.wrong.empty()) {
    throw UsageError(file + ":" + std::to_string(column.place.line) + ": " + column.wrong);
  }
  if (column.values.empty()) throw UsageError(file + " has no numbers");
  std::vector<std::string> values;
  for (const std::string& value : column.values) {
    try {
      values.push_back(station::normal_value(kind, value));
    } catch (const virtual_phone::Refused& error) {
      throw UsageError(file + ", value " + std::to_string(values.size() + 1) + ": " + error.what());
    }
  }
  return values;
}

/// The values that FIRST and COUNT, or --file, stand for.
std::vector<std::string> values_of(const Options& options, const station::IdentityKind& kind) {
  if (options.file.has_value() == options.first.has_value()) {
    throw UsageError("numbers come from FIRST and COUNT, or from --file");
  }
  if (options.file.has_value()) return values_in(*options.file, kind);
  const size_t count = count_of(options.count.value_or(""), "a count");
  if (count < 1 || count > station::kMostNumbers) {
    throw UsageError("a count is 1 to " + std::to_string(station::kMostNumbers) + ", not " +
                     *options.count);
  }
  return station::counted_values(kind, *options.first, count);
}

void add_to_pool(const Invocation& invocation, const Options& options) {
  const auto ledger = options.open(NoLedger::make);
  std::optional<std::string> kind = options.of_kind;
  for (const auto& pool : ledger->pools()) {
    if (pool.name == options.pool && !kind.has_value()) kind = pool.kind;
  }
  if (!kind.has_value()) throw UsageError("a new pool needs --kind: what its numbers are");
  const auto added =
      ledger->add_numbers(options.pool, *kind, values_of(options, station::identity_kind(*kind)));
  if (invocation.json) {
    return print({{"pool", options.pool},
                  {"kind", *kind},
                  {"added", added.added},
                  {"known", added.known},
                  {"used", added.used}});
  }
  printf("added             %lld\n", static_cast<long long>(added.added));
  printf("there already     %lld\n", static_cast<long long>(added.known));
  printf("of units already  %lld\n", static_cast<long long>(added.used));
}

void draw(const Invocation& invocation, const Options& options) {
  const auto numbers =
      options.open()->draw(options.pool, options.of_unit.value_or(""), options.station_name(),
                           count_of(options.count.value_or("1"), "--count"));
  Json list = Json::array();
  for (const std::string& number : numbers) {
    list.push_back(options.identity(number));
    if (!invocation.json) puts(harmless(options.identity(number)).c_str());
  }
  if (!invocation.json) return;
  print_identities({{"pool", options.pool},
                    {"unit", options.identity(options.of_unit.value_or(""))},
                    {"station", options.station_name()},
                    {"numbers", list}},
                   options);
}

void return_number(const Invocation& invocation, const Options& options) {
  options.open()->return_number(options.pool, options.value);
  if (!invocation.json) return;
  print_identities({{"pool", options.pool}, {"value", options.identity(options.value)}}, options);
}

Choices kind_choices() {
  Choices choices;
  for (const auto& kind : station::identity_kinds()) choices.push_back({kind.name, kind.meaning});
  return choices;
}

Choices state_choices() {
  Choices choices;
  for (const char* state : kStates) choices.push_back({state, ""});
  return choices;
}

void add_pool(Verb& ledger, Invocation& invocation, const std::shared_ptr<Options>& options) {
  Verb& group = add_command(
      ledger, "pool", "Show the pools of numbers, and draw from them",
      "  fcx ledger pool                                  what is free, drawn, used\n"
      "  fcx ledger pool add serials QV2006A00100 5000 --kind serial\n"
      "  fcx ledger pool draw serials --unit BOARD-17     the same one for who asks again\n"
      "  fcx ledger pool list serials                     the drawn ones, and for whom\n"
      "  fcx ledger pool return serials QV2006A00100      it is on no phone",
      {});
  group.callback([&group, &invocation, options] {
    if (!group.has_subcommand()) list_pools(invocation, *options);
  });

  Verb& list = add_command(group, "list", "List a pool's numbers: those that are drawn, not used",
                           "  fcx ledger pool list serials\n"
                           "  fcx ledger pool list serials --state all",
                           [&invocation, options] { list_numbers(invocation, *options); });
  list.add_option("pool", options->pool, "Its name").required();
  list.add_option("--state", options->state, "In which state: drawn, when not given")
      .completes(state_choices());

  Verb& add = add_command(
      group, "add", "Fill a pool, and make it where there is none",
      "  fcx ledger pool add serials QV2006A00100 5000 --kind serial\n"
      "  fcx ledger pool add imeis 490154203237518 100 --kind imei    check digits too\n"
      "  fcx ledger pool add bluetooth --file addresses.csv --kind bt_address\n"
      "\n"
      "A file has a number a line, or as the first field of CSV, and no heading. Numbers that\n"
      "are in the pool already stay as they are; those that units have already are used.",
      [&invocation, options] { add_to_pool(invocation, *options); });
  add.add_option("pool", options->pool, "Its name").required();
  add.add_option("first", options->first, "The first number");
  add.add_option("count", options->count, "How many, at most 1000000").type_name("N");
  add.add_option("--kind", options->of_kind, "What the numbers are; an older pool knows it")
      .completes(kind_choices());
  add.add_option("--file", options->file, "A file with the numbers")
      .type_name("FILE")
      .completes(Names::file);

  Verb& drawing =
      add_command(group, "draw", "Draw numbers that nobody else draws, and print them",
                  "  fcx ledger pool draw serials --unit BOARD-17\n"
                  "  fcx ledger pool draw serials --count 2    for units that have no key yet\n"
                  "\n"
                  "For a unit the station gets those again that it has drawn for it, or that the\n"
                  "unit uses. All that are asked for are drawn, or none.",
                  [&invocation, options] { draw(invocation, *options); });
  drawing.add_option("pool", options->pool, "Its name").required();
  drawing.add_option("--unit", options->of_unit, "For which unit").type_name("KEY");
  drawing.add_option("--count", options->count, "How many: 1, when not given").type_name("N");

  Verb& back = add_command(group, "return", "Give a number back that was drawn and is on no phone",
                           "  fcx ledger pool return serials QV2006A00100",
                           [&invocation, options] { return_number(invocation, *options); });
  back.add_option("pool", options->pool, "Its name").required();
  back.add_option("number", options->value, "The number").required();
}

}  // namespace

void add_ledger(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& group = add_command(
      tool, "ledger", "Look up which identity belongs to which unit, and what was measured",
      "  fcx ledger find 490154203237518          the unit that has it\n"
      "  fcx ledger units --mask                  all units, identities shown in part\n"
      "  fcx ledger runs                          runs of test plans\n"
      "  fcx ledger results --unit BOARD-17       what was measured\n"
      "  fcx ledger export results --output results.csv\n"
      "  fcx ledger claim BOARD-17 serial QV2006A00100\n"
      "  fcx ledger pool                          the numbers that are still to be given\n"
      "\n"
      "The ledger is in a file, or in a database of a PostgreSQL server that stations share, as\n"
      "postgresql://line@server/ledger. A password belongs into ~/.pgpass or into FCX_LEDGER,\n"
      "since everybody on the machine can read a command line.",
      {});
  group.require_subcommand(1);
  group
      .add_option("--ledger", options->ledger,
                  "Its file or URL; $FCX_LEDGER, or a file of yours, when not given")
      .type_name("WHERE")
      .completes(Names::file);
  group
      .add_option("--station", options->station,
                  "Who claims and draws; $FCX_STATION, or this machine, when not given")
      .type_name("NAME");
  group.add_flag("--mask", options->mask, "Show identities in part");

  add_command(group, "find", "Find the unit that has an identity, or that is known by a key",
              "  fcx ledger find 490154203237518\n"
              "  fcx ledger find 02:fc:0a:12:34:56    in any form",
              [&invocation, options] { find(invocation, *options); })
      .add_option("value", options->value, "An identity, a number of a pool, or a unit's key")
      .required();
  add_command(group, "units", "List all units and their identities", "  fcx ledger units",
              [&invocation, options] { list_units(invocation, *options); });
  add_command(group, "runs", "List the runs of test plans", "  fcx ledger runs",
              [&invocation, options] { list_runs(invocation, *options); });

  Verb& results = add_command(group, "results", "List results, in the order in which they came",
                              "  fcx ledger results --unit BOARD-17",
                              [&invocation, options] { list_results(invocation, *options); });
  results.add_option("--unit", options->of_unit, "Those of one unit").type_name("KEY");
  results.add_option("--run", options->of_run, "Those of one run").type_name("RUN");

  Verb& exporting = add_command(group, "export", "Print units or results as CSV",
                                "  fcx ledger export units\n"
                                "  fcx ledger export results --output results.csv",
                                [&invocation, options] { export_csv(invocation, *options); });
  exporting.add_option("what", options->what, "units or results")
      .required()
      .completes(Choices{{"units", "their identities"}, {"results", "what was measured"}});
  exporting.add_option("--output", options->output, "Write them to a file")
      .type_name("FILE")
      .completes(Names::file);

  Verb& claiming = add_command(
      group, "claim", "Give a unit an identity that no other has",
      "  fcx ledger claim BOARD-17 serial QV2006A00100\n"
      "\n"
      "The exit status is 3 when another unit has it, or when it was drawn for another.",
      [&invocation, options] { claim(invocation, *options); });
  claiming.add_option("unit", options->unit, "The unit's key").required();
  claiming.add_option("kind", options->kind, "What it is").required().completes(kind_choices());
  claiming.add_option("value", options->value, "The identity").required();

  add_pool(group, invocation, options);
}

}  // namespace cli
