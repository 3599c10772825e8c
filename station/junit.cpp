#include "station/junit.h"

#include <array>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "station/characters.h"
#include "station/ledger_text.h"

namespace station {
namespace {

/// A text within a tag or between two.
std::string xml_text(const std::string& text) {
  constexpr std::pair<char, const char*> kMeaning[] = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
  std::string made;
  const std::string plain = plain_text(text);
  Characters characters(plain);
  while (characters.next()) {
    std::string bytes(characters.bytes());
    for (const auto& [character, escaped] : kMeaning) {
      if (bytes.front() == character) bytes = escaped;
    }
    // The two that are characters and no XML.
    if (characters.code() == 0xFFFE) bytes = "\\xef\\xbf\\xbe";
    if (characters.code() == 0xFFFF) bytes = "\\xef\\xbf\\xbf";
    made += bytes;
  }
  return made;
}

using Attributes = std::initializer_list<std::pair<const char*, std::string>>;

class Xml {
 public:
  void open(const char* name, Attributes attributes) { tag(name, attributes, ">"); }
  void leaf(const char* name, Attributes attributes) { tag(name, attributes, "/>"); }
  void close(const char* name) { text_ += std::string("</") + name + ">\n"; }
  std::string take() { return std::move(text_); }

 private:
  void tag(const char* name, Attributes attributes, const char* end) {
    text_ += std::string("<") + name;
    for (const auto& [key, value] : attributes) {
      text_ += std::string(" ") + key + "=\"" + xml_text(value) + "\"";
    }
    text_ += std::string(end) + "\n";
  }

  std::string text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
};

struct Counts {
  int64_t tests = 0;
  int64_t failures = 0;
  int64_t errors = 0;
  int64_t skipped = 0;

  void add(const UnitResult& unit) {
    for (const StepResult& step : unit.steps) {
      ++tests;
      const bool is_late = step.verdict == Verdict::timeout;
      failures += step.verdict == Verdict::failed || is_late ? 1 : 0;
      errors += step.verdict == Verdict::error ? 1 : 0;
      skipped += step.verdict == Verdict::skipped ? 1 : 0;
    }
    // It is told of by a case of its own.
    const bool is_told = unit.verdict == Verdict::error && !unit.why.empty();
    tests += is_told ? 1 : 0;
    errors += is_told ? 1 : 0;
  }
};

class Writer {
 public:
  explicit Writer(const JunitReport& report) : report_(report) {}

  std::string write(const RunResult& run) {
    Counts all;
    for (const UnitResult& unit : run.units) all.add(unit);
    xml_.open("testsuites", {{"name", report_.plan},
                             {"tests", std::to_string(all.tests)},
                             {"failures", std::to_string(all.failures)},
                             {"errors", std::to_string(all.errors)},
                             {"skipped", std::to_string(all.skipped)},
                             {"time", seconds(run.took_us)}});
    for (const UnitResult& unit : run.units) write_unit(unit);
    xml_.close("testsuites");
    return xml_.take();
  }

 private:
  void property(const char* name, const std::string& value) {
    xml_.leaf("property", {{"name", name}, {"value", value}});
  }

  void write_unit(const UnitResult& unit) {
    Counts counts;
    counts.add(unit);
    // To the second, without the zone, as such files have it.
    constexpr size_t kSeconds = 19;
    xml_.open("testsuite", {{"name", "unit " + std::to_string(unit.number)},
                            {"tests", std::to_string(counts.tests)},
                            {"failures", std::to_string(counts.failures)},
                            {"errors", std::to_string(counts.errors)},
                            {"skipped", std::to_string(counts.skipped)},
                            {"time", seconds(unit.took_us)},
                            {"timestamp", unit.begun_at.substr(0, kSeconds)},
                            {"hostname", report_.station}});
    xml_.open("properties", {});
    property("verdict", name_of(unit.verdict));
    property("place", unit.place);
    if (!unit.key.empty()) property("key", report_.shown(unit, unit.key));
    for (const auto& [kind, value] : unit.identities) {
      property(kind.c_str(), report_.shown(unit, plain_text(value)));
    }
    xml_.close("properties");
    if (unit.verdict == Verdict::error && !unit.why.empty()) {
      xml_.open("testcase", {{"classname", report_.plan}, {"name", "the unit"}, {"time", "0"}});
      xml_.leaf("error", {{"type", "error"}, {"message", report_.shown(unit, unit.why)}});
      xml_.close("testcase");
    }
    for (const StepResult& step : unit.steps) write_step(unit, step);
    xml_.close("testsuite");
  }

  void write_step(const UnitResult& unit, const StepResult& step) {
    xml_.open("testcase",
              {{"classname", report_.plan}, {"name", step.name}, {"time", seconds(step.took_us)}});
    const std::string limits = limits_of(*step.step);
    if (step.value.has_value()) {
      xml_.open("properties", {});
      property("value", report_.shown(unit, plain_text(*step.value)));
      if (!limits.empty()) property("limit", limits);
      property("expected", report_.shown(unit, step.expected));
      xml_.close("properties");
    }
    if (step.verdict != Verdict::passed) {
      const std::string reason = report_.shown(unit, reason_of(step));
      const bool is_error = step.verdict == Verdict::error;
      const bool is_skipped = step.verdict == Verdict::skipped;
      const char* name = is_skipped ? "skipped" : is_error ? "error" : "failure";
      xml_.leaf(name, {{"type", name_of(step.verdict)}, {"message", reason}});
    }
    xml_.close("testcase");
  }

  const JunitReport& report_;
  Xml xml_;
};

}  // namespace

std::string junit_text(const JunitReport& report, const RunResult& run) {
  return Writer(report).write(run);
}

std::string limits_of(const Step& step) {
  const auto& [min, max] = std::tie(step.expect.min, step.expect.max);
  if (min.has_value() && max.has_value()) return min->text() + " to " + max->text();
  if (min.has_value()) return "at least " + min->text();
  return max.has_value() ? "at most " + max->text() : "";
}

std::string reason_of(const StepResult& step) {
  if (step.verdict == Verdict::passed) return "";
  if (!step.why.empty()) return step.why;
  if (step.verdict == Verdict::skipped) return "left out";
  return "expected " + step.expected + ", got " + step.got;
}

std::string seconds(int64_t us) {
  std::array<char, 32> text{};
  constexpr int64_t kSecond = 1'000'000;
  const int size =
      snprintf(text.data(), text.size(), "%lld.%06lld", static_cast<long long>(us / kSecond),
               static_cast<long long>(us % kSecond));
  return {text.data(), static_cast<size_t>(size)};
}

}  // namespace station
