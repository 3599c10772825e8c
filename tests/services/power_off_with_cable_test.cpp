// Powering off while the test cable stays attached.
#include "fcx/background.h"
#include "fcx/system_control.h"
#include "tests/story_test.h"
#include "virtual_phone/core/clock.h"

namespace fcx_test {
namespace {

class PowerOffWithCable : public StoryTest {
 protected:
  PowerOffWithCable() {
    let("yes", "I bCheckVBUS is true, vbus value = 9999991\n|");
    let("look", "I USB vbus value = 9999991 \n|");
    let("rkf", "I None ro.boot.vendor.qve.rkf|");
    let("end", "I Cable is unconnected");
    let("error",
        "I Error while reading the file /sys/class/android_usb/android0/state : "
        "Input/output error\n|");
    let("invalid", "I UNKNOWN USB State|E USB state is invalid");
    let("bootstart", "I ro.vendor.qve.mid.bootstart [1]|");
    let("ship", "reboot: restart, reason oem-11");
  }
};

// The state is CONFIGURED; where it cannot be read after some blinks, the cable counts as out. The
// voltage is read at the start and with each blink.
TEST_F(PowerOffWithCable, TheCableIsWaitedFor) {
  const auto wait = [] { return wait_for_cable_disconnect(nullptr) == nullptr ? 0 : -1; };
  tell("wait_for_cable_disconnect", wait, R"(
let no = E bCheckVBUS is false, vbus range is wrong
voltage=1000000\n; usb!read @2 -> I bCheckVBUS is true, vbus value = 1000000\n|
  I USB vbus value = 1000000 \n|$error$rkf$end => seconds=3
voltage=99999999999; usb!read @2 -> I bCheckVBUS is true, vbus value = 2147483647\n|
  I USB vbus value = 2147483647 \n|$error$rkf$end
voltage=999999\n; usb!read @2 -> $no 999999\n|$error$rkf$end => seconds=3
voltage=0; usb!read @2 -> $no 0\n|$error$rkf$end
voltage=-1000000; usb!read @2 -> $no -1000000\n|$error$rkf$end
voltage=; usb!read @2 -> $no 0\n|$error$rkf$end
voltage=volts; usb!read @2 -> $no 0\n|$error$rkf$end
-voltage; usb!read @2 -> E bCheckVBUS is false, Unable to read vbus : No such file or directory\n|
  $error$rkf$end
let given = voltage=9999991; usb!read @4; voltage!read @3
$given short 6 -> $yes${look}I USB vbus value = 999999 \n|$rkf$end => seconds=3
$given short 1 -> $yes${look}I USB vbus value = 9 \n|$rkf$end => seconds=3
$given short 0 -> $yes${look}I USB vbus value = 0 \n|I USB vbus value = 0 \n|$error$rkf$end
  => seconds=5
$given -> $yes${look}I USB vbus value = 0 \n|I USB vbus value = 0 \n|$error$rkf$end
$given short 7 -> $yes$look$look$look$error$rkf$end => events=wake_up: 183|$ship; led=255
)");
  tell("wait_for_cable_disconnect", wait, R"(
let given = voltage=9999991; usb!read @4;
let quiet = $yes$look$look$look$error
$given usb=CONNECTED\n -> $quiet$rkf$end => events=wake_up: 183|$ship; led=255
$given usb=DISCONNECTED\n -> $yes$rkf$end => events=wake_up: 183|$ship; led=255; seconds=2
$given usb=none -> $invalid => events=; led=0\n; seconds=0
$given led!write -> ${yes}E RED LED blink set error : 0|${look}E RED LED blink set error : 1|
  ${look}E RED LED blink set error : 0|$look$error${rkf}E RED LED bright set error|$end
  => events=wake_up: 183|$ship; seconds=5
$given 1654! -> $quiet${rkf}E system_wakeup: request 1654 failed with 1\n|$end
  => events=$ship; seconds=5
$given bootstart=1; brightness!write -> $quiet${bootstart}E Fail: write_sys : LCD_BRIGHTNESS |
  E Fail: write_sys : POWER_STATE_PATH |$end => events=$ship; seconds=5
$given 200! -> $quiet$rkf$end|E system_efs_sync Fail ! return error.|
  E EFS SYNC ERROR !!!!!!!!!\n => events=wake_up: 183|$ship; seconds=5
)");
}

TEST_F(PowerOffWithCable, EndsInShipModeWhenTheCableIsPulled) {
  for (const char* what : {"item 2=\5", "voltage=9999991"}) give(what);
  virtual_phone::set_clock(virtual_phone::Clock::stopped);
  EXPECT_EQ(0, power_off_with_cable());
  EXPECT_EQ("\1", left("item 223"));
  EXPECT_EQ("1", left("sleepmode"));
  // It sleeps once it has blinked and looked at the voltage.
  EXPECT_TRUE(eventually([&] { return left("led") == "255"; }));
  const std::string begun = "wake_lock: acquire fcx_poweroff|wake_up: 183";
  EXPECT_EQ(begun, left("events"));
  give("usb=DISCONNECTED\n");
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  fcx::wait_for_background_work();
  EXPECT_EQ(begun + understood("|wake_up: 183|$ship"), left("events"));
  EXPECT_EQ("1654 1654 200", left("asked"));
  EXPECT_EQ(understood("$rkf$yes$look$rkf$end"), told());
  EXPECT_EQ("(not set)", left("sleepmode")) << "a reboot forgets it";
}

TEST_F(PowerOffWithCable, WhatFailsAtItsBeginning) {
  // The thread ends at once.
  TELL("power_off_with_cable", power_off_with_cable(), R"(
let given = usb=none; item 2=\5;
$given -> $rkf$invalid => item 223=\1; sleepmode=1; brightness=183
$given bootstart=1; item 2=\4 -> $bootstart$invalid => item 223=; brightness=80; asked=
$given sleepmode!write -> E @: vendor.qve.sleepmode.on cannot be set\n|$rkf$invalid
  => item 223=\1
$given 1654!7 -> ${rkf}E @: request 1654 failed with 7\n|$invalid => item 223=\1
$given bootstart=1; brightness!write -> ${bootstart}E @: /proc/qve_power/lcd/brightness cannot be
  written\n|$invalid => item 223=\1
$given item 2! -> ${rkf}E @: the factory status cannot be read\n|$invalid => item 223=
$given item 223!write -> ${rkf}E Unable to set Ship mode ftm : -1\n|$invalid => result=1
$given thread cable_wait! -> ${rkf}E Unable to create power off thread : Resource temporarily
  unavailable\n => item 223=; result=1
$given service wakelock!absent -> E Failed to acquire the wakelock "fcx_poweroff", ret = -1
  => item 223=; result=1; asked=
)");
}

TEST_F(PowerOffWithCable, IsTakenUpAgainAfterARestartOfTheDaemon) {
  TELL("retry_power_off_with_cable", retry_power_off_with_cable(), R"(
let given = bootmode=pif; sleepmode=1; usb=DISCONNECTED;
let off = I start system_poweroff\n|I system_efs_sync DONE\n|I sync DONE\n|
  I end system_poweroff\n|I start poweroff\n|I end poweroff\n
let begin = I retry poweroff cmd\n|$rkf
$given item 2=\3 -> $begin$end|$off => led=255; events=wake_up: 183|reboot: power off
$given item 2=\5 -> $begin$end|$off => led=255; events=wake_up: 183|reboot: power off
$given item 2=\5; led!write -> ${begin}E RED LED bright set error|$end|$off
$given item 2=\5; 200! -> $begin$end|I start system_poweroff\n|
  E system_efs_sync Fail ! return error.|E EFS SYNC ERROR\n => result=-1
$given item 2=\3; usb=none -> I retry poweroff cmd\n|$invalid => result=-1
$given item 2! -> E @: the factory status cannot be read\n => events=; led=0\n
$given item 2=\4 -> => events=; led=0\n
$given item 2=\6 -> => events=; led=0\n
$given item 2=\3; sleepmode=0 -> => events=; led=0\n
$given item 2=\3; sleepmode= -> => events=; led=0\n
$given item 2=\3; bootmode=qem -> => events=; led=0\n
let no = E bCheckVBUS is false, vbus range is wrong 0\n|
let events = wake_lock: acquire fcx_poweroff|wake_up: 183|wake_up: 183|$ship
$given item 2=\3; voltage=; usb!read @3; usb=CONNECTED -> $begin$no$error$rkf$end => events=$events
$given item 2=\3; voltage=; usb!read @3; usb=CONFIGURED -> $begin$no$error$rkf$end => events=$events
)");
}

}  // namespace
}  // namespace fcx_test
