// Numbers and names that somebody has typed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/errors.h"

namespace cli {

/// A whole number, or UsageError that names `what`.
int64_t number_of(const std::string& text, const std::string& what);
/// The same, not negative.
size_t count_of(const std::string& text, const std::string& what);

/// What --bits says of a pixel: 16 or 32, or UsageError.
int bits_of(const std::string& text);

/// What to say to a word that is none of `names`: "no KIND is called "WORD"", the names nearest to
/// it, and which command lists all of them.
UsageError unknown_name(const std::string& kind, const std::string& word,
                        const std::vector<std::string>& names, const std::string& lists_them);

}  // namespace cli
