// The Bluetooth and the WLAN address: digits, bytes, item, AT answers and commands.
#include <regex>

#include "fcx/bt_address.h"
#include "fcx/wlan_address.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using Told = std::vector<std::string>;

/// One address's functions, and all that they say: # is a count or a character, N a source line.
struct Family {
  int item;
  int32_t opcode;
  int (*from_digits)(char** digits, uint8_t* out);
  int (*to_digits)(const uint8_t* bytes, char* out);
  int (*read)(uint8_t* out);
  int (*write)(const uint8_t* bytes);
  int (*query)(char* answer);
  int (*assign)(char** digits, int count, char* answer);
  int (*respond)(int code, char* answer, const char* text);
  const char *none, *stored;
  const char *asked, *all_zero, *unread, *count, *wrong_count, *no_digit, *no_digits, *unstored;
  const char *wrote, *wrote_no_digits, *wrote_not, *told, *told_not;
};

/// The Bluetooth form takes its digits in a row.
int from_row(char** digits, uint8_t* out) {
  std::string row;
  for (int i = 0; i < 12 && digits[i] != nullptr && *digits[i] != '\0'; ++i) row += *digits[i];
  return bt_addr_ascii_to_hexa(row.c_str(), out);
}

#define QUERY "Fcx: [bt(N)-handle_atcmd_btad_query]   handle_atcmd_btad_query"
#define ASSIGN "Fcx: [bt(N)-handle_atcmd_btad_assign]   handle_atcmd_btad_assign : "
#define WLAN "I Fcx: wlan_mac_assign : "
#define AUTO "I Diag_Lib: AutoMID "
// clang-format off
const Family kFamilies[] = {
    {8, 4066, from_row, bt_addr_hexa_to_ascii, bt_addr_read, bt_addr_write, handle_atcmd_btad_query,
     handle_atcmd_btad_assign, bt_resp, "02FC0A000000", "BLUETOOTH ADDRESS WRITE OK",
     "I " QUERY "\n", "E Fcx: [bt(N)-bt_addr_read]   bt_addr_read : invalid bt_addr_hexa\n",
     "E " QUERY " : fail to read bt address from NV\n",
     "I " ASSIGN "paramCount = #\n", "E " ASSIGN "unknown paramCount = #\n",
     "E Fcx: [bt(N)-bt_addr_ascii_to_hexa]   bt_addr_assign : invalid Params = #\n",
     "I " ASSIGN "bt_addr_ascii_to_hexa fail\n", "I " ASSIGN "fail to write bt address to NV\n",
     AUTO "write BTAddress Success :)", AUTO "write BTAddress Fail :(", AUTO "write BTAddress Fail :(",
     AUTO "read BTAddress Success :) = #", AUTO "read BTAddress Fail :("},
    {6, 4065, wlan_mac_ascii_to_hexa, wlan_mac_hexa_to_ascii, wlan_mac_read, wlan_mac_write, wlan_mac_none,
     wlan_mac_assign, wlan_resp, "FFFFFFFFFFFF", "MAC ADDRESS WRITE OK",
     "I Fcx: wlan_mac_none", "E Fcx: wlan_mac_read : invalid mac_addr_hexa",
     "E Fcx: wlan_mac_none : fail to read mac address from NV",
     WLAN "paramCount = #", WLAN "unknown paramCount = #", "E Fcx: wlan_mac_assign : invalid Params = #",
     WLAN "wlan_mac_ascii_to_hexa fail", WLAN "fail to write mac address to NV",
     AUTO "write WIFI MAC Success :)", AUTO "write WIFI MAC Ascii to Hexa Fail :(", AUTO "write WIFI MAC Fail :(",
     AUTO "read WIFI MAC Success :) = #", AUTO "read WIFI MAC Fail :("}};
// clang-format on

/// A line with a value in it. It ends where the value is a NUL.
std::string said(std::string line, const std::string& value) {
  const size_t place = line.find('#');
  return value.empty() ? line.substr(0, place) : line.replace(place, 1, value);
}

class Addresses : public PhoneTest {
 protected:
  /// The result and the answer of a call, then its lines.
  template <typename Call>
  Told told(Call call) {
    std::string answer(64, 'U');
    lines();
    Told all = {std::to_string(call(answer.data()))};
    all[0] += answer == std::string(64, 'U') ? " unwritten" : " " + std::string(answer.c_str());
    static const std::regex number(R"(^(. Fcx: \[bt\()[1-9][0-9]*\))");
    for (const std::string& line : lines()) all.push_back(std::regex_replace(line, number, "$1N)"));
    return all;
  }

  /// The same of a command, but for its entry line.
  Told told(int32_t opcode, std::string_view payload) {
    Told all = told([&](char* answer) {
      const qvcmd_response response = send(opcode, payload);
      if (response.data_len > 0) memcpy(answer, response.data, 64);
      return response.result;
    });
    all.erase(all.begin() + 1);
    return all;
  }

  /// Texts whose first characters these are; null for a '*', empty for a '.'.
  char** digits(std::string_view text) {
    texts_.clear();
    pointers_.clear();
    for (const char c : text) texts_.push_back(c == '.' ? "" : c + "z"s);
    for (std::string& each : texts_) pointers_.push_back(each[0] == '*' ? nullptr : each.data());
    return pointers_.data();
  }

  const std::string bytes_ = "\x0A\x1B\x2C\x3D\x4E\x5F";

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

TEST_F(Addresses, TwelveDigitsMakeSixBytes) {
  const std::tuple<const char*, int, std::string> cases[] = {
      {"0a1B2c3D4e5F", 0, bytes_},
      {"FAfa90FFFFFFzz", 0, "\xFA\xFA\x90\xFF\xFF\xFF"},
      {"0a1B2c3D4e5*", 1, "\x0A\x1B\x2C\x3D\x4E\x50"},
      {"0A:B2C3D4E5F", 1, "\x0A\0\0\0\0\0"s},
      {"10G111111111", 1, "\x10\0\0\0\0\0"s},
      {"10/111111111", 1, "\x10\0\0\0\0\0"s},
      {"10@111111111", 1, "\x10\0\0\0\0\0"s},
      {"10`111111111", 1, "\x10\0\0\0\0\0"s},
      {"10g111111111", 1, "\x10\0\0\0\0\0"s},
      {"...........", 1, std::string(6, '\0')}};
  for (const Family& family : kFamilies) {
    for (const auto& [text, result, expected] : cases) {
      std::string bytes(6, '\x09');
      auto* out = reinterpret_cast<uint8_t*>(bytes.data());
      EXPECT_EQ(result, family.from_digits(digits(text), out)) << text;
      EXPECT_EQ(expected, bytes) << text;
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(bytes_.data());
    EXPECT_EQ(Told({"0 0A1B2C3D4E5F"}),
              told([&](char* out) { return family.to_digits(bytes, out); }));
    EXPECT_EQ(1, family.from_digits(digits("0a1B2c3D4e5F"), nullptr));
    EXPECT_EQ(1, family.write(nullptr));
    EXPECT_EQ(1, family.read(nullptr));
    char answer[] = "before";
    EXPECT_EQ(7, family.respond(7, answer, "A"));
    EXPECT_EQ("A\0\0\0re\0"sv, std::string_view(answer, sizeof answer)) << "32 bits are cleared";
  }
  EXPECT_EQ(1, handle_testmode_bt_write_request(nullptr));
  EXPECT_EQ(1, handle_testmode_bt_read_request(nullptr));
}

TEST_F(Addresses, AQueryAlwaysHasAnAnswer) {
  for (const Family& f : kFamilies) {
    EXPECT_EQ(Told({"0 "s + f.none, f.asked, f.all_zero, f.unread}), told(f.query));
    EXPECT_EQ(Told({"1 unwritten", f.all_zero, f.told_not}), told(f.opcode, ""));
    for (const auto& [effect, value] : {std::pair{Effect::fail, -1}, {Effect::returns, 1}}) {
      set_item(f.item, bytes_);
      EXPECT_EQ(Told({"0 0A1B2C3D4E5F", f.asked}), told(f.query));
      fault(Part::item, std::to_string(f.item), effect, value);
      EXPECT_EQ(Told({"0 "s + f.none, f.asked, f.unread}), told(f.query)) << value;
      EXPECT_EQ(Told({"1 unwritten", f.told_not}), told(f.opcode, "")) << value;
      EXPECT_EQ(Told({"1 unwritten", f.wrote_not}), told(f.opcode, "111111111111")) << value;
      clear_faults();
    }
    fault(Part::item, std::to_string(f.item), Effect::shorter, 0);
    EXPECT_EQ(Told({"0 FFFFFFFFFFFF", f.asked}), told(f.query)) << "what was not read";
    clear_faults();
    set_item(f.item, std::string(6, '\xFF'));
    EXPECT_EQ(Told({"0 FFFFFFFFFFFF", f.asked}), told(f.query)) << "is an address";
    EXPECT_EQ(Told({"1 unwritten", said(f.no_digit, ":"), f.wrote_no_digits}),
              told(f.opcode, "A:"));
    EXPECT_EQ(Told({"0 FFFFFFFFFFFF", said(f.told, "FFFFFFFFFFFF")}), told(f.opcode, ""));
    EXPECT_EQ(Told({"0 unwritten", f.wrote}), told(f.opcode, std::string(2048, 'a')));
    EXPECT_EQ(std::string(6, '\xAA'), item(f.item, 6));
  }
  EXPECT_EQ(Told({"0 AT%BTAD=[BD ADDR:12HEX nibble => 6 Bytes]\n"}), told(handle_atcmd_btad_range));
}

TEST_F(Addresses, AnAssignmentTakesTwelveDigits) {
  for (const Family& f : kFamilies) {
    const std::string twelve = said(f.count, "12");
    const std::pair<std::string, Told> cases[] = {
        {"0a1B2c3D4e5F", {"0 "s + f.stored, twelve}},
        {"11111111111", {"1 unwritten", said(f.count, "11"), said(f.wrong_count, "11")}},
        {"1111111111111", {"1 unwritten", said(f.count, "13"), said(f.wrong_count, "13")}},
        {"11111111111G", {"1 unwritten", twelve, said(f.no_digit, "G"), f.no_digits}},
        {"111111*11111", {"1 unwritten", twelve, said(f.no_digit, ""), f.no_digits}},
        {"111111.11111", {"1 unwritten", twelve, said(f.no_digit, ""), f.no_digits}}};
    const auto assign = [&](const std::string& text) {
      const auto count = static_cast<int>(text.size());
      return told([&](char* answer) { return f.assign(digits(text), count, answer); });
    };
    for (const auto& [text, expected] : cases) {
      EXPECT_EQ(expected, assign(text));
      EXPECT_EQ(bytes_, item(f.item, 6)) << text;
    }
    item_fails(f.item);
    EXPECT_EQ(Told({"1 unwritten", twelve, f.unstored}), assign("111111111111"));
  }
}

}  // namespace
}  // namespace fcx_test
