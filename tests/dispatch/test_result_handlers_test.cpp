// Commands about what the line's tests leave on the phone.
#include "tests/dispatch/command_test.h"

namespace fcx_test {
namespace {

class TestResults : public CommandTest {};

constexpr char kTofFile[] = "/mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kStatus[] = "persist.vendor.qve.midauto.status";

TEST_F(TestResults, CrcWizardKeepsOneDigit) {
  for (const auto& [text, digit] :
       {std::pair("1", "1"), {"9", "9"}, {"25", "2"}, {"256", "0"}, {"none", "0"}}) {
    EXPECT_THAT(send(4060, text), Answers(QVCMD_OK, "")) << text;
    EXPECT_THAT(send(4061), Answers(QVCMD_OK, digit)) << text;
  }
  lines();
  send(4060, "257 wizards");
  EXPECT_THAT(
      lines_of(4060),
      ElementsAre("I Diag_Lib: CWCWIZARD crcwizard_set ==  1 , 257 wizards ",
                  "I Fcx: CWCWIZARD set_crcwizard(1)\n", "I Diag_Lib: rsp->result = QVCMD_OK"));
  send(4061);
  EXPECT_THAT(lines_of(4061), ElementsAre("I Fcx: CWCWIZARD get_crcwizard pass\n",
                                          "I Fcx: CWCWIZARD get_crcwizard(1)\n",
                                          "I Diag_Lib: CWCWIZARD get_crcwizard : 1\n"));
}

TEST_F(TestResults, CrcWizardThatCannotBeReadIsAnEmptyAnswer) {
  set_item(item::crc_wizard, "1");
  item_fails(item::crc_wizard);
  EXPECT_THAT(send(4061), Answers(QVCMD_OK, ""));
  EXPECT_THAT(lines_of(4061), ElementsAre("I Fcx: CWCWIZARD get_crcwizard pass\n",
                                          "I Fcx: CWCWIZARD get_crcwizard()\n",
                                          "E Diag_Lib: handle_crcwizard_get: failed with -1\n",
                                          "I Diag_Lib: CWCWIZARD get_crcwizard : \n"));
  send(4060, "2");
  EXPECT_THAT(lines_of(4060), ElementsAre("I Diag_Lib: CWCWIZARD crcwizard_set ==  2 , 2 ",
                                          "I Fcx: CWCWIZARD set_crcwizard(2)\n",
                                          "E Diag_Lib: handle_crcwizard_set: failed with -1\n",
                                          "I Diag_Lib: rsp->result = QVCMD_FAIL"));
}

TEST_F(TestResults, LdafCalibrationIsDoneWhenTheItemHoldsText) {
  for (const auto& [text, answer, line] : {std::tuple("", "false", "E Diag_Lib: cal not done\n"),
                                           {"0", "true", "E Diag_Lib: cal done\n"}}) {
    set_item(item::ldaf_cal, text);
    EXPECT_THAT(send(4215), Answers(QVCMD_OK, answer));
    EXPECT_THAT(lines_of(4215), ElementsAre(line));
  }
}

TEST_F(TestResults, SaatResultGoesToTheItemOrToTheCamera) {
  EXPECT_EQ(QVCMD_OK, send(4231, "P1,P2").result);
  EXPECT_THAT(send(4230, "[FRONT_TOF]"), Answers(QVCMD_OK, "P1,P2"));
  EXPECT_THAT(send(4230, "x[FRONT_TOF_CHECK]"), Answers(QVCMD_FAIL, "")) << "no file yet";
  lines();
  // What comes before the mark is not the camera's; of the item only 256 characters are shown.
  const std::string text = std::string(260, 'x') + "[FRONT_TOF]gain=2";
  EXPECT_EQ(QVCMD_OK, send(4231, text + '\0' + "!").result);
  EXPECT_THAT(lines_of(4231),
              ElementsAre("I Diag_Lib: [handle_set_saat_result] saatresult: " +
                          std::string(256, 'x') + ", data: " + text + ", data_len: 279\n"));
  EXPECT_EQ("gain=2", read_file(file(kTofFile)));
  EXPECT_THAT(send(4230, "[FRONT_TOF_CHECK]"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("P1,P2", item_text(item::saat_result)) << "the camera's branch leaves the item alone";

  // Nothing, a full disk, no access: the calibration that is there stays.
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]").result);
  fault(Part::file, kTofFile, Effect::shorter, 3, Access::write);
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]gain=3").result);
  fault(Part::file, kTofFile, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, send(4231, "[FRONT_TOF]gain=4").result);
  EXPECT_THAT(send(4230, "[FRONT_TOF_CHECK]"), Answers(QVCMD_FAIL, ""));
  EXPECT_EQ("gain=2", read_file(file(kTofFile)));
  EXPECT_FALSE(fs::exists(file(kTofFile).string() + ".tmp"));
}

TEST_F(TestResults, ProximitySyncAlwaysFails) {
  EXPECT_THAT(send(4232, "300"), Answers(QVCMD_FAIL, ""));
  EXPECT_THAT(lines_of(4232), ElementsAre("I Diag_Lib: [handle_saat_proxi_sync] cal value : 44\n"));
}

TEST_F(TestResults, AMidautoResultIsAnnouncedAndEchoedWhateverFails) {
  const std::string failed = "E Diag_Lib: handle_set_midauto_result: failed with -1\n";
  item_fails(item::midauto_result);
  EXPECT_THAT(send(4408, "1101"), Answers(-1, "1101"));
  EXPECT_EQ("4", property(kStatus));
  EXPECT_THAT(lines_of(4408), ElementsAre(failed));
  fault(Part::property, kStatus, Effect::fail, 0, Access::write);
  EXPECT_THAT(send(4408, "1101"), Answers(-1, "1101"));
  EXPECT_THAT(lines_of(4408), ElementsAre(failed, failed));
  clear_faults();
  fault(Part::property, kStatus, Effect::fail, 0, Access::write);
  const std::string longest(128, '1');
  EXPECT_THAT(send(4408, longest + "2"), Answers(QVCMD_OK, longest)) << "the first call's return";
  EXPECT_THAT(lines_of(4408), ElementsAre(failed));
  EXPECT_EQ(longest, item(item::midauto_result, 128));
}

TEST_F(TestResults, MidautoCrcSlotsAreTenCharactersEach) {
  set_item(item::midauto_crc_list, "0x000000010x00000002short\0zzzz0x00000004"sv);
  int32_t opcode = 4409;
  for (const char* slot : {"0x00000001", "0x00000002", "short", "0x00000004"}) {
    EXPECT_THAT(send(opcode++), Answers(QVCMD_OK, slot));
  }
  // A positive count is a failure here, and only here.
  fault(Part::item, "253", Effect::returns, 40);
  EXPECT_THAT(send(4409), Answers(-1, ""));
  fault(Part::item, "251", Effect::returns, 128);
  EXPECT_EQ(QVCMD_OK, send(4407).result);
}

}  // namespace
}  // namespace fcx_test
