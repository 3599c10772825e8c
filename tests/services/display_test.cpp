// Sleeping, waking up, and the brightness of a device without a battery.
#include "fcx/system_control.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

class Display : public StoryTest {
 protected:
  Display() { let("pif", "I PIF cable is connected"); }
  ~Display() override { modem_flight_status = 0; }
};

TEST_F(Display, SleepsAndWakesUp) {
  for (const auto& [name, change, brightness, autosleep, number] :
       {std::tuple{"system_sleep", &system_sleep, "0", "mem", "1653"},
        {"system_wakeup", &system_wakeup, "183", "on", "1654"}}) {
    let("bright", brightness);
    let("state", autosleep);
    let("number", number);
    tell(name, change, R"(
let start = I ro.vendor.qve.mid.bootstart [1]
let dark = |E Fail: write_sys : LCD_BRIGHTNESS\s
let stuck = |E write_sysfs: Open Error(Permission denied): /sys/power/autosleep
let failed = |E Fail: write_sys : POWER_STATE_PATH\s
bootstart=1; brightness=5; autosleep=x -> $start => brightness=$bright; autosleep=$state; asked=
bootstart=1; brightness!write -> $start$dark$failed => autosleep=$state; result=1
bootstart=1; brightness=5; autosleep!open 13 -> $start$stuck$failed => brightness=$bright; result=1
bootstart=1; brightness!write; autosleep!open 13 -> $start$dark$stuck$failed => result=1
brightness=5; autosleep=x -> I None ro.boot.vendor.qve.rkf
  => brightness=$bright; autosleep=x; asked=$number
$number!7 -> I None ro.boot.vendor.qve.rkf|E @: request $number failed with 7\n => result=7
)");
  }
}

TEST_F(Display, IsDimmedOnceWhereItIsNeitherDarkNorDim) {
  TELL("system_set_lcd_brightness", system_set_lcd_brightness(), R"(
let dims = $pif|I Mobile ID Mode (No Battery & PIF), set lcd minimum brightness\n
battery=0; pif=1; brightness=120\n -> $dims => brightness=10
battery=; pif=1; brightness=9 -> $dims => brightness=10
battery=0; pif=1; brightness=11 -> $dims => brightness=10
battery=0; pif=1; brightness=-1 -> $dims => brightness=10
battery=0; pif=1; brightness=10\n -> $pif => brightness=10\n
battery=0; pif=1; brightness=0\n -> $pif => brightness=0\n
battery=0; pif=1; brightness= -> $pif => brightness=
battery=0; pif=1; brightness=bright -> $pif => brightness=bright
battery=0; pif=0; brightness=120 -> => brightness=120
battery=1; pif=1; brightness=120 -> => brightness=120
battery=0; pif=1; brightness!write -> $dims|E @: /proc/qve_power/lcd/brightness cannot be written\n
battery=0; pif=1; brightness!read -> $pif|E @: /proc/qve_power/lcd/brightness cannot be read\n
  => brightness=183\n
)");
  modem_flight_status = 255;
  TELL("system_set_lcd_brightness", system_set_lcd_brightness(),
       "battery=0; pif=1; brightness=120 -> => brightness=120");
}

TEST_F(Display, IsDimmedForFifteenSecondsAtMost) {
  TELL("system_set_lcd_brightness_loop", system_set_lcd_brightness_loop(), R"(
let one = $pif|I Mobile ID Mode (No Battery & PIF), set lcd minimum brightness.\n
let four = $one|$one|$one|$one
battery=0; pif=1; brightness=0 -> $four|$four|$four|$four => brightness=10; seconds=15
battery=0; pif=0; brightness!read -> => brightness=183\n; seconds=15
battery=1; pif=1 -> => brightness=183\n; seconds=0
battery=0; pif=1; brightness!read @4 -> $one|$one|$one|$pif|
  E @: /proc/qve_power/lcd/brightness cannot be read\n => seconds=3
)");
  modem_flight_status = 1;
  TELL("system_set_lcd_brightness_loop", system_set_lcd_brightness_loop(),
       "battery=0; pif=1 -> => brightness=183\\n; seconds=0");
}

}  // namespace
}  // namespace fcx_test
