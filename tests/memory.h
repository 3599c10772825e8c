// Memory that cannot be had.
#pragma once

#include <cstddef>

namespace fcx_test {

/// From now on arrays of just so many bytes cannot be had with std::nothrow; 0 for none.
void refuse_memory(size_t size);

}  // namespace fcx_test
