// Factory items by the names that people type, and their values as they read them.
#pragma once

#include <string>
#include <string_view>

#include "fcx/factory_item_table.h"

namespace cli {

/// The item that `word` stands for: its number, its name, or the name of one of its accessors with
/// or without "get_", "set_" and "handle_". Throws UsageError.
int item_number(const std::string& word);

/// The bytes of an item as its encoding shows them; of one that has no row as text or hex:BYTES.
std::string item_text(const fcx::FactoryItem* item, std::string_view bytes);

}  // namespace cli
