// A network code that somebody rewrites.

#include "tests/carrier/fixture.h"

namespace fcx_test {
namespace {

class NetworkCodeRewrite : public CarrierTest {
 protected:
  static std::string stored() {
    char code[2048];
    EXPECT_EQ(0, get_ntcode(code));
    return code;
  }
};

TEST_F(NetworkCodeRewrite, AnotherBeginningMakesTheNextStartAFirstOne) {
  char mccs[2048];
  const auto rewrite = [&](const char* code) {
    return story_of([&] { sbpWriteNTCode(code, mccs); });
  };
  EXPECT_EQ(rows("re-written NTCODE: " + std::string(kTwoMccs) + " \\n | " +
                 R"(tavrin delegated NTCODE: "2","262,01F,FFFFFFFF,FFFFFFFF,11" \n
~ntcode-changed=1 | ~tavrin.ntcode="2","262,01F,FFFFFFFF,FFFFFFFF,11"
normal mcc: 262, mnc: 01F\n | normal mcc: 234, mnc: 15F\n
ntcode_count: 2, mcc-list: [262,234]\n | ~mcc-list=262,234 | ~mcc-list=262,234)"),
            rewrite(kTwoMccs));
  EXPECT_STREQ("262,234", mccs);
  EXPECT_EQ(kTwoMccs, stored());

  constexpr char kEmptyCode[] = R"("0","FFF,FFF,FFFFFFFF,FFFFFFFF,FF")";
  EXPECT_EQ(rows("~ntcode-changed=3 | ~tavrin.ntcode=" + std::string(kEmptyCode)),
            story_of(sbpSetDefaultNTcode));
  const std::string changed = "~ntcode-changed=1\n~tavrin.ntcode=";
  const auto set = [&](const char* code) { return part(rewrite(code), "~", "normal"); };
  EXPECT_EQ(rows("~mcc-list= | ~mcc-list="), set(kEmptyCode)) << "the same as before";
  EXPECT_EQ(rows("~mcc-list= | ~mcc-list="), set("")) << "none is no other";
  EXPECT_STREQ("", mccs);
  EXPECT_EQ(changed + "\"02\",\"262,01F,FFFFFFFF,FFFFFFFF,11\"\n",
            set(R"("02","262,01F,FFFFFFFF,FFFFFFFF,11","234,15F,F,F,21")"));
  set_all("tavrin.ntcode=");
  EXPECT_EQ(changed + kOneMcc + "\n", set(kOneMcc)) << "without one, other than the empty code";
  EXPECT_EQ(rows("~mcc-list= | ~mccmnc-list="), story_of(sbpSetDefaultMCCLists));
}

TEST_F(NetworkCodeRewrite, ABuyersCodeIsFoundByItsKey) {
  const std::string long_code(300, '1');
  place("/buyers", "A=\"1\",first\nB=\"1\",second\r\nB=\"1\",third\nC=" + long_code + "\n");
  const auto write_buyer = [&](const char* key) {
    const std::unique_ptr<FILE, int (*)(FILE*)> opened(fopen(file("/buyers").c_str(), "r"), fclose);
    const int result = sbpWriteBuyer(opened.get(), 77, key);
    return std::to_string(result) + " " + stored();
  };
  told();
  EXPECT_EQ("77 ", write_buyer("D"));
  EXPECT_EQ("77 \"1\",second\r", write_buyer("B")) << "a carriage return belongs to the code";
  EXPECT_EQ("I Fcx: Set ntcode: \"1\",second\r ,size:11\\n\n", told());
  EXPECT_EQ("77 " + std::string(125, '1'), write_buyer("C")) << "as far as a line is read";
  fault(Part::item, "421", Effect::fail, -1, Access::write, 1);
  EXPECT_EQ("1 \"1\",third", write_buyer("B")) << "the next line is tried";
  sbpSetOtpe();
  EXPECT_EQ(std::string(12, '\0'), item(421, 12));
}

}  // namespace
}  // namespace fcx_test
