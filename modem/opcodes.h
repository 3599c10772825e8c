// The opcodes of the modem link, each named once: modem/opcodes.def has the rows. They are the
// contract with the other side of the link, which the bench's modem reads too.
#pragma once

#include <cstdint>
#include <iterator>

namespace fcx {

namespace opcode {

#define FCX_OPCODE(number, name, privacy, meaning) constexpr int32_t name = number;
#include "modem/opcodes.def"
#undef FCX_OPCODE

}  // namespace opcode

struct ModemOpcode {
  int32_t number;
  const char* name;
  bool is_identity;  ///< what is sent or answered names one handset
  const char* meaning;
};

/// All rows, by ascending number.
inline constexpr ModemOpcode kModemOpcodes[] = {
#define FCX_OPCODE_PRIVACY_open false
#define FCX_OPCODE_PRIVACY_identity true
#define FCX_OPCODE(number, name, privacy, meaning) \
  {number, #name, FCX_OPCODE_PRIVACY_##privacy, meaning},
#include "modem/opcodes.def"
#undef FCX_OPCODE
#undef FCX_OPCODE_PRIVACY_open
#undef FCX_OPCODE_PRIVACY_identity
};

/// The row of `number`, or null for a number that the library has no name for.
constexpr const ModemOpcode* find_modem_opcode(int32_t number) {
  for (const ModemOpcode& row : kModemOpcodes) {
    if (row.number == number) return &row;
  }
  return nullptr;
}

constexpr bool modem_opcodes_ascend() {
  for (size_t i = 1; i < std::size(kModemOpcodes); ++i) {
    if (kModemOpcodes[i - 1].number >= kModemOpcodes[i].number) return false;
  }
  return true;
}
static_assert(modem_opcodes_ascend(), "the rows of modem/opcodes.def ascend, and none is double");

}  // namespace fcx
