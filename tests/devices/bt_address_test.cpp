// The Bluetooth address: text, bytes, item.
#include "fcx/bt_address.h"

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

class BtAddress : public PhoneTest {};

TEST_F(BtAddress, TwelveDigitsMakeSixBytes) {
  using Converted = std::pair<int, std::string>;
  const auto convert = [](const char* text) {
    uint8_t bytes[6] = {9, 9, 9, 9, 9, 9};
    const int result = bt_addr_ascii_to_hexa(text, bytes);
    return Converted(result, std::string(bytes, bytes + 6));
  };
  EXPECT_EQ(Converted(0, "\x0A\x1B\x2C\x3D\x4E\x5F"), convert("0a1B2c3D4e5F"));
  EXPECT_EQ(Converted(0, "\xFF\xFF\xFF\xFF\xFF\xFF"), convert("FFFFFFFFFFFFzz"));
  EXPECT_EQ(Converted(1, "\x0A\x1B\x2C\x3D\x4E\x50"), convert("0a1B2c3D4e5")) << "stays";
  for (const char* text : {"0G", "0/", "0:", "0@", "0`", "0g", ""}) {
    EXPECT_EQ(Converted(1, std::string(6, '\0')), convert(text)) << text;
  }
  EXPECT_EQ(Converted(1, std::string(6, '\0')), convert(nullptr));
  EXPECT_EQ(Converted(1, std::string("\x0A\0\0\0\0\0", 6)), convert("0A:B2C3D4E5F"));
  EXPECT_THAT(lines().back(),
              testing::MatchesRegex(
                  "E Fcx: \\[bt\\([1-9][0-9]+\\)-bt_addr_ascii_to_hexa\\]   bt_addr_assign : "
                  "invalid Params = :\n"));
  EXPECT_EQ(1, bt_addr_ascii_to_hexa("0a1B2c3D4e5F", nullptr));
}

TEST_F(BtAddress, OnlyAWholeAddressIsStored) {
  EXPECT_EQ(0, handle_testmode_bt_write_request("0a1B2c3D4e5F"));
  EXPECT_EQ(1, handle_testmode_bt_write_request("112233445"));
  EXPECT_EQ("\x0A\x1B\x2C\x3D\x4E\x5F", item(8, 6));
  EXPECT_EQ(1, handle_testmode_bt_write_request(nullptr));
  EXPECT_EQ(1, bt_addr_write(nullptr));
  for (const auto& [effect, value] : {std::pair{Effect::fail, -1}, {Effect::returns, 1}}) {
    fault(Part::item, "8", effect, value);
    EXPECT_EQ(1, handle_testmode_bt_write_request("112233445566"))
        << "any return but 0 is a failure: " << value;
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
