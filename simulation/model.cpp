#include "simulation/model.h"

#include <algorithm>
#include <set>
#include <utility>

#include "simulation/commands.h"
#include "simulation/start_model.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;
using Kind = factory_daemon::Action::Kind;
using End = Report::End;

constexpr char kKelpDirectory[] = "file /mnt/vendor/persist-qv/kelp/";
constexpr char kCacheDirectory[] = "file /mnt/vendor/persist-qv/property/";

bool begins(const std::string& text, std::string_view with) {
  return text.compare(0, with.size(), with) == 0;
}

/// A file that somebody has left who was interrupted; whoever comes next removes it.
bool is_left_over(const std::string& key) {
  constexpr std::string_view kTemporary = "/temporary";
  if (key.size() > kTemporary.size() &&
      key.compare(key.size() - kTemporary.size(), kTemporary.size(), kTemporary) == 0) {
    return true;
  }
  // Copies of the package's files.
  return begins(key, kKelpDirectory) &&
         (key.find(".xml") != std::string::npos || key.find(".cfg") != std::string::npos);
}

/// In directories that somebody has cleared who was not disturbed.
std::optional<Failure> find_left_over(const std::set<std::string>& directories, const State& now) {
  for (const auto& [key, value] : now) {
    const std::string directory = key.substr(0, key.rfind('/') + 1);
    if (!is_left_over(key) || directories.count(directory) == 0) continue;
    return Failure{Failure::Kind::value, key, std::nullopt, value};
  }
  return std::nullopt;
}

/// Those in which it replaces files.
std::set<std::string> directories_of(const Effect& effect) {
  std::set<std::string> directories;
  for (const Change& change : effect.changes) {
    if (begins(change.key, "file /mnt/")) {
      directories.insert(change.key.substr(0, change.key.rfind('/') + 1));
    }
  }
  return directories;
}

/// An answer has a second to leave before the phone does.
std::optional<Failure> check_reboot(const Step& step, const Report& report, const Effect& effect) {
  constexpr int64_t kAnswerUs = 1'000'000;
  const std::string expected =
      effect.restarts ? std::string("restart, reason ") + effect.reason : "none";
  const bool is_early = report.reboot.has_value() && report.reboot->after_us < kAnswerUs;
  const std::string found = !report.reboot.has_value() ? "none"
                            : is_early ? report.reboot->detail + ", before the answer has left"
                                       : report.reboot->detail;
  const bool may_lack = step.disturbance.has_value() && !report.reboot.has_value();
  if (found == expected || may_lack) return std::nullopt;
  return Failure{Failure::Kind::value, kReboot, expected, found};
}

/// What makes a difference to somebody.
State without_left_overs(State state) {
  const std::string unfinished = property_key("persist.vendor.qve.sbp.unfinished");
  if (value_in(state, unfinished) == "0") state.erase(unfinished);
  for (auto each = state.begin(); each != state.end();) {
    each = is_left_over(each->first) ? state.erase(each) : std::next(each);
  }
  return state;
}

void apply(const Change& change, const std::string& value, State& state) {
  constexpr std::string_view kItem = "item ";
  if (begins(change.key, kItem)) {
    set_item(state, std::stoi(change.key.substr(kItem.size())), value);
  } else if (value.empty() && begins(change.key, "property ")) {
    state.erase(change.key);
  } else {
    state[change.key] = value;
  }
}

/// Each of them, one after another, as far as it went.
std::vector<State> interrupted(const State& before, const Effect& effect) {
  std::vector<State> all = {before};
  for (const Change& change : effect.changes) {
    State next = all.back();
    if (change.is_emptied_first) {
      apply(change, "", next);
      all.push_back(next);
    }
    apply(change, change.value, next);
    all.push_back(next);
  }
  return all;
}

/// Each of them or not.
std::vector<State> failed(const State& before, const Effect& effect, bool is_done) {
  std::vector<State> all = {before};
  for (const Change& change : effect.changes) {
    std::vector<State> next;
    for (const State& state : all) {
      State changed = state;
      apply(change, change.value, changed);
      next.push_back(changed);
      if (is_done && change.is_promised) continue;
      next.push_back(state);
      if (!change.is_emptied_first && change.instead == nullptr) continue;
      apply(change, change.is_emptied_first ? "" : change.instead, changed);
      next.push_back(changed);
    }
    all = next;
  }
  return all;
}

std::optional<std::string> found_in(const State& state, const std::string& key) {
  const auto found = state.find(key);
  return found == state.end() ? std::nullopt : std::optional(found->second);
}

/// Nothing when it is one of them; else the difference from the one that is nearest.
std::optional<Failure> compare(const std::vector<State>& allowed, const State& now) {
  const State found = without_left_overs(now);
  std::optional<Failure> nearest;
  size_t fewest = 0;
  for (const State& each : allowed) {
    const State expected = without_left_overs(each);
    const auto failure = difference(expected, found);
    if (!failure.has_value()) return std::nullopt;
    std::set<std::string> differing;
    for (const State* state : {&expected, &found}) {
      for (const auto& [key, value] : *state) {
        if (found_in(expected, key) != found_in(found, key)) differing.insert(key);
      }
    }
    if (nearest.has_value() && differing.size() >= fewest) continue;
    nearest = failure;
    fewest = differing.size();
  }
  return nearest;
}

void take(const std::vector<std::string>& part, const State& from, State& world) {
  for (const std::string& key : part) {
    const auto value = found_in(from, key);
    if (value.has_value()) {
      world[key] = *value;
    } else {
      world.erase(key);
    }
  }
}

State decided_in(const State& state) {
  State world;
  for (const auto& part : decided_parts()) take(part, state, world);
  return world;
}

/// Parts of a decision, what a fault stands on as one of its own.
std::vector<std::vector<std::string>> parts_for(const Step& step) {
  std::vector<std::vector<std::string>> parts = decided_parts();
  const bool is_file = step.is_struck_by(vp::Part::file);
  if (!is_file && !step.is_struck_by(vp::Part::property)) return parts;
  const std::string& target = step.disturbance->target;
  const std::string key = is_file ? file_key(target) : property_key(target);
  for (auto& part : parts) part.erase(std::remove(part.begin(), part.end(), key), part.end());
  parts.push_back({key});
  return parts;
}

/// Every way in which each part of a decision may be from one of these.
std::set<State> mixtures(const std::vector<std::vector<std::string>>& parts,
                         const std::vector<State>& sources) {
  std::set<State> all = {{}};
  for (const auto& part : parts) {
    std::set<State> next;
    for (const State& world : all) {
      for (const State& from : sources) {
        State mixed = world;
        take(part, from, mixed);
        next.insert(mixed);
      }
    }
    all = next;
  }
  return all;
}

/// What a start may leave that is interrupted between `before` and `after`.
std::vector<State> begun(const Step& step, const State& before, const Product& product) {
  State first = before;
  if (is_first_start(before)) {
    for (const auto& [key, value] : first_start_defaults(product)) first[key] = value;
  }
  State without_file = first;
  // What is of another SIM, and cannot be replaced, goes.
  for (const auto& part : parts_for(step)) {
    for (const std::string& key : part) {
      if (begins(key, kKelpDirectory)) without_file.erase(key);
    }
  }
  std::vector<State> all = {first,
                            without_file,
                            replayed(before, product),
                            without_profile(before, product),
                            identified_by_carrier(before, product),
                            with_carrier_unnoted(before, product),
                            with_carrier_unnoted(started(before, product), product)};
  if (!step.is_struck_by(vp::Part::property)) return all;
  // Nobody can tell a property that cannot be read from one that is not there.
  const std::string unread = property_key(step.disturbance->target);
  State without = before;
  without.erase(unread);
  all.push_back(started(without, product));
  return all;
}

std::string shown(const std::optional<std::string>& value) {
  constexpr size_t kMost = 300;
  return value.has_value() ? "\"" + shown_value(value->substr(0, kMost)) + "\"" : "nothing";
}

}  // namespace

std::optional<Failure> difference(const State& expected, const State& found) {
  for (const State* state : {&expected, &found}) {
    for (const auto& [key, value] : *state) {
      if (found_in(expected, key) == found_in(found, key)) continue;
      return Failure{Failure::Kind::value, key, found_in(expected, key), found_in(found, key)};
    }
  }
  return std::nullopt;
}

std::string text_of(const Failure& failure) {
  switch (failure.kind) {
    case Failure::Kind::crash:
      return "the daemon crashed: " + failure.found.value_or("");
    case Failure::Kind::hang:
      return "the daemon hung: " + failure.found.value_or("");
    case Failure::Kind::answer:
      return "the answer is " + shown(failure.found) + ", and should be " + shown(failure.expected);
    case Failure::Kind::value:
      break;
  }
  return failure.key + " is " + shown(failure.found) + ", and should be " + shown(failure.expected);
}

Model::Model(const Product& product, State fresh)
    : product_(product), fresh_(std::move(fresh)), last_(fresh_), worlds_{decided_in(fresh_)} {}

State Model::in_world(const State& world) const {
  State state = last_;
  for (const auto& part : decided_parts()) take(part, world, state);
  return state;
}

void Model::forget_what_was_reset(const State& now) {
  const std::string always_set = property_key("persist.vendor.qve.sim.profile");
  if (last_.count(always_set) == 0 || now.count(always_set) > 0) return;
  for (State& world : worlds_) {
    State noted = in_world(world);
    noted[property_key("persist.vendor.qve.factory.reset")] = "1";
    world = decided_in(restart(noted));
  }
}

State Model::restart(const State& before) const { return restarted(before, fresh_, product_); }

std::optional<Failure> Model::check(const Step& step, const Report& report, const State& now) {
  if (report.end == End::crashed || report.end == End::hung) {
    const auto kind = report.end == End::hung ? Failure::Kind::hang : Failure::Kind::crash;
    return Failure{kind, "", std::nullopt, report.answer};
  }
  const bool is_cut = report.end == End::power_cut || step.kind == Step::Kind::power_cut;
  if (is_cut) {
    lose_unflushed(now, last_);
    for (State& world : worlds_) {
      lose_unflushed(now, world);
      world = decided_in(world);
    }
  }
  const auto failure =
      step.is_start() ? check_start(step, report, now) : check_other(step, report, now);
  if (is_cut) {
    unflushed_.clear();
  } else {
    note_changed_files(now, !step.disturbance.has_value() || is_vouched_for(step, report));
  }
  last_ = now;
  return failure;
}

bool Model::is_vouched_for(const Step& step, const Report& report) const {
  if (report.end != End::answered || !report.is_done || step.is_start()) return false;
  if (step.is_action(Kind::restart)) return true;
  const auto changes = effect_of(step, last_, product_).changes;
  return std::all_of(changes.begin(), changes.end(),
                     [](const Change& change) { return change.is_promised; });
}

void Model::note_changed_files(const State& now, bool are_flushed) {
  for (const State* state : {&std::as_const(last_), &now}) {
    for (const auto& [key, value] : *state) {
      if (!begins(key, "file ") || found_in(last_, key) == found_in(now, key)) continue;
      if (are_flushed) {
        unflushed_.erase(key);
      } else {
        unflushed_[key].insert(found_in(last_, key));
      }
    }
  }
}

void Model::lose_unflushed(const State& now, State& state) const {
  for (const auto& [key, earlier] : unflushed_) {
    if (earlier.count(found_in(now, key)) > 0) take({key}, now, state);
  }
}

std::optional<Failure> Model::check_start(const Step& step, const Report& report,
                                          const State& now) {
  if (step.disturbance.has_value()) return check_disturbed_start(step, now);
  const bool begins_uptime = step.is_action(Kind::start);
  std::vector<State> allowed;
  for (const State& world : worlds_) {
    const State before = in_world(world);
    allowed.push_back(started(begins_uptime ? restart(before) : before, product_));
  }
  if (const auto failure = compare(allowed, now)) return failure;
  if (!report.is_done) return Failure{Failure::Kind::answer, "", "a start", report.answer};
  worlds_ = {decided_in(now)};
  return find_left_over({kKelpDirectory, kCacheDirectory}, now);
}

std::optional<Failure> Model::check_note(const Note& note, const Step& step,
                                         const State& now) const {
  // A property that cannot be read makes it another start.
  const bool is_excused =
      step.is_struck_by(vp::Part::property) &&
      (note.is_made_where_that_was_refused || step.disturbance->access == vp::Access::read);
  if (is_excused) return std::nullopt;
  std::optional<Failure> first;
  for (const State& world : worlds_) {
    const State held = in_world(world);
    const State before = step.is_action(Kind::start) ? restart(held) : held;
    const State after = started(before, product_);
    const auto noted = found_in(now, note.key);
    const bool is_new = noted != found_in(before, note.key) && noted == value_in(now, "sim iccid");
    if (!is_new || noted != found_in(after, note.key)) return std::nullopt;
    const auto wrong = std::find_if(
        note.stands_for.begin(), note.stands_for.end(),
        [&](const std::string& key) { return found_in(now, key) != found_in(after, key); });
    if (wrong == note.stands_for.end()) return std::nullopt;
    first = Failure{Failure::Kind::value, *wrong, found_in(after, *wrong), found_in(now, *wrong)};
  }
  return first;
}

std::optional<Failure> Model::check_disturbed_start(const Step& step, const State& now) {
  for (const Note& note : notes()) {
    if (const auto failure = check_note(note, step, now)) return failure;
  }
  const bool begins_uptime = step.is_action(Kind::start);
  std::vector<State> possible;
  std::set<State> worlds;
  // It is not read, or not found in a list that is not.
  const bool is_sim_unheard =
      step.is_struck_by(vp::Part::request) || step.is_struck_by(vp::Part::service) ||
      (step.is_struck_by(vp::Part::property) && step.disturbance->access == vp::Access::read);
  for (const State& world : worlds_) {
    const State held = in_world(world);
    const State before = begins_uptime ? restart(held) : held;
    std::vector<State> sources = begun(step, before, product_);
    if (const auto waiting = left_waiting(now, is_sim_unheard)) {
      sources.push_back(sources.front());
      for (const auto& [key, value] : *waiting) sources.back()[key] = value;
    }
    sources.push_back(before);
    sources.push_back(started(before, product_));
    worlds.merge(mixtures(parts_for(step), sources));
    for (const State& each : sources) {
      possible.push_back(each);
      possible.push_back(restart(each));  // the power may be cut
    }
  }
  possible.push_back(begins_uptime ? restart(last_) : last_);
  worlds_.assign(worlds.begin(), worlds.end());
  forget_what_was_reset(now);
  std::set<std::string> keys;
  for (const State& state : possible) {
    for (const auto& [key, value] : state) keys.insert(key);
  }
  for (const auto& [key, value] : now) keys.insert(key);
  // What it passes through on its way, from one value to another.
  static const State kPassing[] = {
      {{property_key("persist.vendor.qve.sbp.unfinished"), "1"},
       {property_key("persist.vendor.qve.sim-changed"), "2"},
       {property_key("persist.vendor.qve.first-mcc"), "FFF"},
       {property_key("persist.vendor.qve.first-mccmnc"), "FFFFF"},
       {property_key("persist.vendor.qve.first-boot"), "1"}},
      {{property_key("persist.vendor.qve.first-boot"), "0"},
       {property_key("persist.vendor.qve.sbp.unfinished"), "0"},
       {property_key("persist.vendor.qve.sim-changed"), "1"},
       {property_key("persist.vendor.qve.mcc-list"), ""}},  // of a code that cannot be read
      {{property_key("persist.vendor.qve.sim-changed"), "0"}},
  };
  for (const std::string& key : keys) {
    if (is_left_over(key) || key == "sim polls" || begins(key, "property vendor.ril.")) continue;
    const auto found = found_in(now, key);
    const auto is_found = [&](const State& state) { return found_in(state, key) == found; };
    const bool is_passed = std::any_of(std::begin(kPassing), std::end(kPassing), is_found);
    if ((found.has_value() && is_passed) ||
        std::any_of(possible.begin(), possible.end(), is_found)) {
      continue;
    }
    return Failure{Failure::Kind::value, key, found_in(possible.front(), key), found};
  }
  return std::nullopt;
}

std::optional<Failure> Model::check_other(const Step& step, const Report& report,
                                          const State& now) {
  const bool is_restart = step.is_action(Kind::restart) || step.kind == Step::Kind::power_cut;
  const Effect effect =
      is_restart ? Effect{{}, report.answer, true} : effect_of(step, last_, product_);
  const State before = last_;
  std::vector<State> allowed;
  if (report.end != End::answered) {
    allowed = interrupted(before, effect);
  } else if (step.disturbance.has_value()) {
    const bool is_answer = report.answer == effect.answer;
    if (report.is_done && !is_answer && !is_excused(step, report.answer)) {
      return Failure{Failure::Kind::answer, "", effect.answer, report.answer};
    }
    allowed = failed(before, effect, is_answer);
  } else {
    if (report.answer != effect.answer) {
      return Failure{Failure::Kind::answer, "", effect.answer, report.answer};
    }
    allowed = {interrupted(before, effect).back()};
  }
  if (!is_restart) {
    if (const auto failure = check_reboot(step, report, effect)) return failure;
  }
  const bool is_cut = report.end == End::power_cut || step.kind == Step::Kind::power_cut;
  const bool restarts = effect.restarts || is_cut;
  const bool may_not = step.disturbance.has_value() && !is_cut;
  if (restarts) {
    const size_t count = allowed.size();
    for (size_t i = 0; i < count; ++i) {
      if (may_not) allowed.push_back(allowed[i]);
      allowed[i] = restart(allowed[i]);
    }
    forget_what_was_reset(now);
  }
  if (const auto failure = compare(allowed, now)) return failure;
  return step.disturbance.has_value() ? std::nullopt : find_left_over(directories_of(effect), now);
}

}  // namespace simulation
