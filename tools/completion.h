// What can be typed next on the tool's command line, for the completion of shells.
#pragma once

#include <string>
#include <vector>

#include "tools/definition.h"

namespace cli {

/// Whether a shell asks: "fcx completion reply WORD...".
bool asks_for_completion(int argc, char** argv);

/// Prints what the last of these words can become; the others stand before it. The first line says
/// what follows: "words"; "parts", which more is typed behind; or "files" or "directories" of this
/// machine, which the shell knows. Each further line is a word, a tab and what the word means.
void print_completions(const Definition& tool, const std::vector<std::string>& words);

/// The shells that have a script, as they are asked for.
Choices completion_scripts();

/// The script of a shell that asks for these words, or null.
const char* completion_script(const std::string& shell);

}  // namespace cli
