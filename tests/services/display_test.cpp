// Sleeping, waking up, and the brightness of a device without a battery.
#include "fcx/system_control.h"
#include "tests/services/service_test.h"
#include "virtual_phone/core/clock.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr char kPif[] = "I Fcx: PIF cable is connected";
constexpr char kOnce[] = "I Fcx: Mobile ID Mode (No Battery & PIF), set lcd minimum brightness\n";
constexpr char kEachTime[] =
    "I Fcx: Mobile ID Mode (No Battery & PIF), set lcd minimum brightness.\n";
constexpr char kNoBrightness[] = "E Fcx: Fail: write_sys : LCD_BRIGHTNESS ";
constexpr char kNoPowerState[] = "E Fcx: Fail: write_sys : POWER_STATE_PATH ";
constexpr char kNoAutosleep[] =
    "E Fcx: write_sysfs: Open Error(Permission denied): /sys/power/autosleep";

class Display : public ServiceTest {
 protected:
  ~Display() override { modem_flight_status = 0; }
};

const struct {
  int (*function)();
  const char* name;
  const char* brightness;
  const char* autosleep;
  int number;
} kStates[] = {{system_sleep, "system_sleep", "0", "mem", 1653},
               {system_wakeup, "system_wakeup", "183", "on", 1654}};

TEST_F(Display, SleepsAndWakesUpByItself) {
  set_build_property("ro.vendor.qve.mid.bootstart", "1");
  for (const auto& state : kStates) {
    SCOPED_TRACE(state.name);
    EXPECT_EQ(0, state.function());
    EXPECT_EQ(state.brightness, node(kBrightness));
    EXPECT_EQ(state.autosleep, node(kAutosleep));
    EXPECT_THAT(own_lines(), ElementsAre(kBootstart));
    // Neither failure keeps the other node from being written.
    for (const bool is_dark : {true, false}) {
      for (const bool is_stuck : {true, false}) {
        if (!is_dark && !is_stuck) continue;
        set_node(kBrightness, "5");
        set_node(kAutosleep, "off");
        std::vector<std::string> expected = {kBootstart};
        if (is_dark) {
          fault(Part::file, kBrightness, Effect::fail, EIO, Access::write);
          expected.push_back(kNoBrightness);
        }
        if (is_stuck) {
          fault(Part::file, kAutosleep, Effect::fail, EACCES, Access::open);
          expected.push_back(kNoAutosleep);
        }
        expected.push_back(kNoPowerState);
        EXPECT_EQ(1, state.function());
        EXPECT_THAT(own_lines(), ElementsAreArray(expected));
        EXPECT_EQ(is_dark ? "" : state.brightness, node(kBrightness));
        EXPECT_EQ(is_stuck ? "off" : state.autosleep, node(kAutosleep));
        clear_faults();
      }
    }
  }
  EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(Display, ElseTheSystemSideIsAsked) {
  for (const auto& state : kStates) {
    EXPECT_EQ(0, state.function());
    EXPECT_THAT(own_lines(), ElementsAre(kNoRkf));
    EXPECT_EQ("off\n", node(kAutosleep));
    request_fault(state.number, Effect::fail, 7);
    EXPECT_EQ(7, state.function());
    EXPECT_THAT(own_lines(),
                ElementsAre(kNoRkf, std::string("E Fcx: ") + state.name + ": request " +
                                        std::to_string(state.number) + " failed with 7\n"));
    EXPECT_THAT(asked(), ElementsAre(state.number, state.number));
  }
}

TEST_F(Display, IsDimmedOnceWhereItIsNeitherDarkNorDim) {
  const struct {
    uint8_t flight;
    const char* battery;
    const char* pif;
    const char* before;
    const char* after;
    std::vector<std::string> lines;
  } cases[] = {{0, "0", "1", "120\n", "10", {kPif, kOnce}},
               {0, "0", "1", "9", "10", {kPif, kOnce}},
               {0, "0", "1", "100", "10", {kPif, kOnce}},
               {0, "0", "1", "-1", "10", {kPif, kOnce}},
               {0, "", "1", "11", "10", {kPif, kOnce}},
               {0, "0", "1", "10\n", "10\n", {kPif}},
               {0, "0", "1", "0\n", "0\n", {kPif}},
               {0, "0", "1", "", "", {kPif}},
               {0, "0", "1", "bright", "bright", {kPif}},
               {0, "0", "0", "120", "120", {}},
               {0, "1", "1", "120", "120", {}},
               {1, "0", "1", "120", "120", {}},
               {255, "0", "1", "120", "120", {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.battery) + c.pif + c.before);
    modem_flight_status = c.flight;
    set_node(kBattery, c.battery);
    set_property("vendor.qve.factory.pif", c.pif);
    set_node(kBrightness, c.before);
    system_set_lcd_brightness();
    EXPECT_EQ(c.after, node(kBrightness));
    EXPECT_THAT(own_lines(), ElementsAreArray(c.lines));
  }
}

TEST_F(Display, IsDimmedForFifteenSecondsAtMost) {
  const std::string unread =
      std::string("E Fcx: system_set_lcd_brightness_loop: ") + kBrightness + " cannot be read\n";
  const struct {
    uint8_t flight;
    const char* pif;
    const char* fault;    ///< a node that can be read no more, or null
    const char* battery;  ///< how it reads then
    int64_t reads;        ///< of that node before
    int passes;           ///< that dim
    int seconds;
    bool ends_unread;
  } cases[] = {
      {0, "1", nullptr, "0", 0, 16, 15, false},  {0, "0", nullptr, "0", 0, 0, 15, false},
      {0, "1", nullptr, "1", 0, 0, 0, false},    {1, "1", nullptr, "0", 0, 0, 0, false},
      {0, "1", kBrightness, "0", 3, 3, 3, true}, {0, "0", kBrightness, "0", 0, 0, 15, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.passes) + " " + c.pif);
    modem_flight_status = c.flight;
    set_node(kBattery, c.battery);
    set_property("vendor.qve.factory.pif", c.pif);
    set_node(kBrightness, "0");
    if (c.fault != nullptr) {
      virtual_phone::set_fault(phone(), {0, Part::file, c.fault, Access::read, Effect::fail, EIO,
                                         std::nullopt, c.reads + 1});
    }
    std::vector<std::string> expected;
    for (int i = 0; i < c.passes; ++i) expected.insert(expected.end(), {kPif, kEachTime});
    if (c.ends_unread) expected.insert(expected.end(), {kPif, unread});
    const int64_t begin = virtual_phone::now_us();
    EXPECT_EQ(0, system_set_lcd_brightness_loop());
    EXPECT_EQ(c.seconds, (virtual_phone::now_us() - begin) / 1'000'000);
    EXPECT_THAT(own_lines(), ElementsAreArray(expected));
    clear_faults();
    EXPECT_EQ(c.passes > 0 ? "10" : "0", node(kBrightness)) << "whatever it was";
  }
  modem_flight_status = 0;
  fault(Part::file, kBrightness, Effect::fail, EIO, Access::write);
  set_node(kBrightness, "120");
  set_property("vendor.qve.factory.pif", "1");
  set_node(kBattery, "0");
  system_set_lcd_brightness();
  EXPECT_EQ(
      std::string("E Fcx: system_set_lcd_brightness: ") + kBrightness + " cannot be written\n",
      own_lines().back());
}

}  // namespace
}  // namespace fcx_test
