// The factory item store as all of the library reaches it: the store's own functions, and a word in
// the log when one fails since nobody has opened the store.
#pragma once

#include <cstddef>

namespace fcx {

/// Reads, or writes, the first `size` bytes of an item.
/// @return what the store returned: negative when it failed. Before init_factory_item() has
///         succeeded the first such failure is an ERROR line, which says what to call.
[[nodiscard]] int read_store(int index, void* buffer, size_t size);
[[nodiscard]] int write_store(int index, const void* bytes, size_t size);

/// Reads `size` bytes that begin at item `first` and go on through the items after it. Bytes that
/// the store does not give are zero.
/// @return as above
[[nodiscard]] int read_items(int first, char* buffer, size_t size);

struct ItemPartition {
  const char* path;  ///< device path; null when the store does not know it
  int block_size;    ///< bytes; an item is one block
};
/// The partition that all items are in, as the store says. One that it does not know counts as a
/// failure, as above.
ItemPartition item_partition();

}  // namespace fcx
