// A modem that costs nothing: it takes the place of the virtual phone's in this program.
#pragma once

#include <cstddef>

namespace bench {

/// How many requests it has answered.
size_t modem_requests();

}  // namespace bench
