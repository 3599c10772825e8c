// Words that somebody has written, and the names that may have been meant.
#pragma once

#include <string>
#include <vector>

namespace factory_daemon {

/// Of ASCII's letters.
std::string in_lower_case(std::string text);

/// Whether `part` is in `text`, in whatever case.
bool contains(const std::string& text, const std::string& part);

/// Of `names`, the ones nearest to a word, the nearest first; of equal ones the shortest. Three at
/// most, and none where none is near.
std::vector<std::string> nearest(const std::string& typed, const std::vector<std::string>& names);

/// "a, b, c".
std::string joined(const std::vector<std::string>& names);

}  // namespace factory_daemon
