// The commands that ask the modem or the system side.
#include "tests/dispatch/command_test.h"

namespace fcx_test {
namespace {

constexpr char kWrongDigit[] = "490154203237517";

class ModemHandlers : public CommandTest {};

TEST_F(ModemHandlers, AnImeiIsWrittenMirroredAndReadBack) {
  for (const int opcode : {4294, 4413, 4414}) {
    EXPECT_THAT(send(opcode), Answers(QVCMD_OK, "IMEI READ ERROR :(")) << opcode;
  }
  EXPECT_THAT(send(4293, kImei), Answers(QVCMD_OK, "IMEI WRITE OK"));
  EXPECT_THAT(send(4293, kWrongDigit), Answers(QVCMD_OK, "CHECK DIGIT ERROR"));
  EXPECT_EQ(kImei, item_text(item::imei));
  EXPECT_THAT(send(4294), Answers(QVCMD_OK, kImei));
  EXPECT_THAT(send_unclean(4064), Answers(QVCMD_OK, kImei));
  EXPECT_EQ("I Diag_Lib: AutoMID read IMEI Success :) = 490154203237518", lines().back());
}

TEST_F(ModemHandlers, TheAutomaticWriteTellsItsAnswersApart) {
  const std::tuple<std::string, Effect, int, int32_t, const char*> cases[] = {
      {kImei, Effect::late, 1, QVCMD_OK, "Success :)"},
      {"1", Effect::late, 1, QVCMD_FAIL, "Failed :("},
      {kWrongDigit, Effect::late, 1, QVCMD_FAIL, "Digit Error."},
      {kWrongDigit, Effect::longer, 20, QVCMD_FAIL, "Digit Error."},
      {kImei, Effect::longer, 14, QVCMD_FAIL, "Unknown Error :("},
      {"1", Effect::longer, 17, QVCMD_FAIL, "Unknown Error :("},
      {kImei, Effect::empty, 0, QVCMD_FAIL, "Unknown Error :("}};
  for (const auto& [imei, effect, value, result, line] : cases) {
    request_fault(116, effect, value);
    EXPECT_EQ(result, send(4064, imei).result) << line;
    EXPECT_EQ(std::string("I Diag_Lib: AutoMID write IMEI ") + line, lines().back());
    clear_faults();
  }
  send(4064, std::string(1025, '4'));
  EXPECT_THAT(requests().back().payload, SizeIs(1024));
}

TEST_F(ModemHandlers, ErrorTextsAreRefused) {
  EXPECT_EQ(QVCMD_FAIL, send(4064).result);
  EXPECT_EQ("I Diag_Lib: AutoMID read IMEI Fail :(", lines().back());
  for (const auto& [opcode, record, value] :
       {std::tuple(4068, "IMPL", "impl"), {4069, "FUSG", "fusg"}}) {
    EXPECT_EQ(QVCMD_FAIL, send(opcode).result) << opcode;
    EXPECT_EQ(std::string("I Diag_Lib: ") + record + " READ FAIL", lines().back());
    set_modem(value, "1");
    EXPECT_EQ(QVCMD_OK, send(opcode).result) << opcode;
    EXPECT_EQ(std::string("I Diag_Lib: ") + record + " READ OK : 1", lines().back());
  }
}

TEST_F(ModemHandlers, TheModelNameIsTheSystemSides) {
  EXPECT_THAT(send_unclean(4063, "QV-100"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("QV-100", modem("model_name"));
  EXPECT_THAT(send_unclean(4063), Answers(QVCMD_OK, "QV-100"));
  EXPECT_EQ("I Diag_Lib: handle_get_ftm_model_name OK : QV-100, 6", lines().back());
  EXPECT_EQ(-1, send(4063, std::string(256, 'm')).result);
  EXPECT_EQ(0, send(4063, std::string(255, 'm')).result);
  EXPECT_THAT(send(4063), Answers(QVCMD_OK, std::string(255, 'm')));
}

TEST_F(ModemHandlers, AnAnswerThatIsTooLongIsCut) {
  const std::pair<int32_t, int> cases[] = {{4294, 117}, {4293, 116}, {4064, 117}, {4400, 157},
                                           {4401, 158}, {4068, 102}, {4063, 4063}};
  for (const auto& [opcode, modem_opcode] : cases) {
    request_fault(modem_opcode, Effect::longer, 4000);
    const qvcmd_response response = send(opcode);
    EXPECT_EQ(QVCMD_OK, response.result) << opcode;
    EXPECT_GT(response.data_len, 200) << opcode;
    EXPECT_LE(response.data_len, 2048) << opcode;
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
