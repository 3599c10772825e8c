// USB lock, path and mode, and kernel attributes.
#include "fcx/usb_mode.h"

#include <thread>

#include "fcx/background.h"
#include "fcx/sysfs.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/clock.h"

namespace fcx_test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

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
  const struct {
    const char* content;
    int lock;
  } cases[] = {{"0", 0}, {"1", 1}, {"1\n", 1}, {"9", 9}, {"", -1}};
  for (const auto& c : cases) {
    set_lock(c.content);
    EXPECT_EQ(c.lock, get_usb_lock()) << c.content;
  }
  set_lock("0");
  EXPECT_EQ(0, set_usb_lock(1));
  EXPECT_EQ("1", lock());
}

TEST_F(UsbMode, ALockThatIsNotThereIsZeroAndOneThatFailsIsNot) {
  fault(Part::file, kLock, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, get_usb_lock());
  EXPECT_EQ(-1, set_usb_lock(1));
  EXPECT_THAT(log(),
              ElementsAre("USB PATH : get_usb_lock FAILED\n", "USB PATH : set_usb_lock FAILED\n"));
  EXPECT_EQ("0", lock());
  clear_faults();
  fs::remove(file(kLock));
  EXPECT_EQ(0, get_usb_lock());
  EXPECT_EQ(0, set_usb_lock(1));
  const std::string missing = std::string("USB PATH : ") + kLock + " does not exist\n";
  EXPECT_THAT(log(), ElementsAre("USB PATH : get_usb_lock FAILED\n", missing,
                                 "USB PATH : set_usb_lock FAILED\n", missing));
  EXPECT_FALSE(fs::exists(file(kLock)));
}

TEST_F(UsbMode, APathChangeReleasesTheLockAndEndsInFactoryMode) {
  set_lock("1");
  fault(Part::property, kUsbState, Effect::late, 1000, Access::read);
  EXPECT_EQ(0, usb_path_change(nullptr));
  fcx::wait_for_background_work();
  EXPECT_EQ("0", lock());
  EXPECT_EQ("factory,adb", property(kConfig));
  EXPECT_EQ("factory,adb", property(kUsbState));
  EXPECT_EQ("skip", property("vendor.qve.usb.adb_skip_auth"));
  EXPECT_THAT(log(), testing::IsEmpty()) << "every state came";
}

TEST_F(UsbMode, AStateThatDoesNotComeStopsNothing) {
  fault(Part::property, kUsbState, Effect::fail, 0, Access::read);
  EXPECT_EQ(nullptr, usb_path_change_thread(nullptr));
  const auto written = entries();
  ASSERT_THAT(written, testing::SizeIs(3));
  const char* states[] = {"none", "skip", "factory,adb"};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(std::string("USB PATH : wait_for_state(") + states[i] + ") FAILED\n",
              written[i].message);
    EXPECT_EQ(6, written[i].priority);
  }
  EXPECT_EQ("factory,adb", property(kConfig));
}

TEST_F(UsbMode, APathChangeWithoutALockNodeThatOpensChangesNothing) {
  fault(Part::file, kLock, Effect::fail, EACCES, Access::open);
  set_property(kConfig, "factory");
  EXPECT_EQ(nullptr, usb_path_change_thread(nullptr));
  EXPECT_EQ("factory", property(kConfig));
}

TEST_F(UsbMode, ASecondPathChangeIsRefused) {
  fault(Part::property, kUsbState, Effect::fail, 0, Access::read);
  virtual_phone::set_clock(virtual_phone::Clock::stopped);
  EXPECT_EQ(0, usb_path_change(nullptr));
  while (property(kConfig) != "none") std::this_thread::yield();
  EXPECT_EQ(reinterpret_cast<void*>(intptr_t{-1}), usb_path_change_thread(nullptr));
  EXPECT_EQ("USB PATH : usb_path_change_thread is already running\n", log().back());
  virtual_phone::set_clock(virtual_phone::Clock::fast);
  fcx::wait_for_background_work();
  EXPECT_EQ("factory,adb", property(kConfig));
  EXPECT_EQ(nullptr, usb_path_change_thread(nullptr)) << "and it can be done again";
}

TEST_F(UsbMode, ModesSetTheLockAndTheConfiguration) {
  const struct {
    int (*change)();
    const char* lock;
    const char* config;
    const char* lock_when_refused;
  } cases[] = {{usb_mode_change_user, "0", "factory,adb", "0"},
               {usb_mode_change_factory, "1", "factory", "x"},
               {usb_mode_change_cpdm, "0", "qmicm,adb", "0"}};
  for (const auto& c : cases) {
    set_lock("x");
    EXPECT_EQ(0, c.change());
    EXPECT_EQ(c.lock, lock());
    EXPECT_EQ(c.config, property(kConfig));
    set_lock("x");
    fault(Part::property, kConfig, Effect::fail, 0, Access::write);
    EXPECT_EQ(1, c.change());
    EXPECT_EQ(c.lock_when_refused, lock());
    clear_faults();
  }
}

TEST_F(UsbMode, TheStateIsAPrefix) {
  const struct {
    std::string content;
    int state;
  } cases[] = {
      {"DISCONNECTED\n", 1}, {"CONNECTED\n", 2}, {"CONFIGURED", 3},
      {"CONFIGUREDX", 3},    {"connected", 0},   {"", 0},
      {" CONNECTED", 0},     {"CONNECTE", 0},    {"CONFIGURED" + std::string(3000, 'x'), 3}};
  for (const auto& c : cases) {
    write_file(file(kState), c.content);
    log();
    EXPECT_EQ(c.state, get_usbstate_from_sys()) << c.content;
    const auto written = log();
    EXPECT_EQ("USB State: " + c.content.substr(0, 1000), written.front().substr(0, 1011));
    EXPECT_EQ(c.state == 0 ? 3U : 2U, written.size());
    EXPECT_EQ(
        "The value returned from " + std::string(kState) + " is " + std::to_string(c.state) + " ",
        written.back());
  }
}

TEST_F(UsbMode, AStateThatCannotBeReadIsNone) {
  const struct {
    Access access;
    const char* line;
  } cases[] = {{Access::open, "Error while opening the file %s : Input/output error \n"},
               {Access::read, "Error while reading the file %s : Input/output error\n"}};
  for (const auto& c : cases) {
    fault(Part::file, kState, Effect::fail, EIO, c.access);
    write_file(file(kState), "CONFIGURED");
    EXPECT_EQ(0, get_usbstate_from_sys());
    std::string line = c.line;
    line.replace(line.find("%s"), 2, kState);
    EXPECT_THAT(log(), ElementsAre(line));
    clear_faults();
  }
}

TEST_F(UsbMode, AnAttributeIsWrittenInPlace) {
  const char* attribute = "/data/vendor/factory/attribute";
  EXPECT_EQ(0, write_sysfs(attribute, "mem", 3));
  EXPECT_EQ("mem", read_file(file(attribute)));
  EXPECT_EQ(0, write_sysfs(attribute, "on", 2));
  EXPECT_EQ("on", read_file(file(attribute)));
  EXPECT_EQ(-1, write_sysfs("/no/such/attribute", "1", 1));
  EXPECT_EQ("write_sysfs: Open Error(No such file or directory): /no/such/attribute", log().back());
  fault(Part::file, attribute, Effect::shorter, 1, Access::write);
  EXPECT_EQ(-1, write_sysfs(attribute, "mem", 3));
  EXPECT_EQ(-1, write_sysfs(nullptr, "1", 1));
  EXPECT_EQ(-1, write_sysfs(attribute, nullptr, 1));
  EXPECT_EQ(-1, write_sysfs(attribute, "1", -1));
}

}  // namespace
}  // namespace fcx_test
