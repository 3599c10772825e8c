// SIM, radio and the automatic test's results: what is asked, what is answered, what is logged.
#include "tests/story_test.h"

namespace fcx_test {
namespace {

class RadioHandlers : public StoryTest {
 protected:
  /// Stories of a command whose answer's data is `out`.
  void tell_command(int32_t opcode, const std::string& payload, const char* stories) {
    tell(
        "handle",
        [&] {
          const qvcmd_response response = send(opcode, payload);
          out = data(response);
          EXPECT_EQ('\0', response.data[out.size()]) << "a NUL after what is shorter";
          return response.result;
        },
        stories);
  }
};

TEST_F(RadioHandlers, TheSimAndTheVirtualOne) {
  tell_command(4030, "", R"(
-> I Diag_Lib: ISSIM SUCCESS!!! ISSIM: 0\n => asked=4030; out=0
4030!empty -> I Diag_Lib: ISSIM SUCCESS!!! ISSIM: \n => out=
4030!5 -> I Diag_Lib: ISSIM FAIL!!! ISSIM: \n => out=; result=1
)");
  fresh_phone();
  insert_sim("8901410000000000001");
  EXPECT_THAT(send(4030), Answers(0, "1"));
  fault(Part::request, "4030", Effect::longer, 2048);
  EXPECT_THAT(send(4030), Answers(0, "1" + std::string(2046, 'X')));

  tell_command(4031, "1", R"(
-> => asked=4031; payload=1; out=OK; modem virtual_sim=1
4031! -> E Diag_Lib: handle_sim_simoff: failed with 1\n => out=; modem virtual_sim=(none); result=1
4031!7 -> I Diag_Lib: SIMOFF NOT SUPPORTED!!! SIMOFF=1 : \n => out=; result=2
)");
  tell_command(4031, "0", "modem virtual_sim=1 -> => out=OK; modem virtual_sim=0");
  const std::string longest(1023, 'a');
  let("longest", longest);
  let("line",
      ("SIMOFF NOT SUPPORTED!!! SIMOFF=" + longest).substr(0, 1023));  // as long as a line is
  tell_command(4031, longest + "b", "-> I Diag_Lib: $line => payload=$longest; out=; result=2");
  tell_command(4032, "", R"(
modem virtual_sim=1 -> => asked=4032; out=\1
modem virtual_sim=1; 4032!short 1 -> => out=\0
modem virtual_sim=1; 4032!long 3 -> => out=\0
-> => out=\0
4032! -> E Diag_Lib: handle_sim_isvsim: failed with 1\n => out=; result=1
4032!3 -> I Diag_Lib: Cannot get response. Return error:3\n => out=; result=2
)");
}

TEST_F(RadioHandlers, TheRadio) {
  tell_command(4033, "x", R"(
modem satpc=FF -> => asked=4033; payload=x; out=FF
-> E Diag_Lib: handle_sim_satpc: failed with 1\n => out=; result=1
4033!7 -> E Diag_Lib: handle_sim_satpc: failed with 7\n => out=; result=7
)");
  tell_command(4034, "AB", "-> => asked=4034; modem satpc=AB; out=OK");
  tell_command(4021, "", R"(
modem rf_calibrated=1 -> => asked=4021; out=
modem rf_calibrated=0 -> E Diag_Lib: handle_rfsw_get_cal_data: no calibration data\n => result=1
4021!empty -> E Diag_Lib: handle_rfsw_get_cal_data: no calibration data\n => result=1
4021!7 -> E Diag_Lib: handle_rfsw_get_cal_data: failed with 7\n => result=1
)");
  let("mmw", "I Diag_Lib: service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = 4420\n");
  tell_command(4420, "", R"(
modem mmw_device=1 -> $mmw => asked=3420; out=
-> $mmw|E Diag_Lib: handle_rfsw_device_check_mmw: failed with 1\n => result=1
)");
  let("get", "I Diag_Lib: service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = 4421\n");
  let("none",
      "I Diag_Lib: service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = 4421\n|E Diag_Lib: "
      "handle_get_rf_4g_error_handle_5g: the answer is no character\n");
  tell_command(4421, "", R"(
modem rf_4g_error_handle_5g=7 -> $get => asked=3421; out=7
3421!long 2 -> $none => out=; result=1
3421!empty -> $none => out=; result=1
3421!7 -> $get|E Diag_Lib: handle_get_rf_4g_error_handle_5g: failed with 7\n => out=; result=1
)");
  let("set", "I Diag_Lib: service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = 4422\n");
  let("wrong",
      "I Diag_Lib: service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = 4422\n|I Diag_Lib: "
      "handle_set_rf_4g_error_handle_5g wrong set value data_len");
  tell_command(4422, "1", R"(
-> $set => asked=3422; payload=1; modem rf_4g_error_handle_5g=1
3422!7 -> $set|E Diag_Lib: handle_set_rf_4g_error_handle_5g: failed with 7\n => result=1
)");
  tell_command(4422, "12", "-> $wrong 2 data 12\\n => asked=; result=1");
  tell_command(4422, "", "-> $wrong 0 data \\n => asked=; result=1");
  let("mbn", "I Diag_Lib: QVCMD_MODEM_MBN_DEACTIVATION(4415)");
  let("not", "E qve_mbn_deactivation: not done, the link's code is");
  tell_command(4415, "", R"(
-> $mbn => asked=741; modem mbn_deactivated=1
741!refuse -> $mbn|$not 0\n => modem mbn_deactivated=(none); result=1
741!7 -> $mbn|$not 1\n => result=1
)");
}

TEST_F(RadioHandlers, TheAutomaticTestsResults) {
  let("seen", "I Diag_Lib: handle_aat_result, result : 0, rsp_len :");
  let("no", understood("E aat_result_init: no result\\n|$seen 0, response :\\s"));
  let("long", std::string(2047, 'x'));  // as much as a piece of a line
  tell_command(4001, "KEY", R"(
aat=LCD=PASS\nKEY=FAIL=3\n -> $seen 6, response : FAIL=3 => out=FAIL=3
aat=LCD=PASS\nKEYS=FAIL\nKEY -> $no => out=
aat=${long}KEY=FAIL\nKEY=PASS -> $seen 4, response : PASS => out=PASS
-aat -> E aat_result_init: /mnt/vendor/persist-qv/aat/result: No such file or directory\n|
  $seen 0, response :\s => out=
aat=KEY=PASS; aat!read -> E aat_result_init: /mnt/vendor/persist-qv/aat/result: Input/output error\n|
  $seen 0, response :\s => out=
)");
  tell_command(4001, "", R"(
aat=LCD=PASS\nKEY=FAIL -> $seen 17, response : LCD=PASS\nKEY=FAIL => out=LCD=PASS\nKEY=FAIL
aat= -> $no => out=
)");
}

}  // namespace
}  // namespace fcx_test
