// The phone's factory items. An item is a block of 2048 bytes, zero where nothing was written.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

constexpr size_t kItemBlock = 2048;
/// Blocks of the factory item partition, of which its file holds only what is written.
constexpr size_t kPartitionBlocks = 4096;

/// The first `length` bytes from item `number` on; they may run on into the items after it.
std::string read_items(Phone& phone, int number, size_t length);

/// Throws Refused for a number that no item has.
void check_item(int64_t number);

/// Writes the first bytes of an item, which are on disk when this returns, all or none. Throws
/// Refused when they are more than an item holds.
void write_item(Phone& phone, int number, std::string_view bytes);

/// The items that were ever written, with the bytes up to the last one written.
std::map<int, std::string> written_items(Phone& phone);

}  // namespace virtual_phone
