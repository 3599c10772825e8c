// A phone on which a test looks at what one command logs.
#pragma once

#include "tests/phone_fixture.h"

namespace fcx_test {

/// What the command entry logs of every command.
inline std::string entry_line(int32_t opcode) {
  return "I Diag_Lib: service_handler: opcode = " + std::to_string(opcode) + "\n";
}

class CommandTest : public PhoneTest {
 protected:
  /// The lines since the last call, which are those of one command, after its entry line.
  std::vector<std::string> lines_of(int32_t opcode) {
    std::vector<std::string> found = lines();
    EXPECT_EQ(entry_line(opcode), found.empty() ? "" : found.front());
    if (!found.empty()) found.erase(found.begin());
    return found;
  }
};

}  // namespace fcx_test
