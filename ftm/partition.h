// What goes on through several factory items, and the partition that they all are in.
#pragma once

#include <cstddef>

namespace fcx {

/// Reads `size` bytes that begin at item `first` and go on through the items after it. Bytes that
/// the store does not give are zero.
/// @return negative when that failed
[[nodiscard]] int read_items(int first, char* buffer, size_t size);

struct ItemPartition {
  const char* path;  ///< device path
  int block_size;    ///< bytes
};
/// As the store says.
ItemPartition item_partition();

}  // namespace fcx
