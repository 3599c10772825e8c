#include "tests/memory.h"

#include <atomic>
#include <new>

namespace {

std::atomic<size_t> refused = 0;

}  // namespace

void fcx_test::refuse_memory(size_t size) { refused = size; }

// In place of the standard library's, which the library under test would use.
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return size == refused ? nullptr : ::operator new[](size);
}
