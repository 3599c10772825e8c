// Commands that end in a restart, and the power key's.
#include "tests/story_test.h"
#include "virtual_phone/core/properties.h"

namespace fcx_test {
namespace {

class SystemHandlers : public StoryTest {
 protected:
  SystemHandlers() {
    let("begin", "I start system_restart\n|");
    let("whole",
        "I start system_restart\n|I system_efs_sync DONE\n|I sync DONE\n|"
        "I end system_restart\n|I start restart with reason : fcx\n|I end reboot\n");
    let("failed", "E system_efs_sync Fail ! return error.|E EFS SYNC ERROR\n");
    let("fcx", "events=reboot: restart, reason fcx");
  }

  /// Stories of a command, whose answer is its result alone.
  void tell_command(int32_t opcode, const std::string& payload, const char* stories) {
    tell(
        "handle",
        [&] {
          const qvcmd_response response = send_unclean(opcode, payload);
          EXPECT_EQ(kUntouched, response.data_len);
          return response.result;
        },
        stories);
  }
};

TEST_F(SystemHandlers, TheDeviceTestRestartsAPhoneWhoseStatusItChanges) {
  let("test", "Diag_Lib: handle_devicetest_start");
  let("changed", understood("I $test frst = 2\n|I set_factory_status:[6] \n|I trace value : 6>|"
                            "I $test change frst 6, ret = 0\n|"));
  tell_command(4004, "1", R"(
item 2=\2 -> $changed$whole => item 2=\6; item 3=\1; $fcx
item 2=\6 -> $whole => item 3=\1; $fcx
item 2=\6; item 3! -> E $test: failed with -1\n => events=; result=1
item 2=\2; item 3! -> E $test: failed with -1\n|$changed$whole => $fcx
item 2=\2; item 2! -> E $test: the factory status cannot be read\n|I $test frst = -1\n|
  I set_factory_status:[6] \n|I Set ftm Error! Item : 2|
  I $test change frst 6, ret = -1\n => events=; item 3=\1; result=1
item 2=\6; 200! -> $begin$failed => events=; item 3=
item 2=\6; 200!; item 3!write @2 -> $begin$failed|E $test: failed with -1\n => item 3=\1
)");
  tell_command(4004, "257", "item 2=\\2 -> $changed$whole => item 3=\\1");
  tell_command(4004, "0", "item 2=\\2 -> $changed$whole => item 2=\\6; item 3=; $fcx");
  tell_command(4004, "", "item 2=\\2 -> $changed$whole");
  tell_command(4004, "2", "item 2=\\6 -> => events=; item 3=; result=1");
}

TEST_F(SystemHandlers, TheAutomaticTestNeedsItsFlag) {
  tell_command(4180, "1", R"(
let start = I start system_aat\n|
-> ${start}I end system_aat_write\n|I start restart with reason : aat_write\n|I end reboot\n
  => item 3=\1; events=reboot: restart, reason aat_write
item 3! -> E Diag_Lib: handle_aat_write_start: failed with -1\n => events=; result=1
200! -> $start$failed => item 3=; events=
200!; item 3!write @2 -> $start$failed|E Diag_Lib: handle_aat_write_start: failed with -1\n
  => item 3=\1
)");
  for (const char* other : {"0", "2", "256", ""}) {
    tell_command(4180, other, "-> => item 3=; events=; result=1");
  }
}

TEST_F(SystemHandlers, TheBootStatusIsSetForARestartAndTakenBack) {
  for (const auto& [argument, status] :
       {std::pair{"3", "3"}, {"257", "1"}, {"-1", "255"}, {"", "0"}}) {
    let("status", status);
    tell_command(4007, argument, "-> $whole => $fcx; bootstatus=$status");
  }
  std::vector<std::string> set;
  virtual_phone::observe_properties([&](const auto& change) { set.push_back(change.after); });
  tell_command(4007, "5", R"(
200! -> $begin$failed => events=; result=1
bootstatus!write -> E set_bootstatus: persist.vendor.qve.bootstatus cannot be set\n|$whole => $fcx
)");
  virtual_phone::observe_properties({});
  EXPECT_THAT(set, testing::ElementsAre("5", "0"));
}

TEST_F(SystemHandlers, ADownloadIsNotedAndBegins) {
  let("untouched", std::to_string(kUntouched));
  let("dload",
      "I start system_dload\n|I end system_dload\n|I start restart with reason : dload\n|"
      "I end reboot\n");
  tell_command(4266, "/sdcard/image", R"(
let event = events=reboot: restart, reason dload; result=$untouched
-> $dload => $event; item 90=/sdcard/image; bootstatus=1
item 90!; bootstatus!write -> E Diag_Lib: start_sdcard_download: item 90 cannot be written\n|
  E set_bootstatus: persist.vendor.qve.bootstatus cannot be set\n|$dload => $event
200! -> I start system_dload\n|$failed => events=; item 90=/sdcard/image; result=$untouched
)");
  let("longest", std::string(512, 'p'));
  tell_command(4266, std::string(513, 'p'), "-> $dload => $event; item 90=$longest");
  tell_command(4266, "", "item 90=old -> $dload => $event; item 90=");
}

TEST_F(SystemHandlers, ThePowerKeyResetsOrDoesNot) {
  for (const char* payload : {"1", "", "\xFF", "0", "01"}) {
    let("sent", std::string(1, payload[0] == '0' ? '\0' : '\1'));
    tell_command(4040, payload, R"(
-> => payload=$sent
610!refuse -> E system_powerkey_hardreset_enable: the modem refuses\n => result=1
)");
  }
}

}  // namespace
}  // namespace fcx_test
