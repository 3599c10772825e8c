#include "tools/station_report.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>

#include "station/junit.h"
#include "station/ledger_text.h"
#include "tools/identities.h"
#include "tools/table.h"
#include "tools/text.h"

namespace cli {
namespace {

using station::StepResult;
using station::UnitResult;
using station::Verdict;

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_hex(char c) { return isxdigit(static_cast<unsigned char>(c)) != 0; }
bool is_word(char c) { return isalnum(static_cast<unsigned char>(c)) != 0; }

/// How many characters an address has that stands there, "02:fc:0a:12:34:56" or with '-'; 0 for
/// none.
size_t address_at(std::string_view text) {
  constexpr size_t kLength = 17;
  if (text.size() < kLength) return 0;
  for (size_t i = 0; i < kLength; ++i) {
    const bool is_between = i % 3 == 2;
    const bool fits = is_between ? text[i] == ':' || text[i] == '-' : is_hex(text[i]);
    if (!fits) return 0;
  }
  return kLength;
}

/// How many characters a number has that stands there, and that may name one unit.
size_t number_at(std::string_view text) {
  constexpr size_t kShortest = 11;
  constexpr size_t kLongest = 24;  // the ids of runs are longer
  constexpr std::ptrdiff_t kLeastDigits = 5;
  const auto end = std::find_if_not(text.begin(), text.end(), is_word);
  const auto length = static_cast<size_t>(end - text.begin());
  const bool is_one = length >= kShortest && length <= kLongest &&
                      std::count_if(text.begin(), end, is_digit) >= kLeastDigits;
  return is_one ? length : 0;
}

/// The text without what looks as an identity does, though no step says that it is one.
std::string without_numbers(const std::string& text) {
  std::string made;
  for (size_t i = 0; i < text.size();) {
    const std::string_view rest = std::string_view(text).substr(i);
    const bool begins_word = i == 0 || !is_word(text[i - 1]);
    const size_t length = begins_word ? std::max(address_at(rest), number_at(rest)) : 0;
    made += length > 0 ? masked(std::string(rest.substr(0, length))) : std::string(1, text[i]);
    i += std::max<size_t>(length, 1);
  }
  return made;
}

/// How the texts of a unit are shown.
class Shown {
 public:
  Shown(const StationReport& report, const UnitResult& unit) : mask_(report.mask) {
    if (!mask_) return;
    for (const auto& [kind, value] : unit.identities) add(value);
    for (const auto& [name, value] : unit.values) add(value);
    for (const std::string& each : unit.other_keys) add(each);
    if (report.has_own_keys) add(unit.key);
  }

  std::string text(const std::string& text) const {
    return mask_ ? without_numbers(identities_.hidden_in(text)) : text;
  }
  /// An identity, however short it is.
  std::string identity(const std::string& text) const { return mask_ ? masked(text) : text; }

 private:
  void add(const std::string& value) {
    identities_.add(value);
    identities_.add(station::plain_text(value));
  }

  const bool mask_;
  Identities identities_;
};

std::string key_of(const StationReport& report, const Shown& shown, const UnitResult& unit) {
  return report.has_own_keys ? shown.identity(unit.key) : unit.key;
}

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json step_json(const StepResult& step, const Shown& shown) {
  const auto& expect = step.step->expect;
  const auto text_of = [](const auto& number) { return number ? Json(number->text()) : Json(); };
  Json value;
  if (step.value.has_value()) {
    const std::string plain = station::plain_text(*step.value);
    value = step.step->identity.has_value() ? shown.identity(plain) : shown.text(plain);
  }
  return {{"step", step.name},
          {"verdict", name_of(step.verdict)},
          {"value", value},
          {"min", text_of(expect.min)},
          {"max", text_of(expect.max)},
          {"expected", or_null(shown.text(step.expected))},
          {"got", or_null(shown.text(step.got))},
          {"reason", or_null(shown.text(step.why))},
          {"time_us", step.took_us}};
}

Json unit_json(const StationReport& report, const UnitResult& unit) {
  const Shown shown(report, unit);
  Json identities = Json::array();
  for (const auto& [kind, value] : unit.identities) {
    identities.push_back({{"kind", kind}, {"value", shown.identity(station::plain_text(value))}});
  }
  Json steps = Json::array();
  for (const StepResult& step : unit.steps) steps.push_back(step_json(step, shown));
  return {{"unit", unit.number},
          {"key", or_null(key_of(report, shown, unit))},
          {"place", unit.place},
          {"verdict", name_of(unit.verdict)},
          {"reason", or_null(shown.text(unit.why))},
          {"begun_at", unit.begun_at},
          {"time_us", unit.took_us},
          {"identities", identities},
          {"steps", steps}};
}

std::string shown_seconds(int64_t us) {
  std::string text = station::seconds(us);
  constexpr size_t kDigitsLess = 3;
  text.resize(text.size() - kDigitsLess);
  return text + " s";
}

void print_failures(const StationReport& report, const UnitResult& unit) {
  const Shown shown(report, unit);
  const auto print_line = [](const char* what, const std::string& text) {
    if (!text.empty()) printf("  %-8s  %s\n", what, harmless(text).c_str());
  };
  if (!unit.why.empty()) {
    printf("\nunit %llu: %s\n", static_cast<unsigned long long>(unit.number),
           name_of(unit.verdict));
    print_line("reason", shown.text(unit.why));
  }
  for (const StepResult& step : unit.steps) {
    if (step.verdict == Verdict::passed || step.verdict == Verdict::skipped) continue;
    printf("\nunit %llu, step \"%s\": %s\n", static_cast<unsigned long long>(unit.number),
           step.name.c_str(), name_of(step.verdict));
    print_line("reason", shown.text(step.why));
    print_line("expected", shown.text(step.expected));
    print_line("got", shown.text(step.got));
  }
}

}  // namespace

Json station_json(const StationReport& report) {
  Json units = Json::array();
  for (const UnitResult& unit : report.run.units) units.push_back(unit_json(report, unit));
  Json object = {
      {"plan", report.plan.name},           {"file", report.file},
      {"station", report.station},          {"run", report.id},
      {"passed", report.run.passed},        {"failed", report.run.units.size() - report.run.passed},
      {"not_begun", report.run.not_begun},  {"stopped", report.run.was_stopped},
      {"problem", or_null(report.problem)}, {"begun_at", report.run.begun_at},
      {"time_us", report.run.took_us},      {"units", units}};
  if (report.mask) object["masked"] = true;
  return object;
}

std::string station_junit(const StationReport& report) {
  std::map<uint64_t, Shown> shown;
  return junit_text({report.plan.name, report.station,
                     [&](const UnitResult& unit, const std::string& text) {
                       if (!report.has_own_keys && text == unit.key) return text;
                       return shown.try_emplace(unit.number, report, unit).first->second.text(text);
                     }},
                    report.run);
}

void print_station(const StationReport& report) {
  const station::RunResult& run = report.run;
  TextTable table({"UNIT", "PLACE", "VERDICT", "PASSED", "TIME", "KEY"});
  for (const UnitResult& unit : run.units) {
    const auto passed = std::count_if(unit.steps.begin(), unit.steps.end(), [](const auto& step) {
      return step.verdict == Verdict::passed;
    });
    const std::string key = key_of(report, Shown(report, unit), unit);
    table.add({std::to_string(unit.number), harmless(unit.place), name_of(unit.verdict),
               std::to_string(passed) + " of " + std::to_string(unit.steps.size()),
               shown_seconds(unit.took_us), key.empty() ? "-" : harmless(key)});
  }
  table.print();
  for (const UnitResult& unit : run.units) print_failures(report, unit);
  constexpr int64_t kHour = int64_t{3600} * 1'000'000;
  const int64_t units = static_cast<int64_t>(run.units.size());
  printf("\n%lld %s: %llu passed, %llu not", static_cast<long long>(units),
         units == 1 ? "unit" : "units", static_cast<unsigned long long>(run.passed),
         static_cast<unsigned long long>(run.units.size() - run.passed));
  if (run.not_begun > 0) {
    printf(", %llu more not begun", static_cast<unsigned long long>(run.not_begun));
  }
  printf("; in %s, %lld an hour\n", shown_seconds(run.took_us).c_str(),
         static_cast<long long>(units * kHour / std::max<int64_t>(run.took_us, 1)));
}

}  // namespace cli
