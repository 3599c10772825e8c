// Reboot, power-off, and what the modem does for them.
#include "fcx/background.h"
#include "fcx/system_control.h"
#include "tests/story_test.h"
#include "virtual_phone/core/clock.h"

namespace fcx_test {
namespace {

class Power : public StoryTest {
 protected:
  Power() { let("synced", "I system_efs_sync DONE\n|I sync DONE\n|"); }
};

TEST_F(Power, DeparturesFlushTheModemAndLeaveOnAThread) {
  const std::tuple<const char*, int (*)(), const char*, const char*, const char*> cases[] = {
      {"system_restart", system_restart, "I system_efs_sync DONE\n|I sync DONE\n|",
       "I end system_restart\n", "fcx"},
      {"system_dload", system_dload, "", "I end system_dload\n", "dload"},
      {"system_aat", system_aat, "", "I end system_aat_write\n", "aat_write"}};
  for (const auto& [name, leave, synced, end, reason] : cases) {
    let("synced", synced);
    let("end", end);
    let("reason", reason);
    tell(name, leave, R"(
let start = I start @\n|
-> $start$synced$end|I start restart with reason : $reason\n|I end reboot\n
  => asked=200; seconds=1; events=reboot: restart, reason $reason
thread reboot! -> $start${synced}E Unable to create frst thread : Resource temporarily unavailable\n
  => result=-1; events=
200! -> ${start}E system_efs_sync Fail ! return error.|E EFS SYNC ERROR\n => result=-1; events=
200!refuse -> ${start}E system_efs_sync Fail ! rsp error.|E EFS SYNC ERROR\n => result=-1; events=
)");
  }
}

TEST_F(Power, TheAnswerToACommandCanLeaveBeforeThePhoneDoes) {
  virtual_phone::set_clock(virtual_phone::Clock::stopped);
  for (const auto leave : {system_restart, system_dload, system_poweroff}) {
    EXPECT_EQ(0, leave());
    EXPECT_EQ("", left("events"));
  }
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  fcx::wait_for_background_work();
  EXPECT_EQ(3U, events().size());
}

TEST_F(Power, TheKernelMayPowerOffByItself) {
  TELL("system_poweroff", system_poweroff(), R"(
let skipped = I skip fcx poweroff beacause of kernel poweroff\n
let off = I end system_poweroff\n|I start poweroff\n|I end poweroff\n
-> I start @\n|$synced$off => asked=200; seconds=1; events=reboot: power off
thread power_off! -> I start @\n|${synced}E Unable to create frst thread : Resource temporarily
  unavailable\n => result=-1; events=
200! -> I start @\n|E system_efs_sync Fail ! return error.|E EFS SYNC ERROR\n => result=-1; events=
fcx_status=1\n -> I start @\n|$synced$skipped => events=
fcx_status=10 -> I start @\n|$synced$skipped => events=
fcx_status= -> I start @\n|$synced$off => events=reboot: power off
fcx_status=\s1 -> I start @\n|$synced$off => events=reboot: power off
fcx_status!read -> I start @\n|${synced}E @: /sys/kernel/fcx_mid/fcx_status cannot be read\n|$off
  => events=reboot: power off
)");
}

TEST_F(Power, PlainRebootsAndTheShipMode) {
  TELL("restart", ::restart(), R"(
-> I start restart\n|I end restart\n => events=reboot: restart; seconds=1
service reboot!absent -> I start restart\n|E @: no reboot\n|I end restart\n => events=
)");
  TELL("poweroff", poweroff(), R"(
-> I start poweroff\n|I end poweroff\n => events=reboot: power off; seconds=1
service reboot!absent -> I start poweroff\n|E @: no reboot\n|I end poweroff\n => events=
)");
  char reason[] = "oem-1";
  TELL("restart_with_reason", restart_with_reason(reason), R"(
let start = I start restart with reason : oem-1\n
-> $start|I end reboot\n => events=reboot: restart, reason oem-1; seconds=1
service reboot!absent -> $start|E @: no reboot\n|I end reboot\n => events=
)");
  TELL("restart_with_reason", restart_with_reason(nullptr), R"(
-> I start restart with reason : \n|I end reboot\n => events=reboot: restart
)");
  TELL("system_poweroff_ship_mode", system_poweroff_ship_mode(), R"(
-> => events=reboot: restart, reason oem-11; asked=200; seconds=2
200!refuse -> E system_efs_sync Fail ! rsp error.|E EFS SYNC ERROR !!!!!!!!!\n
  => events=reboot: restart, reason oem-11
service reboot!absent -> E @: no reboot\n => events=
)");
}

TEST_F(Power, WhatTheModemSaysOfItsFilesAndThePowerKey) {
  TELL("system_efs_sync", system_efs_sync(), R"(
-> => asked=200
200!empty ->
200! -> E @ Fail ! return error. => result=-1
200!refuse -> E @ Fail ! rsp error. => result=-1
)");
  TELL("make_golden_copy", make_golden_copy(), R"(
-> => asked=215
215!empty -> E @: the modem refuses\n => result=1
215!refuse -> E @: the modem refuses\n => result=1
215! -> E @: request 215 failed with 1\n => result=1
)");
  for (const int c : {48, 49, 0, -1}) {
    let("sent", std::string(1, c == 48 ? '\0' : '\1'));
    TELL("system_powerkey_hardreset_enable", system_powerkey_hardreset_enable(c), R"(
-> => asked=610; payload=$sent
610!empty ->
610!refuse -> E @: the modem refuses\n => result=1
610! -> E @: request 610 failed with 1\n => result=1
)");
  }
}

TEST_F(Power, NumbersOfDeviceManagementAndTheBootStatus) {
  for (const auto& [n, number] : {std::pair{1, "1900"},
                                  {2, "1901"},
                                  {3, "1902"},
                                  {0, "1903"},
                                  {4, "1903"},
                                  {-1, "1903"},
                                  {INT32_MIN, "1903"}}) {
    let("number", number);
    const int given = n;
    TELL("set_qve_run_omadm", set_qve_run_omadm(given), R"(
-> => asked=$number
$number!7 -> E @: request $number failed with 7\n => result=7
)");
  }
  for (const auto& [status, text] : {std::pair{1, "1"}, {-1, "-1"}, {INT32_MIN, "-2147483648"}}) {
    let("text", text);
    const int given = status;
    TELL("set_bootstatus", set_bootstatus(given), R"(
-> => bootstatus=$text
bootstatus!write -> E @: persist.vendor.qve.bootstatus cannot be set\n => result=-1
)");
  }
}

}  // namespace
}  // namespace fcx_test
