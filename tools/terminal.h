// What the output is shown on: how wide it is, and whether it has colours.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// Whether --wide was given: what is wider than the terminal is printed whole.
inline bool is_wide = false;

/// The columns that standard output has: of a terminal $COLUMNS, else what it says itself, else 80.
/// Nothing for a pipe, a file, or with --wide.
std::optional<size_t> output_columns();

/// The same for text that is wrapped anywhere: 80 where there is no terminal.
size_t text_columns();

/// The columns that a text takes. What is no UTF-8 takes one a byte.
size_t columns_of(std::string_view text);

/// Text in lines of at most so many columns, broken at blanks; a longer word has a line of its own.
std::vector<std::string> wrapped(std::string_view text, size_t columns);

/// Text in pieces of at most so many columns, broken after a mark of a name or a path where there
/// is one in the second half of a piece.
std::vector<std::string> split_at(std::string_view text, size_t columns);

/// Bold on a terminal with colours. What is printed elsewhere, and with $NO_COLOR or TERM=dumb, is
/// plain.
std::string heading(const std::string& text);

/// The same in red, for what is printed to `stream`.
std::string failure(const std::string& text, FILE* stream);

}  // namespace cli
