// USB lock, path and mode.
#include "fcx/usb_mode.h"

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr char kLock[] = "/sys/class/android_usb/android0/lock";
constexpr char kState[] = "/sys/class/android_usb/android0/state";
constexpr char kConfig[] = "vendor.qve.usb.config";
constexpr char kUsbState[] = "vendor.qve.usb.state";

class UsbMode : public PhoneTest {
 protected:
  UsbMode() { set_lock("0"); }

  void set_lock(std::string_view content) { write_file(file(kLock), content); }
  std::string lock() { return read_file(file(kLock)); }
};

TEST_F(UsbMode, TheLockIsOneCharacter) {
  for (const auto& [content, number] :
       {std::pair("0", 0), {"1", 1}, {"1\n", 1}, {"9", 9}, {"", -1}}) {
    set_lock(content);
    EXPECT_EQ(number, get_usb_lock()) << content;
  }
  EXPECT_EQ("I Fcx: USB PATH : get_usb_lock FAILED\n", lines().back());
  set_lock("0");
  EXPECT_EQ(0, set_usb_lock(1));
  EXPECT_EQ("1", lock());
}

TEST_F(UsbMode, ALockThatIsNotThereIsZeroAndOneThatFailsIsNot) {
  fault(Part::file, kLock, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, get_usb_lock());
  EXPECT_EQ(-1, set_usb_lock(1));
  set_property(kConfig, "factory");
  EXPECT_EQ(nullptr, usb_path_change_thread(nullptr));
  EXPECT_EQ("factory", property(kConfig)) << "a path change changes nothing then";
  EXPECT_THAT(lines(), ElementsAre("I Fcx: USB PATH : get_usb_lock FAILED\n",
                                   "I Fcx: USB PATH : set_usb_lock FAILED\n",
                                   "I Fcx: USB PATH : get_usb_lock FAILED\n"));
  EXPECT_EQ("0", lock());
  clear_faults();
  fs::remove(file(kLock));
  EXPECT_EQ(0, get_usb_lock());
  EXPECT_EQ(0, set_usb_lock(1));
  const std::string missing = std::string("I Fcx: USB PATH : ") + kLock + " does not exist\n";
  EXPECT_THAT(lines(), ElementsAre("I Fcx: USB PATH : get_usb_lock FAILED\n", missing,
                                   "I Fcx: USB PATH : set_usb_lock FAILED\n", missing));
  EXPECT_FALSE(fs::exists(file(kLock)));
}

TEST_F(UsbMode, APathChangeReleasesTheLockAndEndsInFactoryMode) {
  // Only a lock of 1 is released.
  for (const auto& [before, after] : {std::pair("1", "0"), {"5", "5"}}) {
    set_lock(before);
    fault(Part::property, kUsbState, Effect::late, 1000, Access::read);
    EXPECT_EQ(0, usb_path_change(nullptr));
    fcx::wait_for_background_work();
    EXPECT_EQ(after, lock());
  }
  EXPECT_EQ("factory,adb", property(kConfig));
  EXPECT_EQ("factory,adb", property(kUsbState));
  EXPECT_EQ("skip", property("vendor.qve.usb.adb_skip_auth"));
  EXPECT_THAT(lines(), testing::IsEmpty()) << "every state came";
}

TEST_F(UsbMode, AStateIsWaitedForAlmostASecond) {
  EXPECT_EQ(1, wait_for_state("factory,adb"));
  const int64_t before = vp::slept_us();
  EXPECT_EQ(0, wait_for_state("none"));
  EXPECT_EQ(19 * 50'000, vp::slept_us() - before) << "between 20 reads";
}

TEST_F(UsbMode, ASecondPathChangeIsRefusedAndAStateThatDoesNotComeStopsNothing) {
  fault(Part::property, kUsbState, Effect::fail, 0, Access::read);
  vp::set_clock(vp::Clock::stopped);
  EXPECT_EQ(0, usb_path_change(nullptr));
  EXPECT_TRUE(eventually([&] { return property(kConfig) == "none"; }));
  EXPECT_EQ(reinterpret_cast<void*>(intptr_t{-1}), usb_path_change_thread(nullptr));
  vp::set_clock(vp::Clock::fast);
  fcx::wait_for_background_work();
  EXPECT_THAT(lines(), ElementsAre("I Fcx: USB PATH : usb_path_change_thread is already running\n",
                                   "E Fcx: USB PATH : wait_for_state(none) FAILED\n",
                                   "E Fcx: USB PATH : wait_for_state(skip) FAILED\n",
                                   "E Fcx: USB PATH : wait_for_state(factory,adb) FAILED\n"));
  EXPECT_EQ("factory,adb", property(kConfig));
  EXPECT_EQ(nullptr, usb_path_change_thread(nullptr)) << "and it can be done again";
}

TEST_F(UsbMode, ModesSetTheLockAndTheConfiguration) {
  // The function, its name, whether it sets the lock first; what it sets.
  const std::tuple<int (*)(), std::string, bool, const char*, const char*> modes[] = {
      {usb_mode_change_user, "usb_mode_change_user", true, "0", "factory,adb"},
      {usb_mode_change_factory, "usb_mode_change_factory", false, "1", "factory"},
      {usb_mode_change_cpdm, "usb_mode_change_cpdm", true, "0", "qmicm,adb"}};
  for (const auto& [change, name, lock_first, lock_then, config] : modes) {
    SCOPED_TRACE(name);
    set_lock("x");
    fault(Part::property, kConfig, Effect::fail, 0, Access::write);
    EXPECT_EQ(1, change());
    EXPECT_EQ("E Fcx: " + name + ": " + kConfig + " cannot be set\n", lines().back());
    EXPECT_EQ(lock_first ? lock_then : "x", lock());
    clear_faults();
    // Seen while the switch sleeps: the first step is done, the second is not.
    set_lock("x");
    set_property(kConfig, "before");
    vp::set_clock(vp::Clock::stopped);
    const int64_t begin = vp::now_us();
    std::thread changer([&change = change] { EXPECT_EQ(0, change()); });
    EXPECT_TRUE(eventually([&] { return lock() == "0" || property(kConfig) != "before"; }));
    EXPECT_EQ(lock_first ? "before" : config, property(kConfig));
    EXPECT_EQ(lock_first ? lock_then : "x", lock());
    vp::set_clock(vp::Clock::fast);
    changer.join();
    EXPECT_GE(vp::now_us() - begin, 100'000);
    EXPECT_EQ(config, property(kConfig));
    EXPECT_EQ(lock_then, lock());
  }
}

TEST_F(UsbMode, TheStateIsAPrefix) {
  const std::pair<std::string, int> cases[] = {
      {"DISCONNECTED\n", 1}, {"CONNECTED\n", 2}, {"CONFIGURED", 3},
      {"CONFIGUREDX", 3},    {"connected", 0},   {"", 0},
      {" CONNECTED", 0},     {"CONNECTE", 0},    {"CONFIGURED" + std::string(3000, 'x'), 3}};
  for (const auto& [content, state] : cases) {
    SCOPED_TRACE(content);
    write_file(file(kState), content);
    lines();
    EXPECT_EQ(state, get_usbstate_from_sys());
    const auto written = lines();
    EXPECT_EQ("I Fcx: USB State: " + content.substr(0, 1000), written.front().substr(0, 1018));
    EXPECT_EQ(state == 0 ? 3U : 2U, written.size());
    EXPECT_EQ("I Fcx: The value returned from " + std::string(kState) + " is " +
                  std::to_string(state) + " ",
              written.back());
  }
}

TEST_F(UsbMode, AStateThatCannotBeReadIsNone) {
  write_file(file(kState), "CONFIGURED");
  for (const auto& [access, doing, end] :
       {std::tuple{Access::open, "opening", " \n"}, {Access::read, "reading", "\n"}}) {
    fault(Part::file, kState, Effect::fail, EIO, access);
    EXPECT_EQ(0, get_usbstate_from_sys()) << doing;
    EXPECT_THAT(lines(), ElementsAre(std::string("I Fcx: Error while ") + doing + " the file " +
                                     kState + " : Input/output error" + end));
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
