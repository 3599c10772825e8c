// Texts of a plan that say more than their characters.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "station/plan.h"

namespace station {

/// Whether a variable can be called so: letters, digits and _, no digit first, 64 at most.
bool is_variable_name(std::string_view name);

/// A text that has ${NAME} for variables and $$ for a dollar. Nothing, and why in `wrong`, where a
/// dollar is neither.
std::optional<Text> read_text_with_variables(std::string_view text, std::string& wrong);

/// "500 ms", "10 s", "2 min", "1 h" in milliseconds: a whole number of at most 9 digits, a blank or
/// none, and the unit. Nothing for anything else.
std::optional<int64_t> read_duration(std::string_view text);

/// The counter's text so many steps on: the digits at the end of `first` count, and keep their
/// width. Nothing where they would need another one, or where there are none.
std::optional<std::string> counted_on(const std::string& first, uint64_t steps);

}  // namespace station
