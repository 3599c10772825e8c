// Powering off while the test cable stays attached.
#include "fcx/background.h"
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

using Lines = std::vector<std::string>;

constexpr int kFactoryStatus = 2;
constexpr int kShipMode = 223;
constexpr int kSyncEfs = 200;
constexpr int kWakeUp = 1654;
constexpr char kSleepMode[] = "vendor.qve.sleepmode.on";

constexpr char kTrue[] = "I Fcx: bCheckVBUS is true, vbus value = 9999991\n";
constexpr char kUnread[] =
    "E Fcx: bCheckVBUS is false, Unable to read vbus : No such file or directory\n";
constexpr char kOut[] = "I Fcx: Cable is unconnected";
constexpr char kStateError[] =
    "I Fcx: Error while reading the file /sys/class/android_usb/android0/state : "
    "Input/output error\n";
constexpr char kUnknown[] = "I Fcx: UNKNOWN USB State";
constexpr char kInvalid[] = "E Fcx: USB state is invalid";
constexpr char kNotBright[] = "E Fcx: RED LED bright set error";
constexpr char kShipModeEvent[] = "reboot: restart, reason oem-11";
constexpr char kLock[] = "wake_lock: acquire fcx_poweroff";

class PowerOffWithCable : public ServiceTest {
 protected:
  PowerOffWithCable() { set_node(kVoltage, "9999991\n"); }

  void set_status(char status) { set_item(kFactoryStatus, std::string_view(&status, 1)); }
  /// A fault that strikes from the n-th access on.
  void fault_from(int64_t n, const char* path, Effect effect, int64_t value, Access access) {
    virtual_phone::set_fault(phone(),
                             {0, Part::file, path, access, effect, value, std::nullopt, n});
  }
  /// Waits for the cable: the lines, and the seconds that it took.
  std::pair<Lines, int64_t> waited() {
    own_lines();
    const int64_t begin = virtual_phone::now_us();
    EXPECT_EQ(nullptr, wait_for_cable_disconnect(nullptr));
    return {own_lines(), (virtual_phone::now_us() - begin) / 1'000'000};
  }
  bool has_event(std::string_view event) {
    const auto all = events();
    return std::find(all.begin(), all.end(), event) != all.end();
  }
};

std::string vbus(int value) { return "I Fcx: USB vbus value = " + std::to_string(value) + " \n"; }

Lines together(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST_F(PowerOffWithCable, TheVoltageIsLookedAtFromAVoltOn) {
  const auto wrong = [](const char* value) {
    return std::string("E Fcx: bCheckVBUS is false, vbus range is wrong ") + value + "\n";
  };
  const auto right = [](const char* value) {
    return std::string("I Fcx: bCheckVBUS is true, vbus value = ") + value + "\n";
  };
  const std::tuple<const char*, std::string, bool> cases[] = {
      {"1000000\n", right("1000000"), true},
      {"5000000", right("5000000"), true},
      {"99999999999", right("2147483647"), true},
      {"999999\n", wrong("999999"), false},
      {"0\n", wrong("0"), false},
      {"-1000000", wrong("-1000000"), false},
      {"", wrong("0"), false},
      {"volts", wrong("0"), false},
      {nullptr, kUnread, false}};
  for (const auto& [content, line, is_looked_at] : cases) {
    SCOPED_TRACE(line);
    std::filesystem::remove(file(kVoltage));
    if (content != nullptr) set_node(kVoltage, content);
    fault_from(2, kUsbState, Effect::fail, EIO, Access::read);
    Lines expected = {line};
    if (is_looked_at)
      expected.push_back(
          vbus(static_cast<int>(std::min(strtol(content, nullptr, 10), 0x7fffffffL))));
    const auto [lines, seconds] = waited();
    EXPECT_THAT(lines, ElementsAreArray(together({expected, {kStateError, kNoRkf, kOut}})));
    EXPECT_EQ(1 + 2, seconds) << "a blink, and what ship mode waits";
    clear_faults();
  }
}

TEST_F(PowerOffWithCable, AVoltageThatDropsTellsBeforeTheStateDoes) {
  // 9999991 is read in part from its third time on, which is the second blink's.
  const std::tuple<int, Effect, int64_t, bool> cases[] = {{999'999, Effect::shorter, 6, true},
                                                          {9, Effect::shorter, 1, true},
                                                          {0, Effect::shorter, 0, false},
                                                          {0, Effect::fail, EIO, false},
                                                          {9'999'991, Effect::shorter, 7, false}};
  for (const auto& [value, effect, limit, is_out] : cases) {
    SCOPED_TRACE(value);
    fault_from(3, kVoltage, effect, limit, Access::read);
    fault_from(4, kUsbState, Effect::fail, EIO, Access::read);
    Lines expected = {kTrue, vbus(9'999'991), vbus(value)};
    if (!is_out) expected.insert(expected.end(), {vbus(value), kStateError});
    const auto [lines, seconds] = waited();
    EXPECT_THAT(lines, ElementsAreArray(together({expected, {kNoRkf, kOut}})));
    EXPECT_EQ((is_out ? 1 : 3) + 2, seconds);
    clear_faults();
  }
}

TEST_F(PowerOffWithCable, TheStateAtTheStartDecides) {
  for (const auto& [state, blinks] :
       {std::pair{"CONNECTED", 2}, {"CONFIGURED", 2}, {"DISCONNECTED", 0}}) {
    set_node(kUsbState, state);
    fault_from(3, kUsbState, Effect::fail, EIO, Access::read);
    Lines expected = {kTrue};
    for (int i = 0; i < blinks; ++i) expected.push_back(vbus(9'999'991));
    if (blinks > 0) expected.push_back(kStateError);
    EXPECT_THAT(waited().first, ElementsAreArray(together({expected, {kNoRkf, kOut}}))) << state;
    EXPECT_TRUE(has_event(kShipModeEvent)) << state;
    EXPECT_EQ("255", node(kRedLed));
    clear_faults();
  }
  const size_t before = events().size();
  set_node(kUsbState, "none");
  EXPECT_THAT(waited(), testing::Pair(ElementsAre(kUnknown, kInvalid), 0));
  EXPECT_EQ(before, events().size());
}

TEST_F(PowerOffWithCable, NothingThatFailsStopsTheSequence) {
  const Lines blinks = {kTrue,           "E Fcx: RED LED blink set error : 0",
                        vbus(9'999'991), "E Fcx: RED LED blink set error : 1",
                        vbus(9'999'991), "E Fcx: RED LED blink set error : 0",
                        vbus(9'999'991), kStateError};
  const Lines quiet = {kTrue, vbus(9'999'991), vbus(9'999'991), vbus(9'999'991), kStateError};
  const std::string unawake = "E Fcx: system_wakeup: request 1654 failed with 1\n";
  const std::string undark = "E Fcx: Fail: write_sys : LCD_BRIGHTNESS ";
  const std::string unstated = "E Fcx: Fail: write_sys : POWER_STATE_PATH ";
  const Lines unflushed = {"E Fcx: system_efs_sync Fail ! return error.",
                           "E Fcx: EFS SYNC ERROR !!!!!!!!!\n"};
  const struct {
    Part part;
    std::string target;
    bool by_itself;
    Lines lines;
  } cases[] = {
      {Part::file, kRedLed, false, together({blinks, {kNoRkf, kNotBright, kOut}})},
      {Part::request, "1654", false, together({quiet, {kNoRkf, unawake, kOut}})},
      {Part::file, kBrightness, true, together({quiet, {kBootstart, undark, unstated, kOut}})},
      {Part::request, "200", false, together({quiet, {kNoRkf, kOut}, unflushed})}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    set_build_property("ro.vendor.qve.mid.bootstart", c.by_itself ? "1" : "0");
    fault_from(4, kUsbState, Effect::fail, EIO, Access::read);
    fault(c.part, c.target, Effect::fail, 1, c.part == Part::file ? Access::write : Access::any);
    EXPECT_THAT(waited(), testing::Pair(ElementsAreArray(c.lines), 3 + 2));
    EXPECT_EQ(kShipModeEvent, events().back());
    clear_faults();
  }
}

TEST_F(PowerOffWithCable, EndsInShipModeWhenTheCableIsPulled) {
  set_status(5);
  virtual_phone::set_clock(virtual_phone::Clock::stopped);
  EXPECT_EQ(0, power_off_with_cable());
  EXPECT_EQ("\1", item(kShipMode, 1));
  EXPECT_EQ("1", property(kSleepMode));
  // It sleeps once it has blinked and looked at the voltage.
  EXPECT_TRUE(eventually([&] { return node(kRedLed) == "255"; }));
  EXPECT_EQ("183", node(kBrightness)) << "set by the system side";
  EXPECT_THAT(events(), ElementsAre(kLock, "wake_up: 183"));
  set_node(kUsbState, "DISCONNECTED\n");
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  fcx::wait_for_background_work();
  EXPECT_THAT(events(), ElementsAre(kLock, "wake_up: 183", "wake_up: 183", kShipModeEvent));
  EXPECT_THAT(asked(), ElementsAre(kWakeUp, kWakeUp, kSyncEfs));
  EXPECT_THAT(own_lines(), ElementsAre(kNoRkf, kTrue, vbus(9'999'991), kNoRkf, kOut));
  EXPECT_EQ("(not set)", property(kSleepMode)) << "a reboot forgets it";
}

TEST_F(PowerOffWithCable, WhatFailsAtItsBeginning) {
  const std::string function = "E Fcx: power_off_with_cable: ";
  const struct {
    const char* what;
    std::function<void()> fails;
    Lines lines;
    int result = 0;
    bool waits = true;  ///< a thread does
    bool by_itself = false;
    char status = 5;
  } cases[] = {
      {"nothing", [] {}, {kNoRkf}},
      {"no ship mode", [] {}, {kBootstart}, 0, true, true, 4},
      {"property",
       [&] { fault(Part::property, kSleepMode, Effect::fail, 0, Access::write); },
       {function + "vendor.qve.sleepmode.on cannot be set\n", kNoRkf}},
      {"system side",
       [&] { request_fault(kWakeUp, Effect::fail, 7); },
       {kNoRkf, function + "request 1654 failed with 7\n"}},
      {"brightness",
       [&] { fault(Part::file, kBrightness, Effect::fail, EIO, Access::write); },
       {kBootstart, function + kBrightness + " cannot be written\n"},
       0,
       true,
       true},
      {"factory status",
       [&] { item_fails(kFactoryStatus); },
       {kNoRkf, function + "the factory status cannot be read\n"}},
      {"ship mode",
       [&] { item_fails(kShipMode); },
       {kNoRkf, "E Fcx: Unable to set Ship mode ftm : -1\n"},
       1},
      {"thread",
       [&] { fault(Part::thread, "cable_wait", Effect::fail, EAGAIN); },
       {kNoRkf, "E Fcx: Unable to create power off thread : Resource temporarily unavailable\n"},
       1,
       false},
      {"wake lock",
       [&] { refuse("wake_lock"); },
       {"E Fcx: Failed to acquire the wakelock \"fcx_poweroff\", ret = -1"},
       1,
       false}};
  set_node(kUsbState, "none");  // the thread ends at once
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    set_build_property("ro.vendor.qve.mid.bootstart", c.by_itself ? "1" : "0");
    set_node(kBrightness, "120");
    set_status(c.status);
    set_item(kShipMode, std::string_view("\0", 1));
    c.fails();
    EXPECT_EQ(c.result, power_off_with_cable());
    fcx::wait_for_background_work();
    EXPECT_THAT(own_lines_but(c.waits ? Lines{kUnknown, kInvalid} : Lines{}),
                ElementsAreArray(c.lines));
    clear_faults();
    const bool stores = c.status == 5 && c.result == 0 && c.what != std::string("factory status");
    EXPECT_EQ(stores ? '\1' : '\0', item(kShipMode, 1)[0]);
    const bool dims = c.by_itself && c.what != std::string("brightness");
    EXPECT_EQ(dims, node(kBrightness) == "80");
  }
}

TEST_F(PowerOffWithCable, IsTakenUpAgainAfterARestartOfTheDaemon) {
  const char* retry = "I Fcx: retry poweroff cmd\n";
  const Lines off = {"I Fcx: start system_poweroff\n", "I Fcx: system_efs_sync DONE\n",
                     "I Fcx: sync DONE\n",
                     "I Fcx: skip fcx poweroff beacause of kernel poweroff\n"};
  const struct {
    const char* mode;
    char status;
    const char* sleep_mode;
    const char* state;
    std::string fails;  ///< a node or a request, or ""
    int result;
    Lines lines;
  } cases[] = {{"pif", 3, "1", "DISCONNECTED", "", 0, together({{retry, kNoRkf, kOut}, off})},
               {"pif", 5, "1", "DISCONNECTED", "", 0, together({{retry, kNoRkf, kOut}, off})},
               {"pif", 5, "1", "DISCONNECTED", kRedLed, 0,
                together({{retry, kNoRkf, kNotBright, kOut}, off})},
               {"pif",
                5,
                "1",
                "DISCONNECTED",
                "200",
                -1,
                {retry, kNoRkf, kOut, "I Fcx: start system_poweroff\n",
                 "E Fcx: system_efs_sync Fail ! return error.", "E Fcx: EFS SYNC ERROR\n"}},
               {"pif", 3, "1", "none", "", -1, {retry, kUnknown, kInvalid}},
               {"pif", 4, "1", "DISCONNECTED", "", 0, {}},
               {"pif", 6, "1", "DISCONNECTED", "", 0, {}},
               {"pif", 3, "0", "DISCONNECTED", "", 0, {}},
               {"pif", 3, "", "DISCONNECTED", "", 0, {}},
               {"qem", 3, "1", "DISCONNECTED", "", 0, {}}};
  set_node(kFcxStatus, "1");  // so that the phone stays on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.mode) + c.state + c.sleep_mode);
    set_build_property("ro.bootmode", c.mode);
    set_status(c.status);
    set_property(kSleepMode, c.sleep_mode);
    set_node(kUsbState, c.state);
    set_node(kRedLed, "0");
    if (c.fails == kRedLed) fault(Part::file, kRedLed, Effect::fail, EIO, Access::write);
    if (c.fails == "200") request_fault(kSyncEfs, Effect::fail, 1);
    EXPECT_EQ(c.result, retry_power_off_with_cable());
    EXPECT_THAT(own_lines(), ElementsAreArray(c.lines));
    const bool is_lit = c.lines.size() > 3 && c.fails != kRedLed;
    EXPECT_EQ(is_lit, node(kRedLed) == "255");
    clear_faults();
  }
  set_build_property("ro.bootmode", "pif");
  item_fails(kFactoryStatus);
  EXPECT_EQ(0, retry_power_off_with_cable());
  EXPECT_THAT(own_lines(), ElementsAre("E Fcx: retry_power_off_with_cable: the factory status "
                                       "cannot be read\n"));
  clear_faults();
  EXPECT_FALSE(has_event(kLock));
  for (const char* state : {"CONNECTED", "CONFIGURED"}) {
    set_build_property("ro.bootmode", "pif");
    set_status(3);
    set_property(kSleepMode, "1");
    set_node(kUsbState, state);
    fault_from(3, kUsbState, Effect::fail, EIO, Access::read);
    EXPECT_EQ(0, retry_power_off_with_cable()) << state;
    fcx::wait_for_background_work();
    EXPECT_EQ(kShipModeEvent, events().back()) << "the cable counts as pulled";
    EXPECT_TRUE(has_event(kLock));
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
