// A power cut: what was flushed is kept, and the rest is lost.
#pragma once

#include "virtual_phone/core/enum_names.h"

namespace virtual_phone {

/// What becomes of what was not flushed: it is lost, cut at the end of a block, or kept.
enum class Unflushed { dropped, torn, kept };
template <>
inline constexpr EnumName<Unflushed> kEnumNames<Unflushed>[] = {
    {Unflushed::dropped, "dropped"}, {Unflushed::torn, "torn"}, {Unflushed::kept, "kept"}};

class Phone;

/// Cuts the power of a phone that is at rest: what was not flushed goes as `unflushed` says, and
/// the uptime ends. Recorded as an event of the kind kPowerCutEvent.
void cut_power(Phone& phone, Unflushed unflushed);

}  // namespace virtual_phone
