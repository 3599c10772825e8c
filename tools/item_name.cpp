#include "tools/item_name.h"

#include "fcx/factory_item_table.h"
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

}  // namespace cli
