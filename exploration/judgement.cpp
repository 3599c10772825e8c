#include "exploration/judgement.h"

#include <algorithm>
#include <optional>

namespace exploration {
namespace {

namespace vp = virtual_phone;

/// What is told of a value: more than anybody shows.
std::string beginning(const std::string& value) {
  constexpr size_t kLongest = 128;
  return value.substr(0, kLongest);
}

Judgement other(Verdict verdict, const std::string& what, const std::string& is,
                const std::string& should_be) {
  return {verdict, what, beginning(is), beginning(should_be)};
}

Judgement difference(Verdict verdict, const std::string& place, const Places& is,
                     const Places& should_be) {
  return other(verdict, place, value_at(is, place), value_at(should_be, place));
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
      return difference(Verdict::unnamed_change, place, now, before);
    }
    return difference(Verdict::wrong_value, place, now, changed);
  }
  return {};
}

/// Of an action that has answered as ever that it is done.
Judgement judge_done(const Reference& reference, const Aftermath& after) {
  const auto others = differing(after.running, reference.after.running);
  if (!others.empty()) {
    return difference(Verdict::not_kept, others.front(), after.running, reference.after.running);
  }
  for (const std::string& place : differing(after.cut, after.running)) {
    if (!outlives_restart(place)) continue;
    return other(Verdict::not_kept, "after a power cut " + place, value_at(after.cut, place),
                 value_at(after.running, place));
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
    bad = others.empty()
              ? other(Verdict::not_recovered, "afterwards", after.outcomes.back(),
                      ever->outcomes.back())
              : other(Verdict::not_recovered, "afterwards " + others.front(),
                      value_at(after.later, others.front()), value_at(ever->later, others.front()));
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
    judgement =
        other(Verdict::other_answer, "the answer", run.outcome.text, reference.run.outcome.text);
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
