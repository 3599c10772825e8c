#include "exploration/judgement.h"

#include <algorithm>
#include <optional>

namespace exploration {
namespace {

namespace vp = virtual_phone;

/// A place's value for people: short, and in printable characters.
std::string shown(const std::string& value) {
  constexpr size_t kLongest = 60;
  std::string text;
  for (const char each : value.substr(0, kLongest)) {
    text += each >= ' ' && each <= '~' ? each : '.';
  }
  return text + (value.size() > kLongest ? "..." : "");
}

std::string difference(const std::string& name, const Places& is, const Places& should_be) {
  return name + ": " + shown(value_at(is, name)) + ", not " + shown(value_at(should_be, name));
}

bool is_property(const std::string& place) {
  constexpr std::string_view kProperty = "property ";
  return place.compare(0, kProperty.size(), kProperty) == 0;
}

/// Whether a restart leaves it: other properties are gone then, or as the image has them.
bool outlives_restart(const std::string& place) {
  constexpr std::string_view kPersistent = "property persist.";
  return !is_property(place) || place.compare(0, kPersistent.size(), kPersistent) == 0;
}

bool is_temporary_file(const std::string& place) {
  return place.find("/.temp.") != std::string::npos;
}

std::string without_zeros(const std::string& bytes) {
  return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

/// Whether the undisturbed action writes that value on its way.
bool is_on_its_way(const Reference& reference, const std::string& place, const std::string& value) {
  return std::any_of(
      reference.run.trace.begin(), reference.run.trace.end(), [&](const vp::PlatformAccess& each) {
        const std::string name = std::string(vp::name_of(each.part)) + " " + each.target;
        const bool is_there = place == name || place.compare(0, name.size() + 1, name + " ") == 0;
        const std::string given = without_zeros(each.given);
        return is_there && each.access == vp::Access::write &&
               (given == value || (given.empty() && value == kNothing));
      });
}

/// The first place that holds what it should not, where old and new values are right.
Judgement judge_changes(const Reference& reference, const Places& now, const Places& before,
                        const Places& changed) {
  for (const std::string& place : differing(now, before)) {
    const std::string value = value_at(now, place);
    if (value == value_at(changed, place)) continue;
    // A start sets its properties by what it finds; what it makes of it is for this uptime. And the
    // next replacement in its directory removes a temporary file.
    const bool is_for_now = is_property(place) && !reference.answers_for_all;
    if (is_for_now || is_temporary_file(place)) continue;
    if (is_on_its_way(reference, place, value)) continue;
    if (value_at(before, place) == value_at(changed, place)) {
      return {Verdict::unnamed_change, difference(place, now, before)};
    }
    return {Verdict::wrong_value, difference(place, now, changed)};
  }
  return {};
}

/// Of an action that has answered as ever that it is done.
Judgement judge_done(const Reference& reference, const Aftermath& after) {
  const auto others = differing(after.running, reference.after.running);
  if (!others.empty()) {
    return {Verdict::not_kept, difference(others.front(), after.running, reference.after.running)};
  }
  for (const std::string& place : differing(after.cut, after.running)) {
    if (!outlives_restart(place)) continue;
    return {Verdict::not_kept, "after a power cut " + difference(place, after.cut, after.running)};
  }
  return {};
}

/// Of one that may have done a part: nothing is neither old nor new.
Judgement judge_part(const Reference& reference, const Run& run, const Aftermath& after) {
  const Judgement cut =
      judge_changes(reference, after.cut, reference.never.cut, reference.after.cut);
  if (cut.verdict != Verdict::good || run.ending != Ending::ended) return cut;
  return judge_changes(reference, after.running, reference.never.running, reference.after.running);
}

Judgement judge_recovery(const Reference& reference, const Aftermath& after) {
  std::optional<Judgement> bad;
  for (const Aftermath* ever : {&reference.after, &reference.never}) {
    const auto others = differing(after.later, ever->later);
    const bool answers_alike = after.outcomes.empty() || ever->outcomes.empty() ||
                               after.outcomes.back() == ever->outcomes.back();
    if (others.empty() && answers_alike) return {};
    if (bad.has_value()) continue;
    bad = {Verdict::not_recovered,
           others.empty() ? shown(after.outcomes.back()) + ", not " + shown(ever->outcomes.back())
                          : "afterwards " + difference(others.front(), after.later, ever->later)};
  }
  return *bad;
}

}  // namespace

Judgement judge(const Reference& reference, const Run& run, const Aftermath& after) {
  const bool is_done = reference.answers_for_all && run.ending == Ending::ended &&
                       run.outcome.is_done && reference.run.outcome.is_done;
  const bool is_as_ever = is_done && run.outcome.text == reference.run.outcome.text;
  Judgement judgement =
      is_as_ever ? judge_done(reference, after) : judge_part(reference, run, after);
  if (judgement.verdict == Verdict::good) judgement = judge_recovery(reference, after);
  if (judgement.verdict == Verdict::good && is_done && !is_as_ever) {
    judgement = {Verdict::other_answer,
                 shown(run.outcome.text) + ", not " + shown(reference.run.outcome.text)};
  }
  // Nobody can tell it from the content that there is: it is answered and kept as it came.
  if (run.is_spoilt && judgement.is_bad()) judgement.verdict = Verdict::as_delivered;
  return judgement;
}

Judgement judge_ending(const Run& run) {
  switch (run.ending) {
    case Ending::crash:
      return {Verdict::crash, run.what};
    case Ending::hang:
      return {Verdict::hang, run.what};
    default:
      return {Verdict::error, run.what};
  }
}

}  // namespace exploration
