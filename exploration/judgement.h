// What is right and wrong of how a disturbed action ended, beside one that nobody disturbed.
#pragma once

#include <string>

#include "exploration/attempt.h"
#include "virtual_phone/core/enum_names.h"

namespace exploration {

enum class Verdict {
  good,
  as_delivered,    ///< an access delivered other content, and what came of it shows that
  crash,           ///< its process was ended by a signal
  hang,            ///< it does not end
  other_answer,    ///< it said that it was done, and answered something else
  not_kept,        ///< it said that it was done, and it was not, or a power cut took it away
  wrong_value,     ///< what it changes is neither as before nor as it should be
  unnamed_change,  ///< something changed that it does not change when nobody disturbs it
  not_recovered,   ///< undisturbed ones afterwards end otherwise than ever
  error            ///< the bench could not do it
};
}  // namespace exploration

namespace virtual_phone {
template <>
inline constexpr EnumName<exploration::Verdict> kEnumNames<exploration::Verdict>[] = {
    {exploration::Verdict::good, "good"},
    {exploration::Verdict::as_delivered, "as delivered"},
    {exploration::Verdict::crash, "crash"},
    {exploration::Verdict::hang, "hang"},
    {exploration::Verdict::other_answer, "other answer"},
    {exploration::Verdict::not_kept, "not kept"},
    {exploration::Verdict::wrong_value, "wrong value"},
    {exploration::Verdict::unnamed_change, "unnamed change"},
    {exploration::Verdict::not_recovered, "not recovered"},
    {exploration::Verdict::error, "error"}};
}  // namespace virtual_phone

namespace exploration {

/// The same action, with nothing in its way.
struct Reference {
  /// That it ends well says that all was done: a command's answer does. A start does what it can,
  /// and the next one makes up for the rest.
  bool answers_for_all = true;
  Run run;
  Aftermath after;  ///< it was carried out once, and later on
  Aftermath never;  ///< it was not, and later on it was
};

struct Judgement {
  Verdict verdict = Verdict::good;
  std::string why;  ///< unless it is good: which place, or what else
  // Of a place, or an answer: the first bytes of both values.
  std::string is = {};
  std::string should_be = {};

  bool is_bad() const { return verdict != Verdict::good && verdict != Verdict::as_delivered; }
};

/// @param after of an action that has ended, or whose power was cut
Judgement judge(const Reference& reference, const Run& run, const Aftermath& after);

/// Of one that has crashed, hangs, or could not be done.
Judgement judge_ending(const Run& run);

}  // namespace exploration
