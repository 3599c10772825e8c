#include "tools/item_name.h"

#include "fcx/factory_item_table.h"
#include "tools/text.h"
#include "tools/words.h"
#include "virtual_phone/core/item_store.h"

namespace cli {

int item_number(const std::string& word) {
  if (!word.empty() && word.find_first_not_of("0123456789") == std::string::npos) {
    const int64_t number = number_of(word, "an item");
    virtual_phone::check_item(number);
    return static_cast<int>(number);
  }
  std::vector<std::string> names;
  for (const fcx::FactoryItem& item : fcx::kFactoryItems) {
    if (word == item.name) return item.index;
    names.push_back(item.name);
  }
  for (const fcx::FactoryItem& item : fcx::kFactoryItems) {
    for (const char* accessor : {item.reader, item.writer}) {
      if (accessor == nullptr) continue;
      const std::string name = accessor;
      for (const char* prefix : {"", "get_", "set_", "handle_get_", "handle_set_"}) {
        if (name == prefix + word) return item.index;
      }
      names.push_back(name);
    }
  }
  throw unknown_name("item", word, names, "fcx item list");
}

std::string item_text(const fcx::FactoryItem* item, std::string_view bytes) {
  if (item != nullptr && item->encoding == fcx::Encoding::flag_byte) {
    return std::to_string(bytes.empty() ? 0 : static_cast<uint8_t>(bytes[0]));
  }
  const size_t used = bytes.find_last_not_of('\0');
  return shown(bytes.substr(0, used == std::string_view::npos ? 0 : used + 1));
}

}  // namespace cli
