// Commands that end in a restart, and the power key's.
#include "fcx/device_functions.h"
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
  for (const char* other : {"0", "256", ""}) {
    tell_command(4180, other,
                 "-> E Diag_Lib: handle_aat_write_start: there is no mode 0\\n"
                 " => item 3=; events=; result=1");
  }
}

TEST_F(SystemHandlers, AFactoryResetIsNotedForWhoeverCarriesItOut) {
  const std::string card = "mounts=/dev/v /storage/1 vfat\\n";
  let("first", "I Diag_Lib: FRST START|");
  for (const auto& [argument, mode] : {std::pair{"2", "100"}, {"3", "102"}, {"4", "101"}}) {
    let("mode", mode);
    tell_command(4002, argument,
                 "-> $first$whole => item 23=\\1; $fcx|factory_reset: $mode; reset=(not set)");
  }
  tell_command(4002, "1",
               (card + R"( -> $first$whole => item 23=\1; $fcx|factory_reset: sdcard
-> ${first}E hidden_factoryreset_sdcard: no SD card\n => events=; asked=; item 23=; result=2
mounts!read -> ${first}E hidden_factoryreset_sdcard: /proc/mounts: Input/output error\n
  => events=; item 23=; result=1
-mounts -> ${first}E hidden_factoryreset_sdcard: /proc/mounts: No such file or directory\n
  => item 23=; result=1
)")
                   .c_str());
  tell_command(4002, "5",
               (card + R"( -> ${first}I start system_poweroff\n|I system_efs_sync DONE\n|
  I sync DONE\n|I end system_poweroff\n|I start poweroff\n|I end poweroff\n
  => events=reboot: power off|factory_reset: sdcard,poweroff
-> ${first}E hidden_factoryreset_sdcard_power_off: no SD card\n => events=; result=2
)")
                   .c_str());
  let("reset", "E qve_reset_production: ");
  tell_command(4002, "258", R"(
item 23=\2; 200! -> $first$begin$failed => events=; item 23=\1; reset=100; result=1
item 23!read -> $first${reset}item 23 cannot be read\n => events=; reset=(not set); result=1
item 23!write -> $first${reset}item 23 cannot be written\n => events=; reset=(not set); result=1
item 23=\2; reset=0; reset!write -> $first${reset}persist.vendor.qve.factory.reset cannot be set\n
  => events=; item 23=\2; reset=0; result=1
item 23=\2; item 23!write @2; reset!write
  -> $first${reset}persist.vendor.qve.factory.reset cannot be set\n|${reset}item 23 cannot be put back\n
  => item 23=\1; result=1
)");
  for (const auto& [argument, value] :
       {std::pair{"0", "0"}, {"6", "6"}, {"-1", "255"}, {"", "0"}}) {
    let("value", value);
    tell_command(4002, argument,
                 "-> ${first}E Diag_Lib: handle_frst_start: there is no mode $value"
                 "\\n => events=; item 23=; result=2");
  }
  tell_command(4405, "", "-> => item 23=\\1; reset=1; events=");
  tell_command(4406, "", "-> => item 23=\\1; reset=0; events=");
  TELL("qve_reset_production", qve_reset_production(2),
       "-> E @: there is no mode 2\\n => result=2");
}

TEST_F(SystemHandlers, TheFactoryModeIsARawByte) {
  let("asked", "I Diag_Lib: handle_factory_mode_check, ret: 0\n");
  tell(
      "4005",
      [&] {
        const qvcmd_response response = send(4005);
        out = data(response) + (response.data_len == 1 && response.data[1] == '\0' ? "." : "");
        return response.result;
      },
      R"(
item 3=\1 -> => asked=; out=\1.
modem test_script_mode=1 -> $asked => asked=4005; out=\1.
item 3=\2; modem test_script_mode=5 -> $asked => out=\5.
modem test_script_mode=0 -> $asked => out=
modem test_script_mode=2 -> $asked => out=; result=2
modem test_script_mode=258 -> $asked => out=\2.
4005!long 30; modem test_script_mode=000000000000007 -> $asked => out=\7.
item 3!; modem test_script_mode=3 -> E Diag_Lib: handle_factory_mode_check: failed with -1\n|$asked
  => out=\3.
4005! -> I Diag_Lib: handle_factory_mode_check, ret: 1\n => out=; result=1
)");
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
