#include "tools/json.h"

#include <cstdio>

void cli::print(const Json& object) {
  // Text from a phone may be any bytes; what is no UTF-8 is replaced.
  puts(object.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}
