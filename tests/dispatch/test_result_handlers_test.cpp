// Commands about what the line's tests leave on the phone.
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

class TestResults : public PhoneTest {};

constexpr char kTofFile[] = "/mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kStatus[] = "persist.vendor.qve.midauto.status";

TEST_F(TestResults, CrcWizardKeepsOneDigit) {
  for (const auto& [text, digit] :
       {std::pair("1", "1"), {"9", "9"}, {"25", "2"}, {"256", "0"}, {"none", "0"}}) {
    EXPECT_THAT(send(4060, text), Answers(QVCMD_OK, "")) << text;
    EXPECT_THAT(send(4061), Answers(QVCMD_OK, digit)) << text;
  }
  log();
  send(4060, "257 wizards");
  EXPECT_THAT(log(), ElementsAre("service_handler: opcode = 4060\n",
                                 "CWCWIZARD crcwizard_set ==  1 , 257 wizards ",
                                 "CWCWIZARD set_crcwizard(1)\n", "rsp->result = QVCMD_OK"));
  send(4061);
  EXPECT_THAT(log(),
              ElementsAre("service_handler: opcode = 4061\n", "CWCWIZARD get_crcwizard pass\n",
                          "CWCWIZARD get_crcwizard(1)\n", "CWCWIZARD get_crcwizard : 1\n"));
}

TEST_F(TestResults, CrcWizardThatCannotBeReadIsAnEmptyAnswer) {
  set_item(49, "1");
  item_fails(49);
  EXPECT_THAT(send(4061), Answers(QVCMD_OK, ""));
  log();
  EXPECT_THAT(send(4060, "2"), Answers(QVCMD_FAIL, ""));
  EXPECT_EQ("rsp->result = QVCMD_FAIL", log().back());
}

TEST_F(TestResults, LdafCalibrationIsDoneWhenTheItemHoldsText) {
  EXPECT_THAT(send(4215), Answers(QVCMD_OK, "false"));
  EXPECT_EQ("cal not done\n", log().back());
  set_item(211, "0");
  EXPECT_THAT(send(4215), Answers(QVCMD_OK, "true"));
  const auto written = entries();
  EXPECT_EQ("cal done\n", written.back().message);
  EXPECT_EQ(6, written.back().priority);
  item_fails(211);
  EXPECT_THAT(send(4215), Answers(QVCMD_FAIL, ""));
}

TEST_F(TestResults, SaatResultGoesToTheItemOrToTheCamera) {
  EXPECT_EQ(QVCMD_OK, send(4231, "P1,P2").result);
  EXPECT_THAT(send(4230), Answers(QVCMD_OK, "P1,P2"));
  EXPECT_THAT(log(), IsSupersetOf({"[handle_set_saat_result] saatresult: P1,P2, data: P1,P2, "
                                   "data_len: 5\n"}));

  EXPECT_THAT(send(4230, "x[FRONT_TOF_CHECK]"), Answers(QVCMD_FAIL, "")) << "no file yet";
  EXPECT_EQ(QVCMD_OK, send(4231, "[FRONT_TOF]gain=2").result);
  EXPECT_EQ("gain=2", read_file(file(kTofFile)));
  EXPECT_THAT(send(4230, "[FRONT_TOF_CHECK]"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("P1,P2", item_text(212)) << "the camera's branch leaves the item alone";

  // Nothing, a full disk, no access: the calibration that is there stays.
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]").result);
  fault(Part::file, kTofFile, Effect::shorter, 3, Access::write);
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]gain=3").result);
  fault(Part::file, kTofFile, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]gain=4").result);
  EXPECT_THAT(send(4230, "[FRONT_TOF_CHECK]"), Answers(QVCMD_FAIL, ""));
  EXPECT_EQ("gain=2", read_file(file(kTofFile)));
  EXPECT_FALSE(std::filesystem::exists(file(kTofFile).string() + ".tmp"));
}

TEST_F(TestResults, AFailedClearKeepsTheOldResult) {
  set_item(212, "old");
  fault(Part::item, "212", Effect::fail, -7, Access::write);
  EXPECT_EQ(-1, send(4231, "new").result);
  EXPECT_EQ("old", item_text(212));
}

TEST_F(TestResults, ProximitySyncAlwaysFails) {
  EXPECT_THAT(send(4232, "300"), Answers(QVCMD_FAIL, ""));
  EXPECT_EQ("[handle_saat_proxi_sync] cal value : 44\n", log().back());
}

TEST_F(TestResults, MidautoResultIsStoredEchoedAndAnnounced) {
  EXPECT_THAT(send(4408, "1101"), Answers(QVCMD_OK, "1101"));
  EXPECT_EQ("4", property(kStatus));
  EXPECT_THAT(send(4408, "0"), Answers(QVCMD_OK, "0"));
  EXPECT_THAT(send(4407), Answers(QVCMD_OK, "0")) << "nothing left of the longer one";
  const std::string longest(128, '1');
  EXPECT_THAT(send(4408, longest + "2"), Answers(QVCMD_OK, longest)) << "what was stored";
}

TEST_F(TestResults, AMidautoResultThatIsNotStoredIsNotAnnounced) {
  item_fails(251);
  EXPECT_THAT(send(4408, "1101"), Answers(-1, ""));
  EXPECT_EQ("(not set)", property(kStatus));
  virtual_phone::clear_faults(phone());
  fault(Part::property, kStatus, Effect::fail, 0, Access::write);
  EXPECT_THAT(send(4408, "1101"), Answers(-1, ""));
}

TEST_F(TestResults, MidautoCrcSlotsAreTenCharactersEach) {
  EXPECT_THAT(send(4409), Answers(QVCMD_OK, "0xFFFFFFFF"));
  set_item(253, "0x000000010x00000002short\0zzzz0x00000004"sv);
  EXPECT_THAT(send(4409), Answers(QVCMD_OK, "0x00000001"));
  EXPECT_THAT(send(4410), Answers(QVCMD_OK, "0x00000002"));
  EXPECT_THAT(send(4411), Answers(QVCMD_OK, "short"));
  EXPECT_THAT(send(4412), Answers(QVCMD_OK, "0x00000004"));
  // A positive count is a failure here, and only here.
  fault(Part::item, "253", Effect::returns, 40);
  EXPECT_THAT(send(4409), Answers(-1, ""));
  fault(Part::item, "251", Effect::returns, 128);
  EXPECT_EQ(QVCMD_OK, send(4407).result);
}

TEST_F(TestResults, FlexGpioSumSaysWhatFailed) {
  EXPECT_EQ(QVCMD_OK, send(4241, "1A2B").result);
  EXPECT_THAT(send(4240), Answers(QVCMD_OK, "1A2B"));
  item_fails(300);
  EXPECT_THAT(send(4240), Answers(QVCMD_FAIL, ""));
  const auto written = entries();
  EXPECT_EQ("[handle_read_flex_gpio_sum] failed to get data\n", written.back().message);
  EXPECT_EQ(6, written.back().priority);
}

}  // namespace
}  // namespace fcx_test
