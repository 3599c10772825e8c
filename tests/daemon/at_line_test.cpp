// AT lines: what is read of them, and what they are answered.
#include "daemon/at_line.h"

#include "daemon/at_commands.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using factory_daemon::AtLine;
using factory_daemon::AtLineReader;
using factory_daemon::kLongestAtLine;

/// What is read of bytes, one line after another, and how many bytes are kept for the next.
std::string told(AtLineReader& reader, std::string_view bytes) {
  constexpr const char* kForms[] = {"attention", "execute ", "query ", "range ", "assign "};
  std::string all;
  for (;;) {
    const AtLine line = reader.next(bytes);
    bytes.remove_prefix(line.consumed);
    if (line.state == AtLine::State::incomplete) return all + std::to_string(bytes.size());
    all += line.reason == nullptr ? kForms[static_cast<int>(line.command.form)] : line.reason;
    if (line.reason == nullptr) all += line.command.name;
    for (const std::string_view each : line.command.parameters) {
      all += "[" + std::string(each) + "]";
    }
    all += "; ";
  }
}

TEST(AtLine, IsACommandIncompleteOrInvalid) {
  const std::string room(kLongestAtLine - 7, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {" \r\n\t\n", "0"},
      {"AT%BTAD?", "8"},
      {" \t at \t\r\nAT", "attention; 2"},
      {"aT%x\nAt%A_9?\r\nAT%c=?\r", "execute x; query A_9; range c; 0"},
      {"AT%A=\rAT%A=?,\rAT%A=1, b,,\r", "assign A[]; assign A[?][]; assign A[1][ b][][]; 0"},
      {"A\rBT\rAT\r", "it does not begin with AT; it does not begin with AT; attention; 0"},
      {"AT+A\rAT%?\r", "after AT comes % and a name; a name has letters, digits and _; 0"},
      {"AT%A??\r", "after a name comes ?, =?, = and values, or nothing; 0"},
      {"AT%A=1\0b\rAT\r"s, "it has a NUL inside; attention; 0"},
      {"  AT%FCX=" + room, std::to_string(kLongestAtLine)},
      {"AT%FCX=" + room + "\r", "assign FCX[" + room + "]; 0"},
      {"AT%FCX=" + room + "x", "it is too long; 0"},
      {"AT%FCX=" + room + "x\rAT\r", "it is too long; attention; 0"}};
  for (const auto& [bytes, expected] : cases) {
    AtLineReader reader;
    EXPECT_EQ(expected, told(reader, bytes)) << bytes;
  }
  AtLineReader reader;
  EXPECT_EQ("it is too long; 0", told(reader, std::string(3000, 'x')));
  EXPECT_EQ("0", told(reader, "AT"));
  EXPECT_EQ("attention; 2", told(reader, "AT\rAT\nAT")) << "after its end, not before";
}

class AtCommands : public PhoneTest {
 protected:
  /// The lines of an answer, and why it is an error where the daemon says so.
  std::string answer(const std::string& line) {
    const std::string sent = line + "\n";
    const AtLine read = AtLineReader().next(sent);
    EXPECT_EQ(AtLine::State::command, read.state) << line;
    const factory_daemon::AtAnswer answer = answer_at_command(phone(), read.command);
    std::string all = answer.reason.empty() ? "" : "(" + answer.reason + ") ";
    for (const std::string& each : answer.lines()) all += each + "|";
    return all;
  }
};

TEST_F(AtCommands, AreAnsweredAsOnASerialLine) {
  const std::string longest(2047, 'c');
  const char* too_long = "(the text has 2048 bytes, a request holds at most 2047) ERROR|";
  const std::pair<std::string, std::string> cases[] = {
      {"AT", "OK|"},
      {"AT%BTAD?", "02FC0A000000|OK|"},
      {"AT%WLAD?", "FFFFFFFFFFFF|OK|"},
      {"AT%BTAD=?", "AT%BTAD=[BD ADDR:12HEX nibble => 6 Bytes]|OK|"},
      {"AT%WLAD=?", "AT%WLAD=[MAC ADDR:12HEX nibble => 6 Bytes]|OK|"},
      {"AT%BTAD=0a1B2c3D4e5F", "BLUETOOTH ADDRESS WRITE OK|OK|"},
      {"AT%WLAD=1,1,2,2,3,3,4,4,5,5,6,6", "MAC ADDRESS WRITE OK|OK|"},
      {"AT%BTAD=0a1B2c3D4e5F1", "ERROR|"},
      {"AT%BTAD=0a,1B,2c,3D,4e,5F", "ERROR|"},
      {"AT%WLAD=", "ERROR|"},
      {"at%btad?", "0A1B2C3D4E5F|OK|"},
      {"AT%FCX=4065", "%FCX: 0,112233445566|OK|"},
      {"AT%FCX=4018,a,b,", "%FCX: 0|OK|"},
      {"AT%FCX=4018,", "%FCX: 0,a,b,|OK|"},
      {"AT%FCX=4419," + longest, "%FCX: 0|OK|"},
      {"AT%FCX=4419," + longest + "c", too_long},
      {"AT%FCX=4418", "%FCX: 0," + longest + "|OK|"},
      {"AT%FCX=4419,a\tb", "%FCX: 0|OK|"},
      {"AT%FCX=4418", "%FCX: 0,hex:610962|OK|"},
      {"AT%FCX=3170,fast", "%FCX: 1|ERROR|"},
      {"AT%FCX=4999", "(opcode 4999 is unknown) ERROR|"},
      {"AT%FCX=4018x", "(\"4018x\" is no opcode) ERROR|"},
      {"AT%FCX=,1", "(\"\" is no opcode) ERROR|"},
      {"AT%FCX?", "(%FCX does not have this form) ERROR|"},
      {"AT%BTAD", "(%BTAD does not have this form) ERROR|"},
      {"AT%BTA?", "(no AT command is called %BTA) ERROR|"},
      {"AT%FCX=4004,1", "%FCX: 0|OK|"}};
  for (const auto& [line, expected] : cases) EXPECT_EQ(expected, answer(line)) << line;
  EXPECT_THAT(events(), testing::Contains("reboot: restart, reason fcx")) << "is awaited";
}

}  // namespace
}  // namespace fcx_test
