// A test plan, as it was read and checked: what a station sends to one unit after another, and what
// it expects. docs/station.md says what people write.
//
//   const station::PlanReading reading = station::read_plan("incoming-check.yaml");
//   if (reading.plan) run(*reading.plan);
//   for (const station::PlanError& error : reading.errors) puts(error.line().c_str());
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "station/decimal.h"
#include "station/errors.h"
#include "station/node.h"

namespace station {

/// A part of a text: what it says, or the name of a variable whose value stands there.
struct Piece {
  std::string text;
  bool is_variable = false;
};

/// A text with variables. No two parts that are no variables stand beside each other.
using Text = std::vector<Piece>;

/// The values of variables, by their names.
using Values = std::map<std::string, std::string>;

/// A text with the values in it; nothing where one that it names is not there.
std::optional<std::string> filled(const Text& text, const Values& values);

/// The same of a pattern, in which a value stands for itself: its characters mean nothing else.
std::optional<std::string> filled_pattern(const Text& pattern, const Values& values);

/// What an answer must be. The *value* of an answer is all of it or, where `capture` is not 0, what
/// that group of `pattern` matched.
struct Expectation {
  int32_t result = 0;  ///< of a factory command
  bool is_ok = true;   ///< whether an AT line is answered OK, else ERROR
  std::optional<Text> text;
  std::optional<Text> pattern;         ///< which Pattern reads, once it is filled
  std::optional<std::string> bytes;    ///< all of the answer
  std::optional<Decimal> min;          ///< the least number that the value may be
  std::optional<Decimal> max;          ///< the greatest
  std::optional<std::string> same_as;  ///< the step before this one that had the same value
  std::optional<std::string> save;     ///< the variable that becomes the value
  size_t capture = 0;
};

enum class OnFailure {
  stop,   ///< the rest of the steps is not run, nor are further repeats of them
  go_on,  ///< the rest is run; the whole has failed all the same
};

struct Step {
  enum class Kind {
    send,   ///< one factory command
    at,     ///< one AT line
    pause,  ///< nothing is done for a while
    boot,   ///< the phone is started anew, or only its daemon
    group,  ///< steps, once or more
  };

  Kind kind = Kind::send;
  std::string name;  ///< no two steps of a plan have the same
  Place place;
  /// When the step is ended, which then has failed. 0: a group that may take as long as its steps.
  int64_t time_limit_ms = 0;

  int32_t opcode = 0;                   ///< of `send`
  std::optional<std::string> bytes;     ///< of `send`, in place of `text`
  Text text;                            ///< the argument of `send`, or an AT line without its end
  Expectation expect;                   ///< of `send` and `at`
  std::optional<std::string> identity;  ///< what the value names the unit by: see kIdentities

  int64_t pause_ms = 0;
  bool only_daemon = false;  ///< of `boot`

  std::vector<Step> steps;  ///< of `group`
  uint32_t repeat = 1;      ///< how often they are run
  OnFailure on_failure = OnFailure::stop;
};

/// What an answer can name a unit by.
constexpr const char* kIdentities[] = {"serial", "csn",  "msn",        "imei",
                                       "imei2",  "meid", "bt_address", "wlan_address"};

/// Where a unit has its value of a variable from. Each unit takes the next value of every list.
struct Variable {
  enum class From {
    list,     ///< `values`, one a unit; those of a column of a CSV file, too
    counter,  ///< `first`, and what comes after it
    pool,     ///< the ledger's pool of that name
    value,    ///< `first` for every unit
  };

  std::string name;
  From from = From::value;
  std::vector<std::string> values;
  std::string first;
  uint64_t count = 0;  ///< of a counter
  std::string pool;
};

struct Plan {
  std::string name;
  std::string description;
  int64_t time_limit_ms = 0;  ///< for one unit; 0: as long as its steps take
  OnFailure on_failure = OnFailure::stop;
  std::vector<Variable> variables;
  std::vector<Step> steps;
};

struct PlanReading {
  std::optional<Plan> plan;       ///< when nothing is wrong with it
  std::vector<PlanError> errors;  ///< when there is none
};

/// Reads and checks a plan. Files that it names are read from `directory`.
/// @param file what errors call it; one that ends in .json is JSON and nothing else
PlanReading parse_plan(std::string_view text, const std::string& file,
                       const std::filesystem::path& directory);

/// The same of a file. Throws virtual_phone::Error for one that is not there or cannot be read.
PlanReading read_plan(const std::string& file);

/// For how many units the variables have values; nothing where that has no end.
std::optional<uint64_t> units_of(const Plan& plan);

/// The values of all variables for a unit, the first of which is 0. Nothing past units_of(). Those
/// from pools are not among them.
std::optional<Values> values_for(const Plan& plan, uint64_t unit);

/// How large a plan is.
struct PlanSize {
  size_t steps = 0;  ///< those in groups, too, but no groups
  size_t groups = 0;
  uint64_t runs = 0;    ///< how many steps one unit makes at most, with all repeats
  int64_t time_ms = 0;  ///< what they take at most for one unit
};
PlanSize size_of(const Plan& plan);

}  // namespace station
