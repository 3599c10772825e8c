// A modem that costs nothing: it takes the place of the virtual phone's in a program that has it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace bench {

/// How many requests it has answered.
size_t modem_requests();

/// What the modem answers to a request from now on, at most 2048 bytes; at first nothing.
void set_answer(int request, std::string_view answer);
/// The same, with the length that it claims and the code that the interface returns.
void set_answer(int request, std::string_view answer, int32_t claimed, int32_t code);
/// The modem answers nothing again.
void forget_answers();

}  // namespace bench
