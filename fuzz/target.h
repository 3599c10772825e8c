// What each fuzz target is: one function that is given bytes which the device may come across.
//
// A target must not crash, overrun a buffer or hang, and what it was given must leave results that
// keep their promises. The same bytes have the same effect whatever came before them.
#pragma once

#include <cstddef>
#include <cstdint>

/// The entry that libFuzzer calls, and replay_main.cpp where there is no libFuzzer. @return 0
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
