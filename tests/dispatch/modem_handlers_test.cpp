// The commands that ask the modem or the system side.
#include "fcx/service_handler.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::Contains;
using testing::SizeIs;
using virtual_phone::Effect;

constexpr char kImei[] = "490154203237518";

class ModemHandlers : public PhoneTest {};

TEST_F(ModemHandlers, AnImeiIsWrittenMirroredAndReadBack) {
  EXPECT_THAT(send(4293, kImei), Answers(QVCMD_OK, "IMEI WRITE OK"));
  EXPECT_EQ(kImei, item_text(13));
  EXPECT_THAT(send(4294), Answers(QVCMD_OK, kImei));
  EXPECT_THAT(send_unclean(4064), Answers(QVCMD_OK, kImei));
  EXPECT_EQ("I Diag_Lib: AutoMID read IMEI Success :) = 490154203237518", lines().back());

  EXPECT_THAT(send(4293, "490154203237517"), Answers(QVCMD_OK, "CHECK DIGIT ERROR"));
  EXPECT_THAT(send(4293, "4901"), Answers(QVCMD_OK, "IMEI WRITE ERROR"));
  EXPECT_EQ(kImei, item_text(13));
  EXPECT_THAT(send(4294), Answers(QVCMD_OK, kImei));
}

TEST_F(ModemHandlers, AnErrorTextKeepsResultZeroAndALostAnswerDoesNot) {
  for (const int opcode : {4294, 4413, 4414}) {
    EXPECT_THAT(send_unclean(opcode), Answers(QVCMD_OK, "IMEI READ ERROR :(")) << opcode;
  }
  service_fault("dmi", Effect::dies);
  for (const int opcode : {4293, 4294, 4413, 4414}) {
    EXPECT_THAT(send_unclean(opcode, kImei), Answers(QVCMD_FAIL, "")) << opcode;
  }
  EXPECT_EQ("", item_text(13));
}

TEST_F(ModemHandlers, TheOtherSlotsAreReadFromTheModem) {
  set_modem("imei2", "490154203237526");
  set_modem("imei3", "490154203237534");
  EXPECT_THAT(send_unclean(4413), Answers(QVCMD_OK, "490154203237526"));
  EXPECT_THAT(send_unclean(4414), Answers(QVCMD_OK, "490154203237534"));
}

TEST_F(ModemHandlers, WriteSendsAsManyBytesAsTheRequestSays) {
  qvcmd_request request{4293, 3, "490154203237518"};
  qvcmd_response response{};
  const struct {
    int32_t data_len;
    size_t sent;
  } cases[] = {{3, 3}, {16, 16}, {0, 0}, {-5, 0}, {2048, 2048}, {INT32_MAX, 2048}};
  for (const auto& c : cases) {
    request.data_len = c.data_len;
    service_handler(&request, &response);
    const auto sent = requests();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_THAT(sent[0].payload, SizeIs(c.sent)) << c.data_len;
  }
}

TEST_F(ModemHandlers, TheAutomaticWriteTellsItsAnswersApart) {
  const struct {
    const char* imei;
    Effect effect;
    int64_t value;
    int32_t result;
    const char* line;
  } cases[] = {
      {kImei, Effect::late, 0, QVCMD_OK, "I Diag_Lib: AutoMID write IMEI Success :)"},
      {"1", Effect::late, 0, QVCMD_FAIL, "I Diag_Lib: AutoMID write IMEI Failed :("},
      {"490154203237517", Effect::late, 0, QVCMD_FAIL,
       "I Diag_Lib: AutoMID write IMEI Digit Error."},
      {"490154203237517", Effect::longer, 20, QVCMD_FAIL,
       "I Diag_Lib: AutoMID write IMEI Digit Error."},
      {kImei, Effect::longer, 14, QVCMD_FAIL, "I Diag_Lib: AutoMID write IMEI Unknown Error :("},
      {"1", Effect::longer, 17, QVCMD_FAIL, "I Diag_Lib: AutoMID write IMEI Unknown Error :("},
      {kImei, Effect::empty, 0, QVCMD_FAIL, "I Diag_Lib: AutoMID write IMEI Unknown Error :("},
      {kImei, Effect::fail, 1, QVCMD_FAIL, "I Diag_Lib: AutoMID write IMEI fatal Failed :("},
  };
  for (const auto& c : cases) {
    opcode_fault(116, c.effect, c.value);
    log();
    const qvcmd_response response = send_unclean(4064, c.imei);
    EXPECT_EQ(c.result, response.result) << c.line;
    EXPECT_EQ(kUntouched, response.data_len) << "only the result is written";
    EXPECT_THAT(lines(), Contains(c.line));
    clear_faults();
  }
}

TEST_F(ModemHandlers, TheAutomaticWriteSendsAtMost1024Characters) {
  send(4064, std::string(1025, '4'));
  EXPECT_THAT(requests().back().payload, SizeIs(1024));
}

TEST_F(ModemHandlers, TheAutomaticReadRefusesErrorTexts) {
  log();
  EXPECT_EQ(QVCMD_FAIL, send_unclean(4064).result);
  EXPECT_EQ("I Diag_Lib: AutoMID read IMEI Fail :(", lines().back());
  set_modem("imei1", kImei);
  opcode_fault(117, Effect::fail, 1);
  EXPECT_EQ(QVCMD_FAIL, send_unclean(4064).result);
  EXPECT_EQ("I Diag_Lib: AutoMID read IMEI Fail :(", lines().back());
}

TEST_F(ModemHandlers, MeidAndPesnFailDifferently) {
  set_modem("meid", "A0000012345678");
  set_modem("pesn", "80A1B2C3");
  EXPECT_THAT(send_unclean(4400), Answers(QVCMD_OK, "A0000012345678"));
  EXPECT_THAT(send_unclean(4401), Answers(QVCMD_OK, "80A1B2C3"));
  opcode_fault(157, Effect::fail, 1);
  opcode_fault(158, Effect::fail, 1);
  EXPECT_THAT(send_unclean(4400), Answers(QVCMD_OK, "")) << "on purpose";
  EXPECT_THAT(send_unclean(4401), Answers(QVCMD_FAIL, ""));
}

TEST_F(ModemHandlers, FlagsOfRecords) {
  const struct {
    int opcode;
    const char* value;
    std::string name;
    int modem_opcode;
  } cases[] = {{4068, "impl", "IMPL", 102}, {4069, "fusg", "FUSG", 109}};
  for (const auto& c : cases) {
    EXPECT_EQ(QVCMD_FAIL, send_unclean(c.opcode).result);
    EXPECT_EQ("I Diag_Lib: " + c.name + " READ FAIL", lines().back())
        << "never written: an error text";
    set_modem(c.value, "1");
    EXPECT_THAT(send_unclean(c.opcode), Answers(QVCMD_OK, "1"));
    EXPECT_EQ("I Diag_Lib: " + c.name + " READ OK : 1", lines().back());
    opcode_fault(c.modem_opcode, Effect::fail, 1);
    EXPECT_EQ(QVCMD_FAIL, send_unclean(c.opcode).result);
  }
}

TEST_F(ModemHandlers, TheModelNameIsTheSystemSides) {
  EXPECT_THAT(send_unclean(4063, "QV-100"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("QV-100", modem("model_name"));
  EXPECT_THAT(send_unclean(4063), Answers(QVCMD_OK, "QV-100"));
  EXPECT_EQ("I Diag_Lib: handle_get_ftm_model_name OK : QV-100, 6", lines().back());
  opcode_fault(4063, Effect::fail, 9);
  EXPECT_EQ(9, send(4063, "QV-200").result) << "copied";
  EXPECT_EQ(QVCMD_FAIL, send_unclean(4063).result);
  EXPECT_EQ("I Diag_Lib: handle_get_ftm_model_name Fail", lines().back());
  clear_faults();
  EXPECT_EQ(-1, send(4063, std::string(256, 'm')).result);
  EXPECT_EQ(0, send(4063, std::string(255, 'm')).result);
  EXPECT_THAT(send(4063), Answers(QVCMD_OK, std::string(255, 'm')));
}

TEST_F(ModemHandlers, AFlushLeavesTheResponseUntouched) {
  EXPECT_THAT(send_unclean(4020), IsUntouched());
  ASSERT_THAT(requests(), SizeIs(1));
  opcode_fault(200, Effect::fail, 1);
  EXPECT_THAT(send_unclean(4020), IsUntouched());
  EXPECT_EQ("E Fcx: system_efs_sync Fail ! return error.", lines().back());
}

TEST_F(ModemHandlers, AnAnswerThatIsTooLongIsCut) {
  for (const auto& [opcode, modem_opcode] : {std::pair{4294, 117},
                                             {4293, 116},
                                             {4064, 117},
                                             {4400, 157},
                                             {4401, 158},
                                             {4068, 102},
                                             {4063, 4063}}) {
    opcode_fault(modem_opcode, Effect::longer, 4000);
    const qvcmd_response response = send(opcode);
    EXPECT_EQ(QVCMD_OK, response.result) << opcode;
    EXPECT_GT(response.data_len, 200) << opcode;
    EXPECT_LE(response.data_len, 2048) << opcode;
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
