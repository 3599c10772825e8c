#include "ftm/store.h"

#include <atomic>
#include <cstring>

#include "common/log.h"
#include "fcx/factory_items.h"
#include "platform/factory_item_library.h"

namespace {

std::atomic<bool> is_open{false};
std::atomic<bool> is_told{false};

void note_failure() {
  if (is_open || is_told.exchange(true)) return;
  DOMAIN_ERROR(
      "init_factory_item: not called, or failed; until it has returned 0 no factory item can be "
      "read or written\n");
}

int noted(int store_return) {
  if (store_return < 0) note_failure();
  return store_return;
}

}  // namespace

int init_factory_item() {
  if (init_ftm_item() >= 0) {
    is_open = true;
    return 0;
  }
  DOMAIN_ERROR("Failed to init ftm item\n");
  return -1;
}

namespace fcx {

int read_store(int index, void* buffer, size_t size) {
  return noted(get_ftm_item(index, static_cast<int>(size), buffer));
}

int write_store(int index, const void* bytes, size_t size) {
  return noted(set_ftm_item(index, static_cast<int>(size), bytes));
}

int read_items(int first, char* buffer, size_t size) {
  memset(buffer, 0, size);
  return noted(get_ftm_multi_item(first, static_cast<int>(size), buffer));
}

ItemPartition item_partition() {
  const ItemPartition partition{get_ftm_path(), get_ftm_block_size()};
  if (partition.path == nullptr || partition.block_size < 1) note_failure();
  return partition;
}

}  // namespace fcx
