// The platform's factory item library: persistent items, each a field of bytes under a number.
// The phone's vendor library provides these functions; on the bench the virtual phone does.
// Every function returns a negative value on failure and 0 or more on success.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the store. Needed once before any other call.
int init_ftm_item(void);

/// Reads the first `length` bytes of item `index` into `buffer`.
int get_ftm_item(int index, int length, void* buffer);

/// Writes the first `length` bytes of item `index`; they are on disk when it returns.
int set_ftm_item(int index, int length, const void* buffer);

/// Reads `length` bytes that begin at item `index` and go on through the items after it.
int get_ftm_multi_item(int index, int length, void* buffer);

/// Bytes in a block of the factory item partition; an item is one block.
int get_ftm_block_size(void);

/// Device path of the factory item partition. Owned by the library.
const char* get_ftm_path(void);

#ifdef __cplusplus
}
#endif
