// A modem that costs nothing: it takes the place of the virtual phone's in a program that has it.
#pragma once

#include <cstddef>
#include <string_view>

namespace bench {

/// How many requests it has answered.
size_t modem_requests();

/// What the modem answers to a request from now on, at most 2048 bytes; at first nothing.
void set_answer(int request, std::string_view answer);

}  // namespace bench
