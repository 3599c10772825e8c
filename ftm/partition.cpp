#include "ftm/partition.h"

#include <cstring>

#include "platform/factory_item_library.h"

int fcx::read_items(int first, char* buffer, size_t size) {
  memset(buffer, 0, size);
  return get_ftm_multi_item(first, static_cast<int>(size), buffer);
}

fcx::ItemPartition fcx::item_partition() { return {get_ftm_path(), get_ftm_block_size()}; }
