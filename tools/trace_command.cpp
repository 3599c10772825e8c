// trace: what the library does to its platform while it carries something out.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/action_verbs.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/shown_action.h"
#include "tools/text.h"
#include "tools/trace.h"
#include "tools/trace_pattern.h"
#include "tools/trace_text.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/simulated_time.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::Action;
using factory_daemon::Outcome;
using Difference = TracePattern::Difference;

struct Options {
  bool full = false;
  std::optional<std::string> compare;
};

/// One trace, while it is made and when it is shown.
struct Trace {
  Invocation& invocation;
  const Options& options;
  Action action;
  std::optional<TracePattern> pattern = {};
  int64_t began_us = 0;
  Identities identities = {};
  std::vector<TracedAccess> accesses = {};
  Outcome outcome = {};

  TraceView view() const { return {identities, options.full}; }
};

/// The words that were typed, of an identity a part only.
std::string words_of(const Trace& trace) {
  return trace.options.full ? typed_words(trace.action)
                            : shown_words(trace.action, trace.identities);
}

std::string shown_outcome(const Trace& trace) {
  const std::string& text = trace.outcome.text;
  return trace.options.full ? text : trace.identities.hidden_in(text);
}

/// Where the trace is another than it must be.
std::optional<Difference> difference(const Trace& trace) {
  if (!trace.pattern.has_value()) return std::nullopt;
  std::vector<TracePattern::Line> lines;
  for (const TracedAccess& each : trace.accesses) {
    lines.push_back(
        {trace_line(each, {trace.identities, false}), trace_line(each, {trace.identities, true})});
  }
  return trace.pattern->difference(lines);
}

/// What came in place of what was expected.
std::optional<std::string> came(const Trace& trace, const Difference& difference) {
  if (!difference.access.has_value()) return std::nullopt;
  const std::string line = trace_line(trace.accesses[*difference.access], trace.view());
  return line.substr(line.find_first_not_of(' '));
}

std::optional<std::string> expected(const Trace& trace, const Difference& difference) {
  if (!difference.expected.has_value() || trace.options.full) return difference.expected;
  return trace.identities.hidden_in(*difference.expected);
}

Json comparison_json(const Trace& trace, const std::optional<Difference>& difference) {
  if (!trace.pattern.has_value()) return nullptr;
  Json object = {{"file", *trace.options.compare}, {"same", !difference.has_value()}};
  if (!difference.has_value()) return object;
  object["line"] = difference->line;
  object["expected"] = expected(trace, *difference);
  object["access"] = difference->access;
  object["came"] = came(trace, *difference);
  return object;
}

void print_comparison(const Trace& trace, const std::optional<Difference>& difference) {
  const char* file = trace.options.compare->c_str();
  if (!difference.has_value()) {
    printf("as in %s: %zu accesses\n", file, trace.accesses.size());
    return;
  }
  const auto text = [](const std::optional<std::string>& line) {
    return line.value_or("nothing more");
  };
  printf("other than in %s, line %zu\n", file, difference->line);
  printf("expected  %s\n", text(expected(trace, *difference)).c_str());
  printf("came      %s\n", text(came(trace, *difference)).c_str());
  if (!difference->access.has_value()) return;
  printf("          access %zu of %zu%s\n", *difference->access + 1, trace.accesses.size(),
         difference->is_anywhere ? ", and none after it is the expected one" : "");
}

Json json_of(const Trace& trace, const std::optional<Difference>& difference) {
  Json accesses = Json::array();
  for (const TracedAccess& each : trace.accesses) {
    accesses.push_back(trace_json(each, trace.began_us, trace.view()));
  }
  Json object = {{"action", words_of(trace)},
                 {"done", trace.outcome.is_done},
                 {"outcome", shown_outcome(trace)},
                 {"accesses", accesses},
                 {"comparison", comparison_json(trace, difference)}};
  const bool is_masked =
      words_of(trace) != typed_words(trace.action) || shown_outcome(trace) != trace.outcome.text;
  if (is_masked) object["masked"] = true;
  return object;
}

void show(Trace& trace) {
  add_identities(trace.accesses, trace.identities);
  const auto found = difference(trace);
  const bool is_good = trace.pattern.has_value() ? !found.has_value() : trace.outcome.is_done;
  trace.invocation.exit_status = is_good ? kDone : kCommandFailed;
  if (trace.invocation.json) return print(json_of(trace, found));
  if (trace.pattern.has_value()) return print_comparison(trace, found);
  printf("# fcx trace %s\n", harmless(words_of(trace)).c_str());
  for (const TracedAccess& each : trace.accesses) puts(trace_line(each, trace.view()).c_str());
  printf("# %s\n", harmless(shown_outcome(trace)).c_str());
}

/// The trace that is being made, for where the power is cut.
Trace* running = nullptr;
const Tracer* running_tracer = nullptr;

[[noreturn]] void show_until_cut(const vp::PowerCut& cut) {
  // No thread writes anything down any more.
  vp::observe_accesses(nullptr);
  running->accesses = running_tracer->accesses();
  running->outcome = {false, std::string("the power was cut; what was not flushed is ") +
                                 vp::name_of(cut.unflushed)};
  show(*running);
  const bool is_written = fflush(stdout) == 0;
  _exit(is_written ? running->invocation.exit_status : kPhoneUnusable);
}

void make(Trace& trace) {
  vp::Phone& phone = trace.invocation.open_phone();
  trace.identities.add_those_of(phone);
  add_typed_numbers(trace.action, trace.identities);
  const char* clock = getenv("FCX_CLOCK");
  // Threads take turns then, and do the same in the same order each time.
  if (clock == nullptr || std::string_view(clock) != "real") vp::simulate_time(vp::now_us());
  trace.began_us = vp::now_us();
  {
    const Tracer tracer;
    running = &trace;
    running_tracer = &tracer;
    vp::when_power_is_cut(show_until_cut);
    trace.outcome = carry_out(phone, trace.action);
    trace.accesses = tracer.accesses();
  }
  trace.identities.add_those_of(phone);
}

}  // namespace

void add_trace(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& group = add_command(
      tool, "trace", "Carry something out, and tell each access of the library to its platform",
      "  fcx trace send 4010                            a factory command\n"
      "  fcx trace send 4293 490154203237518 --full     identities and long texts whole\n"
      "  fcx trace at 'AT%BTAD?'                        an AT line\n"
      "  fcx trace boot >boot.trace                     a start of the phone, into a file\n"
      "  fcx trace boot --compare boot.trace            is it that of the file?\n"
      "  fcx trace reboot\n"
      "\n"
      "A line is one access: of properties, factory items, files, services, the modem, threads "
      "and\n"
      "time, with what it was given and what came of it. They stand in the order in which they\n"
      "begin. One within another is indented, and one of a thread has the thread's number before\n"
      "it. A line that begins with # is a comment; the last one is what was answered.\n"
      "\n"
      "With --compare the trace must be that of the file. There * stands for anything within a\n"
      "line, and ... alone on a line for any number of accesses. The first difference is shown,\n"
      "and the exit status is 3. Without it the exit status is 3 when what was carried out has\n"
      "failed.",
      {});
  group.require_subcommand(1);
  group.add_flag("--full", options->full, "Show identities and long texts whole");
  group.add_option("--compare", options->compare, "Compare with the trace in this file")
      .type_name("FILE")
      .completes(Names::file);
  add_action_verbs(group, invocation, [&invocation, options](const Action& action) {
    Trace trace{invocation, *options, action};
    if (options->compare.has_value()) trace.pattern.emplace(*options->compare);
    make(trace);
    show(trace);
  });
}

}  // namespace cli
