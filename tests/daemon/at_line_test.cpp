// AT lines: what is read of them, and what they are answered.
#include "daemon/at_line.h"

#include "daemon/at_commands.h"
#include "fcx/factory_item_table.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using factory_daemon::AtCommand;
using factory_daemon::AtCommands;
using factory_daemon::AtLineReader;
using factory_daemon::kLongestAtLine;

/// The lines that a reader puts together, and what it echoes.
struct Told {
  std::string lines;
  std::string echo;
};
Told told(AtLineReader& reader, std::string_view characters) {
  Told all;
  while (!characters.empty()) {
    const AtLineReader::Taken taken = reader.take(characters, all.echo);
    characters.remove_prefix(taken.consumed);
    if (taken.state == AtLineReader::State::line) all.lines += "[" + reader.line() + "]";
    if (taken.state == AtLineReader::State::too_long) all.lines += "[too long]";
  }
  return all;
}

TEST(AtLine, EndsAtACarriageReturn) {
  const std::string longest = "AT" + std::string(kLongestAtLine - 2, 'x');
  const std::string too_long = longest + "x";
  struct Row {
    std::string characters;
    std::string lines;
    std::string echo;
  };
  const Row rows[] = {
      {" \r\n\t\n", "", " \r\t"},
      {"AT\r\nATI\r\n", "[AT][ATI]", "AT\rATI\r"},
      {"AT\nATI\n", "[AT][ATI]", "ATATI"},
      {" \t at \t\rA", "[at]", " \t at \t\rA"},
      {"AT+X\x1b"
       "ATI\r\x1b\r",
       "[ATI]", "AT+XATI\r\r"},
      {"AX\bT\b\b\b\bAT\r", "[AT]", "AX\b \bT\b \b\b \bAT\r"},
      {longest + " \r", "[" + longest + "]", longest + " \r"},
      {too_long + "\rAT\r", "[too long][AT]", too_long + "\rAT\r"},
      {too_long + "\b\b\x1b"
                  "AT\r",
       "[AT]", too_long + "AT\r"},
      {"A\0T\r"s, "[A\0T]"s, "A\0T\r"s},
  };
  for (const Row& row : rows) {
    for (const size_t piece : {row.characters.size(), size_t{1}}) {
      AtLineReader reader;
      Told all;
      for (size_t at = 0; at < row.characters.size(); at += piece) {
        const Told each = told(reader, std::string_view(row.characters).substr(at, piece));
        all.lines += each.lines;
        all.echo += each.echo;
      }
      EXPECT_EQ(row.lines, all.lines) << row.characters;
      EXPECT_EQ(row.echo, all.echo) << row.characters;
    }
  }
}

/// The commands of a line, as they are read.
std::string commands_of(const std::string& line) {
  constexpr const char* kForms[] = {"execute ", "query ", "range ", "assign "};
  if (const char* reason = factory_daemon::why_no_at_line(line)) return reason;
  AtCommands commands(line);
  std::string all;
  while (commands.has_next()) {
    AtCommand command;
    if (const char* reason = commands.next(command)) return all + reason;
    all += kForms[static_cast<int>(command.form)] + std::string(command.name);
    if (!command.text.empty()) all += " " + std::string(command.text);
    for (const std::string_view each : command.parameters) all += "[" + std::string(each) + "]";
    all += "; ";
  }
  return all;
}

TEST(AtLine, HasCommandsOneAfterAnother) {
  const std::pair<std::string, std::string> cases[] = {
      {"AT", ""},
      {"at ", ""},
      {"ATE0V1I", "assign E 0; assign V 1; execute I; "},
      {"AT E0; &f12 +CGSN", "assign E 0; assign &f 12; execute +CGSN; "},
      {"aT%x;%A_9?;%c=?", "execute %x; query %A_9; range %c; "},
      {"AT+A=;+A=?,; E", "assign +A[]; assign +A ?,[?][]; execute E; "},
      {"AT+A=1, b,,;", "assign +A 1, b,,[1][ b][][]; "},
      {"AT+A=\"a;b,c\",d ;E", "assign +A \"a;b,c\",d[\"a;b,c\"][d]; execute E; "},
      {"AT%fcx=4018,a;b ;+A", "assign %fcx 4018,a;b ;+A[4018][a;b ;+A]; "},
      {"ATE+", "execute E; a name has letters, digits and _"},
      {"AT+A??;E", "after a name comes ?, =?, = and values, ; or nothing"},
      {"AT;E", "a command begins with a letter, &, + or %"},
      {"AT&", "a command begins with a letter, &, + or %"},
      {"A", "it does not begin with AT"},
      {"BTAT", "it does not begin with AT"},
      {"AT%A=1\0b"s, "it has a NUL inside"},
      {"AT\rAT", "it is more than one"},
      {std::string(kLongestAtLine + 1, 'x'), "it has more than 2048 characters"}};
  for (const auto& [line, expected] : cases) EXPECT_EQ(expected, commands_of(line)) << line;
}

class AtCommandsTest : public PhoneTest {
 protected:
  /// The lines of an answer, and why it is an error where the daemon says so.
  std::string answer(const std::string& line) {
    const factory_daemon::AtAnswer answer = factory_daemon::answer_at_line(phone(), line);
    std::string all = answer.reason.empty() ? "" : "(" + answer.reason + ") ";
    for (const std::string& each : answer.lines()) all += each + "|";
    return all;
  }
};

TEST_F(AtCommandsTest, AreAnsweredAsOnASerialLine) {
  const std::string longest(2036, 'c');  // with its command all of a line
  const std::pair<std::string, std::string> cases[] = {
      {"AT", "OK|"},
      {"AT%BTAD?", "02FC0A000000|OK|"},
      {"AT%WLAD?", "FFFFFFFFFFFF|OK|"},
      {"AT%BTAD=?;%WLAD=?",
       "AT%BTAD=[BD ADDR:12HEX nibble => 6 Bytes]|AT%WLAD=[MAC ADDR:12HEX nibble => 6 Bytes]|OK|"},
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
      {"AT%FCX=4418", "%FCX: 0," + longest + "|OK|"},
      {"AT%FCX=4419," + longest + "c", "(it has more than 2048 characters) ERROR|"},
      {"AT%FCX=4419,a\tb", "%FCX: 0|OK|"},
      {"AT%FCX=4418", "%FCX: 0,hex:610962|OK|"},
      {"AT%FCX=3170,fast", "%FCX: 1|ERROR|"},
      {"AT%FCX=4999", "(opcode 4999 is unknown) ERROR|"},
      {"AT%FCX=4018x", "(\"4018x\" is no opcode) ERROR|"},
      {"AT%FCX=,1", "(\"\" is no opcode) ERROR|"},
      {"AT%FCX?", "(%FCX does not have this form) ERROR|"},
      {"AT%BTAD", "(%BTAD does not have this form) ERROR|"},
      {"AT%BTA?", "(no AT command is called %BTA) ERROR|"},
      {"AT%BTAD?;X;%WLAD?", "(no AT command is called X) 0A1B2C3D4E5F|ERROR|"},
      {"AT%BTAD?;%", "(a name has letters, digits and _) 0A1B2C3D4E5F|ERROR|"},
      {"ATE1V1E0E", "OK|"},
      {"ATE2", "(the echo is 0 or 1) ERROR|"},
      {"ATV0", "(answers are words: V1) ERROR|"},
      {"ATI1", "(I has no other parts than I0) ERROR|"},
      {"AT+CMEE=2;+CMEE?;+CMEE=?", "+CMEE: 2|+CMEE: (0-2)|OK|"},
      {"AT+CMEE=3", "(+CMEE is 0, 1 or 2) ERROR|"},
      {"AT+CSCS=?;+CSCS?;+CSCS=\"GSM\"", "+CSCS: (\"GSM\")|+CSCS: \"GSM\"|OK|"},
      {"AT+CSCS=\"UCS2\"", "(the character set is \"GSM\") ERROR|"},
      {"AT+CFUN=0", "(+CFUN is set to 1 alone) ERROR|"},
      {"AT+GCAP;+CGSN=?", "+GCAP: +CGSM|OK|"},
      {"AT%FCX=4004,1", "%FCX: 0|OK|"}};
  for (const auto& [line, expected] : cases) EXPECT_EQ(expected, answer(line)) << line;
  EXPECT_THAT(events(), testing::Contains("reboot: restart, reason fcx")) << "is awaited";
}

/// What the phone says of itself is what is on it now.
TEST_F(AtCommandsTest, TellWhatThePhoneHas) {
  EXPECT_EQ("(the phone has no IMEI, or it cannot be read) ERROR|", answer("AT+CGSN"))
      << "of a blank phone";
  EXPECT_EQ("(the phone has no IMSI, or it cannot be read) ERROR|", answer("AT+CIMI"));
  EXPECT_EQ("(there is no SIM) ERROR|", answer("AT+CPIN?"));
  set_modem("imei1", "490154203237518");
  set_modem("flight", "1");
  vp::set_sim(phone(), {vp::SimState::inserted, "8949020000123456789", 0, "262010123456789"});
  set_build_property("ro.product.manufacturer", "Maker");
  set_build_property("ro.product.model", "QV-7");
  EXPECT_EQ("490154203237518|OK|", answer("AT+CGSN"));
  EXPECT_EQ("262010123456789|OK|", answer("AT+CIMI"));
  EXPECT_EQ("+CPIN: READY|OK|", answer("AT+CPIN?"));
  EXPECT_EQ("Maker|QV-7|OK|", answer("AT+CGMI;+CGMM"));
  EXPECT_EQ("(the phone has no software version, or it cannot be read) ERROR|", answer("AT+CGMR"));
  EXPECT_EQ("Maker|QV-7|490154203237518|OK|", answer("ATI")) << "what there is";
  set_item(fcx::item::network_code, R"("1","310,410,FFFFFFFF,FFFFFFFF,FF")");
  EXPECT_EQ("Maker|QV-7|QV100AT-00-V10a-310-410-JUN-01-2020+0|490154203237518|OK|", answer("ATI"));
  EXPECT_EQ("+CFUN: 4|+CFUN: 1|OK|", answer("AT+CFUN?;+CFUN=1;+CFUN?"));
  vp::set_sim(phone(), {vp::SimState::error, "", 0, "262010123456789"});
  EXPECT_EQ("(the phone has no IMSI, or it cannot be read) ERROR|", answer("AT+CIMI"))
      << "of a SIM that is not read";
  for (const char* imsi : {"12345", "1234567890123456", "26201x", ""}) {
    EXPECT_THROW(vp::check_imsi(imsi), vp::Refused) << imsi;
  }
}

}  // namespace
}  // namespace fcx_test
