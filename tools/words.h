// Numbers and names that somebody has typed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "daemon/words.h"
#include "tools/definition.h"
#include "tools/errors.h"

namespace cli {

/// A whole number, or UsageError that names `what`.
int64_t number_of(const std::string& text, const std::string& what);
/// The same, not negative.
size_t count_of(const std::string& text, const std::string& what);

/// What --bits says of a pixel: 16 or 32, or UsageError.
int bits_of(const std::string& text);
Choices bits_choices();

using factory_daemon::contains;

/// What to say to a word that is none of `names`: "no KIND is called "WORD"", the names nearest to
/// it, and which command lists all of them.
UsageError unknown_name(const std::string& kind, const std::string& word,
                        const std::vector<std::string>& names, const std::string& lists_them);
/// The same of a command: `names` are those of the tool, or of one of its commands, which was typed
/// as `typed`. All of a few are told when none is near.
UsageError unknown_verb(const std::string& word, const std::vector<std::string>& names,
                        const std::string& typed);
/// The same of an option of the command that was typed as `typed`.
UsageError unknown_option(const std::string& option, const std::vector<std::string>& options,
                          const std::string& typed, bool takes_words);

}  // namespace cli
