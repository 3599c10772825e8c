// The rows of fcx/factory_items.def as data. The accessors, the command handlers and the fcx tool
// read the same rows. To add an item, see docs/architecture.md.
//
// Example:
//
//   #include <cstdio>
//
//   constexpr const fcx::FactoryItem& imei = fcx::factory_item<fcx::item::imei>();
//   static_assert(imei.index == 13 && imei.length == 20);
//   const fcx::FactoryItem* unknown = fcx::find_factory_item(4000);  // null: no row has it
//   for (const fcx::FactoryItem& item : fcx::kFactoryItems) {
//     if (&item != unknown) printf("%d %s: %s\n", item.index, item.name, item.meaning);
//   }
#pragma once

#include <cstddef>
#include <iterator>

namespace fcx {

/// What an item's bytes are.
enum class Encoding {
  flag_byte,   ///< one raw byte, a small number
  digit_byte,  ///< one ASCII digit
  text,        ///< NUL-terminated ASCII; a text of the full length has no NUL
  bytes,       ///< as their owner likes
};

/// What may be shown of an item.
enum class Privacy {
  open,      ///< all of it
  identity,  ///< it names one handset: a part only, in listings
};

/// The items' numbers by their names: item::imei.
namespace item {

#define FCX_ITEM(index, name, length, encoding, privacy, reading, reader, writing, writer, \
                 meaning)                                                                  \
  constexpr int name = index;
#include "fcx/factory_items.def"
#undef FCX_ITEM

}  // namespace item

/// A row of fcx/factory_items.def. Its texts are constant.
struct FactoryItem {
  int index;            ///< the item's number in the store
  const char* name;     ///< as in item::name
  size_t length;        ///< bytes
  Encoding encoding;    ///< what they are
  Privacy privacy;      ///< what may be shown of them
  const char* reader;   ///< the accessor or handler that reads it, or null
  const char* writer;   ///< likewise for writing
  const char* meaning;  ///< for people
};

/// The longest item, in bytes; any item may be read with this length.
constexpr size_t kLongestItem = 2048;

// A row names its accessor unless the form says that there is none.
#define FCX_ITEM_NAME_flag(name) #name
#define FCX_ITEM_NAME_text(name) #name
#define FCX_ITEM_NAME_raw(name) #name
#define FCX_ITEM_NAME_own(name) #name
#define FCX_ITEM_NAME_handler(name) #name
#define FCX_ITEM_NAME_none(name) nullptr
#define FCX_ITEM(index, name, length, encoding, privacy, reading, reader, writing, writer, \
                 meaning)                                                                  \
  {index,                                                                                  \
   #name,                                                                                  \
   length,                                                                                 \
   Encoding::encoding,                                                                     \
   Privacy::privacy,                                                                       \
   FCX_ITEM_NAME_##reading(reader),                                                        \
   FCX_ITEM_NAME_##writing(writer),                                                        \
   meaning},

/// All items, by ascending index.
inline constexpr FactoryItem kFactoryItems[] = {
#include "fcx/factory_items.def"
};

#undef FCX_ITEM
#undef FCX_ITEM_NAME_flag
#undef FCX_ITEM_NAME_text
#undef FCX_ITEM_NAME_raw
#undef FCX_ITEM_NAME_own
#undef FCX_ITEM_NAME_handler
#undef FCX_ITEM_NAME_none

/// Where the row of `index` stands; the number of rows when there is none.
constexpr size_t factory_item_position(int index) {
  size_t position = 0;
  while (position < std::size(kFactoryItems) && kFactoryItems[position].index != index) ++position;
  return position;
}

/// The row of `index`, or null when no row describes that item.
constexpr const FactoryItem* find_factory_item(int index) {
  const size_t position = factory_item_position(index);
  return position < std::size(kFactoryItems) ? &kFactoryItems[position] : nullptr;
}

/// The row of an item that the table is known to hold.
template <int index>
constexpr const FactoryItem& factory_item() {
  constexpr size_t position = factory_item_position(index);
  static_assert(position < std::size(kFactoryItems),
                "no row in fcx/factory_items.def has this index");
  return kFactoryItems[position];
}

/// Rows ascend, none is given twice, and every length is possible.
constexpr bool factory_items_are_sound() {
  int last = -1;
  for (const FactoryItem& item : kFactoryItems) {
    if (item.index <= last || item.length < 1 || item.length > kLongestItem) return false;
    last = item.index;
  }
  return true;
}
static_assert(factory_items_are_sound(),
              "the rows of fcx/factory_items.def ascend and have lengths of 1 to 2048");

}  // namespace fcx
