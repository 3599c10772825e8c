// explore: what comes of a command, a start or an AT line when something goes wrong.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <system_error>

#include "exploration/explore.h"
#include "fcx/command_table.h"
#include "tools/action_verbs.h"
#include "tools/commands.h"
#include "tools/identities.h"
#include "tools/json.h"
#include "tools/output_file.h"
#include "tools/shown_action.h"
#include "tools/table.h"
#include "tools/terminal.h"
#include "tools/text.h"
#include "tools/trace_text.h"
#include "tools/words.h"
#include "virtual_phone/core/scratch.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using exploration::Report;
using exploration::Try;
using exploration::Verdict;
using factory_daemon::Action;

struct Options {
  std::optional<std::string> profile;
  std::optional<std::string> accepted;
  std::optional<std::string> junit;
  std::optional<std::string> share;
  std::optional<std::string> seed;
  bool pairs = false;
  bool all = false;
  bool full = false;
};

/// A fresh phone of a profile, or the one that was chosen.
class Original {
 public:
  Original(const Invocation& invocation, const std::optional<std::string>& profile) {
    if (!profile.has_value()) {
      directory_ = invocation.directory();
      return;
    }
    made_.emplace(vp::quick_directory(), "explored", vp::Scratch::Kind::folder);
    directory_ = made_->phones() / "phone";
    vp::create(directory_, *profile, false);
  }

  const fs::path& directory() const { return directory_; }

 private:
  fs::path directory_;
  std::optional<vp::Scratch> made_;
};

/// How far it is, in one line of a terminal; nothing anywhere else. Without a thread: others would
/// not be in the processes that try.
class Counter {
 public:
  /// @param count how many actions there are
  explicit Counter(size_t count) : count_(count) {}
  ~Counter() { clear(); }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  /// The next action.
  void begin(const std::string& what) {
    ++current_;
    what_ = what;
    if (count_ > 1) what_ += ", " + std::to_string(current_) + " of " + std::to_string(count_);
  }
  /// So many of its tries are done.
  void show(size_t done, size_t all) {
    const auto now = Clock::now();
    if (isatty(STDERR_FILENO) == 0 || now - shown_ < std::chrono::milliseconds(200)) return;
    shown_ = now;
    is_shown_ = true;
    const std::chrono::duration<double> spent = now - began_;
    const double actions =
        static_cast<double>(current_ - 1) + static_cast<double>(done) / static_cast<double>(all);
    const double left = spent.count() / actions * (static_cast<double>(count_) - actions);
    fprintf(stderr, "\r\033[K%s: %zu of %zu tries, about %.0f s left", what_.c_str(), done, all,
            left);
  }
  /// Makes room for other lines.
  void clear() {
    if (is_shown_) fputs("\r\033[K", stderr);
    is_shown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;

  size_t count_;
  size_t current_ = 0;
  std::string what_;
  Clock::time_point began_ = Clock::now();
  Clock::time_point shown_ = began_;
  bool is_shown_ = false;
};

std::vector<exploration::Acceptance> acceptances(const Options& options) {
  auto accepted = exploration::read_accepted(exploration::kAcceptedOutcomes, "accepted.txt");
  if (!options.accepted.has_value()) return accepted;
  std::ifstream in(*options.accepted, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  if (!in) throw vp::Error(*options.accepted + " cannot be read");
  const auto own = exploration::read_accepted(text, *options.accepted);
  accepted.insert(accepted.end(), own.begin(), own.end());
  return accepted;
}

/// The share of the tries, in percent. Throws UsageError.
int share_of(const Options& options) {
  constexpr int64_t kAll = 100;
  if (!options.share.has_value()) return kAll;
  const int64_t share = number_of(*options.share, "--share");
  if (share < 1 || share > kAll) throw UsageError("--share is 1 to 100 percent");
  return static_cast<int>(share);
}

/// The seed by which a share is drawn: a new one each time unless it is given.
uint64_t seed_of(const Options& options) {
  if (options.seed.has_value()) return static_cast<uint64_t>(number_of(*options.seed, "--seed"));
  constexpr uint64_t kShort = 1'000'000;
  return static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) %
         kShort;
}

/// What is shown of a try. Of identities it is a part only.
struct ShownTry {
  std::string came_out;
  std::string why;  ///< a bad verdict; nothing else
  bool is_masked = false;
};

/// What was explored, as it is shown.
struct Explored {
  std::string name;
  std::string outcome;
  bool is_masked = false;
  Report report;
  std::vector<ShownTry> tries;  ///< those of the report
};

/// Makes of what was found what is shown.
class Shower {
 public:
  Shower(const fs::path& phone, const Action& action, bool full) : action_(action), full_(full) {
    vp::Phone opened(phone);
    identities_.add_those_of(opened);
    add_typed_numbers(action, identities_);
  }

  /// What the library has read and written, which the phone may not have had before.
  void add(const std::vector<vp::PlatformAccess>& trace) {
    std::vector<TracedAccess> traced;
    for (const vp::PlatformAccess& each : trace) traced.push_back({each, 0, 0});
    add_identities(traced, identities_);
  }

  std::string name() const {
    return full_ ? typed_words(action_) : shown_words(action_, identities_);
  }

  std::string text(const std::string& text) const {
    return full_ ? text : identities_.hidden_in(text);
  }
  ShownTry shown_try(const Try& tried) const {
    const exploration::Judgement& judgement = tried.judgement;
    ShownTry made;
    made.came_out = text(tried.came_out);
    made.why = text(judgement.why);
    made.is_masked = made.came_out != tried.came_out || made.why != judgement.why ||
                     text(judgement.is) != judgement.is ||
                     text(judgement.should_be) != judgement.should_be;
    if (!judgement.is.empty() || !judgement.should_be.empty()) {
      made.why += ": " + value(judgement.is) + ", not " + value(judgement.should_be);
    }
    return made;
  }

 private:
  /// The beginning of a value, without the zeros at its end.
  std::string value(const std::string& bytes) const {
    constexpr size_t kLongest = 60;
    const std::string hidden = text(bytes.substr(0, bytes.find_last_not_of('\0') + 1));
    return shown(hidden.substr(0, kLongest)) + (hidden.size() > kLongest ? "..." : "");
  }

  const Action& action_;
  bool full_;
  Identities identities_;
};

Explored shown_report(Shower& shower, const std::string& typed, Report report) {
  shower.add(report.trace);
  const std::string& outcome = report.outcome.text;
  Explored explored;
  explored.name = shower.name();
  explored.outcome = shower.text(outcome);
  explored.is_masked = explored.name != typed || explored.outcome != outcome;
  for (const Try& tried : report.tries) explored.tries.push_back(shower.shown_try(tried));
  explored.report = std::move(report);
  return explored;
}

std::string verdict_text(const Try& tried) {
  const std::string verdict = vp::name_of(tried.judgement.verdict);
  return tried.accepted.empty() ? verdict : verdict + ", accepted";
}

bool is_bad(const Try& tried) { return tried.judgement.is_bad() && tried.accepted.empty(); }

Json try_json(const Try& tried, const ShownTry& shown) {
  Json object = {{"access", tried.access},
                 {"effect", tried.effect},
                 {"came_out", shown.came_out},
                 {"verdict", vp::name_of(tried.judgement.verdict)},
                 {"why", shown.why.empty() ? Json() : Json(shown.why)},
                 {"accepted", tried.accepted.empty() ? Json() : Json(tried.accepted)},
                 {"shown_by", tried.shown_by}};
  if (shown.is_masked) object["masked"] = true;
  return object;
}

Json report_json(const Explored& explored) {
  const Report& report = explored.report;
  Json tries = Json::array();
  for (size_t i = 0; i < report.tries.size(); ++i) {
    tries.push_back(try_json(report.tries[i], explored.tries[i]));
  }
  Json unseen = Json::array();
  for (const auto& each : report.unseen) {
    unseen.push_back({{"line", each.line},
                      {"access", each.access},
                      {"effect", each.effect},
                      {"verdict", vp::name_of(each.verdict)},
                      {"reason", each.reason}});
  }
  Json object = {{"action", explored.name},         {"outcome", explored.outcome},
                 {"accesses", report.trace.size()}, {"bad", report.bad()},
                 {"tries", std::move(tries)},       {"accepted_and_not_seen", std::move(unseen)}};
  if (explored.is_masked) object["masked"] = true;
  return object;
}

void print_report(const Explored& explored, const Options& options) {
  const Report& report = explored.report;
  std::map<std::string, int> counts;
  for (const Try& tried : report.tries) ++counts[verdict_text(tried)];
  TextTable table({"ACCESS", "EFFECT", "WHAT CAME OUT", "VERDICT", "WHY"});
  for (size_t i = 0; i < report.tries.size(); ++i) {
    const Try& tried = report.tries[i];
    const ShownTry& shown = explored.tries[i];
    if (!options.all && !tried.judgement.is_bad()) continue;
    table.add({tried.access, tried.effect, harmless(shown.came_out), verdict_text(tried),
               tried.accepted.empty() ? harmless(shown.why) : tried.accepted});
  }
  printf("%s\n", heading(harmless(explored.name)).c_str());
  printf("undisturbed  %s, accesses: %zu\n", harmless(explored.outcome).c_str(),
         report.trace.size());
  std::string line;
  for (const auto& [verdict, count] : counts) {
    line += (line.empty() ? "" : "; ") + std::to_string(count) + " " + verdict;
  }
  printf("tried        %zu: %s\n", report.tries.size(), line.c_str());
  const bool is_told =
      options.all || std::any_of(report.tries.begin(), report.tries.end(),
                                 [](const Try& tried) { return tried.judgement.is_bad(); });
  if (is_told) table.print();
  for (const Try& tried : report.tries) {
    if (!is_bad(tried)) continue;
    printf("\n%s, %s: %s. Shown by\n", tried.access.c_str(), tried.effect.c_str(),
           vp::name_of(tried.judgement.verdict));
    for (const std::string& command : tried.shown_by) {
      if (!command.empty()) printf("  %s\n", command.c_str());
    }
  }
  for (const auto& each : report.unseen) {
    printf("accepted, and not seen here (line %d): %s, %s: %s\n", each.line, each.access.c_str(),
           each.effect.c_str(), vp::name_of(each.verdict));
  }
}

std::string xml(const std::string& text) {
  std::string escaped;
  for (const char each : text) {
    switch (each) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += each >= ' ' && each <= '~' ? each : '.';
    }
  }
  return escaped;
}

std::string junit_of(const std::vector<Explored>& all) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  for (const Explored& explored : all) {
    text += "  <testsuite name=\"" + xml(explored.name) + "\" tests=\"" +
            std::to_string(explored.report.tries.size()) + "\" failures=\"" +
            std::to_string(explored.report.bad()) + "\">\n";
    for (size_t i = 0; i < explored.tries.size(); ++i) {
      const Try& tried = explored.report.tries[i];
      text += "    <testcase classname=\"" + xml(explored.name) + "\" name=\"" +
              xml(tried.access + ": " + tried.effect) + "\"";
      if (!is_bad(tried)) {
        text += "/>\n";
        continue;
      }
      text += "><failure message=\"" + xml(verdict_text(tried)) + "\">" +
              xml(explored.tries[i].why) + "</failure></testcase>\n";
    }
    text += "  </testsuite>\n";
  }
  return text + "</testsuites>\n";
}

void explore_all(Invocation& invocation, const Options& options,
                 const std::vector<Action>& actions) {
  const auto accepted = acceptances(options);
  const int share = share_of(options);
  const uint64_t seed = seed_of(options);
  const Original original(invocation, options.profile);
  std::vector<Explored> all;
  size_t bad = 0;
  Counter counter(actions.size());
  for (const Action& action : actions) {
    const std::string name = typed_words(action);
    exploration::Request request{
        original.directory(), action, name, options.pairs, share, seed, accepted};
    Shower shower(original.directory(), action, options.full);
    counter.begin(harmless(shower.name()));
    Report report =
        exploration::explore(request, [&](size_t done, size_t of) { counter.show(done, of); });
    counter.clear();
    all.push_back(shown_report(shower, name, std::move(report)));
    bad += all.back().report.bad();
    if (!invocation.json) print_report(all.back(), options);
    // What was found so far is worth seeing while the rest goes on.
    static_cast<void>(fflush(stdout));
  }
  if (options.junit.has_value()) write_output_file(*options.junit, junit_of(all));
  if (bad > 0) invocation.exit_status = kCommandFailed;
  if (invocation.json) {
    Json explored = Json::array();
    for (const Explored& each : all) explored.push_back(report_json(each));
    return print({{"seed", share < 100 ? Json(seed) : Json()},
                  {"bad", bad},
                  {"explored", std::move(explored)}});
  }
  if (share < 100) {
    printf("%d %% of the tries, drawn by the seed %llu\n", share,
           static_cast<unsigned long long>(seed));
  }
}

/// Every command, as its example sends it.
std::vector<Action> example_actions() {
  std::vector<Action> actions;
  for (const fcx::Command& row : fcx::command_table()) {
    for (const char* data : row.example.data) {
      if (data == nullptr) continue;
      actions.push_back({Action::Kind::command, row.opcode, bytes_of(data)});
    }
  }
  return actions;
}

}  // namespace

void add_explore(Verb& tool, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  Verb& group = add_command(
      tool, "explore", "Try all that can go wrong while the phone does something",
      "  fcx explore send 4018 123456789012345    a command, in every way disturbed\n"
      "  fcx explore boot                         a start\n"
      "  fcx explore at 'AT%BTAD=02FC0A123456'    an AT line\n"
      "  fcx explore reboot                       switching it off and on\n"
      "  fcx explore commands                     every command, as its example sends it\n"
      "  fcx explore --profile mtk boot           on a fresh phone of that profile\n"
      "  fcx explore --all --json boot            all tries, for a program\n"
      "\n"
      "On copies of the phone, each access of the platform fails once in every way that it can\n"
      "(`fcx trace` shows which there are), and the power is cut after each change of what the\n"
      "phone keeps: what was not flushed is dropped, torn at the end of a block, or kept. After\n"
      "each try the power is cut and the same is done again, undisturbed. Verdicts:\n"
      "  good             it was done as ever, or it was said that it was not\n"
      "  as delivered     an access delivered other content, which nobody can tell from the right\n"
      "                   one, and what came of it shows that\n"
      "  crash, hang      its process was ended by a signal, or does not end\n"
      "  other answer     it said that it was done, and answered something else\n"
      "  not kept         it said that it was done, and it was not, or a power cut took it away\n"
      "  wrong value      what it changes is neither as before nor as it should be\n"
      "  unnamed change   something changed that it does not change when nobody disturbs it\n"
      "  not recovered    undisturbed ones afterwards end otherwise than ever\n"
      "What is known and accepted is told with its reason; --accepted names a file with more, a\n"
      "line each: ACTION | ACCESS | EFFECT | VERDICT | REASON, where * stands for anything. The\n"
      "exit status is 3 when another verdict is bad.",
      {});
  group.require_subcommand(1);
  Choices profiles;
  for (const vp::Profile& profile : vp::profiles()) profiles.push_back({profile.name, ""});
  group.add_option("--profile", options->profile, "A fresh phone of this profile, not the one here")
      .type_name("PROFILE")
      .completes(profiles);
  group.add_option("--accepted", options->accepted, "More outcomes that are accepted")
      .type_name("FILE")
      .completes(Names::file);
  group.add_option("--junit", options->junit, "Write a report for a build server to this file")
      .type_name("FILE")
      .completes(Names::file);
  group.add_option("--share", options->share, "Only so many tries of a hundred, drawn by the seed")
      .type_name("PERCENT");
  group.add_option("--seed", options->seed, "Of the share; another each time when not given")
      .type_name("S");
  group.add_flag("--pairs", options->pairs, "Two failures at a time");
  group.add_flag("--full", options->full, "Show identities whole");
  group.add_flag("--all", options->all, "Show tries with a good verdict, too");
  add_action_verbs(group, invocation, [&invocation, options](const Action& action) {
    explore_all(invocation, *options, {action});
  });
  add_command(group, "commands", "Every command of the table, as its example sends it", "",
              [&invocation, options] { explore_all(invocation, *options, example_actions()); });
}

}  // namespace cli
