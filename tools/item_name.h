// Factory items by the names that people type.
#pragma once

#include <string>

namespace cli {

/// The item that `word` stands for: its number, its name, or the name of one of its accessors with
/// or without "get_", "set_" and "handle_". Throws UsageError.
int item_number(const std::string& word);

}  // namespace cli
