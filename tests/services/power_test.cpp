// Reboot, power-off, and what the modem does for them.
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

constexpr int kSyncEfs = 200;
constexpr int kGoldenCopy = 215;
constexpr int kHardreset = 610;

constexpr char kEfsError[] = "E Fcx: EFS SYNC ERROR\n";
constexpr char kReturnError[] = "E Fcx: system_efs_sync Fail ! return error.";
constexpr char kRspError[] = "E Fcx: system_efs_sync Fail ! rsp error.";
constexpr char kEndReboot[] = "I Fcx: end reboot\n";

/// A function that leaves the system on a thread: its lines, and the thread's.
const struct Departure {
  int (*leave)();
  std::vector<std::string> lines;
  const char* thread;
  std::vector<std::string> thread_lines;
  const char* event;
} kDepartures[] = {{system_restart,
                    {"I Fcx: start system_restart\n", "I Fcx: system_efs_sync DONE\n",
                     "I Fcx: sync DONE\n", "I Fcx: end system_restart\n"},
                    "reboot",
                    {"I Fcx: start restart with reason : fcx\n", kEndReboot},
                    "reboot: restart, reason fcx"},
                   {system_dload,
                    {"I Fcx: start system_dload\n", "I Fcx: end system_dload\n"},
                    "reboot",
                    {"I Fcx: start restart with reason : dload\n", kEndReboot},
                    "reboot: restart, reason dload"},
                   {system_aat,
                    {"I Fcx: start system_aat\n", "I Fcx: end system_aat_write\n"},
                    "reboot",
                    {"I Fcx: start restart with reason : aat_write\n", kEndReboot},
                    "reboot: restart, reason aat_write"},
                   {system_poweroff,
                    {"I Fcx: start system_poweroff\n", "I Fcx: system_efs_sync DONE\n",
                     "I Fcx: sync DONE\n", "I Fcx: end system_poweroff\n"},
                    "power_off",
                    {"I Fcx: start poweroff\n", "I Fcx: end poweroff\n"},
                    "reboot: power off"}};

class Power : public ServiceTest {
 protected:
  /// The first event, which a restart follows.
  std::string first_event() { return events().empty() ? "" : events().front(); }

  std::vector<std::string> own_lines_after(int result, int (*function)()) {
    own_lines();
    EXPECT_EQ(result, function());
    fcx::wait_for_background_work();
    return own_lines();
  }
};

TEST_F(Power, DeparturesFlushTheModemAndLeaveASecondLater) {
  size_t seen = 0;
  for (const Departure& c : kDepartures) {
    SCOPED_TRACE(c.event);
    asked();
    virtual_phone::set_clock(virtual_phone::Clock::stopped);
    EXPECT_EQ(0, c.leave());
    EXPECT_EQ(seen, events().size()) << "the answer leaves first";
    const int64_t begin = virtual_phone::now_us();
    virtual_phone::set_clock(virtual_phone::Clock::fast);
    fcx::wait_for_background_work();
    EXPECT_THAT(virtual_phone::now_us() - begin,
                testing::AllOf(testing::Ge(1'000'000), testing::Lt(2'000'000)));
    EXPECT_THAT(own_lines_but(c.thread_lines), ElementsAreArray(c.lines));
    EXPECT_THAT(asked(), ElementsAre(kSyncEfs));
    const auto all = events();
    ASSERT_EQ(seen + 1, all.size());
    EXPECT_EQ(c.event, all[seen]);
    seen = all.size();
  }
}

TEST_F(Power, ADepartureThatFailsLeavesThePhoneRunning) {
  for (const Departure& c : kDepartures) {
    SCOPED_TRACE(c.event);
    for (const auto& [effect, why] :
         {std::pair{Effect::fail, kReturnError}, {Effect::refuse, kRspError}}) {
      request_fault(kSyncEfs, effect, 1);
      EXPECT_THAT(own_lines_after(-1, c.leave), ElementsAre(c.lines.front(), why, kEfsError));
      clear_faults();
    }
    fault(Part::thread, c.thread, Effect::fail, EAGAIN);
    auto expected = c.lines;
    expected.back() = "E Fcx: Unable to create frst thread : Resource temporarily unavailable\n";
    EXPECT_THAT(own_lines_after(-1, c.leave), ElementsAreArray(expected));
    clear_faults();
  }
  EXPECT_THAT(events(), IsEmpty());
}

TEST_F(Power, TheKernelMayPowerOffByItself) {
  const auto& lines = kDepartures[3].lines;
  for (const char* status : {"1", "1\n", "10"}) {
    set_node(kFcxStatus, status);
    EXPECT_THAT(own_lines_after(0, system_poweroff),
                ElementsAre(lines[0], lines[1], lines[2],
                            "I Fcx: skip fcx poweroff beacause of kernel poweroff\n"));
    EXPECT_THAT(events(), IsEmpty());
  }
  size_t power_offs = 0;
  for (const char* status : {"0", "", " 1", "2"}) {
    set_node(kFcxStatus, status);
    own_lines_after(0, system_poweroff);
    EXPECT_EQ(++power_offs, events().size()) << status;
  }
  fault(Part::file, kFcxStatus, Effect::fail, EIO, Access::read);
  own_lines();
  EXPECT_EQ(0, system_poweroff());
  fcx::wait_for_background_work();
  EXPECT_THAT(own_lines_but(kDepartures[3].thread_lines),
              ElementsAre(lines[0], lines[1], lines[2],
                          "E Fcx: system_poweroff: /sys/kernel/fcx_mid/fcx_status cannot be read\n",
                          lines[3]));
  EXPECT_EQ(++power_offs, events().size());
}

TEST_F(Power, PlainRebootsAndTheShipMode) {
  char reason[] = "oem-1";
  const struct {
    const char* function;
    std::function<int()> call;
    std::vector<std::string> lines;
    const char* event;
    int64_t least_us;
  } cases[] = {{"restart",
                ::restart,
                {"I Fcx: start restart\n", "I Fcx: end restart\n"},
                "restart",
                1'000'000},
               {"poweroff",
                poweroff,
                {"I Fcx: start poweroff\n", "I Fcx: end poweroff\n"},
                "power off",
                1'000'000},
               {"restart_with_reason",
                [&] { return restart_with_reason(reason); },
                {"I Fcx: start restart with reason : oem-1\n", kEndReboot},
                "restart, reason oem-1",
                1'000'000},
               {"restart_with_reason",
                [] { return restart_with_reason(nullptr); },
                {"I Fcx: start restart with reason : \n", kEndReboot},
                "restart",
                1'000'000},
               {"system_poweroff_ship_mode",
                system_poweroff_ship_mode,
                {},
                "restart, reason oem-11",
                2'000'000}};
  std::vector<std::string> expected;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.event);
    const int64_t begin = virtual_phone::now_us();
    EXPECT_EQ(0, c.call());
    EXPECT_THAT(virtual_phone::now_us() - begin,
                testing::AllOf(testing::Ge(c.least_us), testing::Lt(c.least_us + 900'000)));
    EXPECT_THAT(own_lines(), ElementsAreArray(c.lines));
    expected.push_back(std::string("reboot: ") + c.event);
    EXPECT_THAT(events(), ElementsAreArray(expected));
  }
  EXPECT_THAT(asked(), ElementsAre(kSyncEfs)) << "for the ship mode alone";
  refuse("reboot");
  for (const auto& c : cases) {
    EXPECT_EQ(0, c.call());
    auto lines = c.lines;
    lines.insert(lines.begin() + (lines.empty() ? 0 : 1),
                 std::string("E Fcx: ") + c.function + ": no reboot\n");
    EXPECT_THAT(own_lines(), ElementsAreArray(lines));
  }
}

TEST_F(Power, AFlushThatFailedDoesNotStopTheShipMode) {
  request_fault(kSyncEfs, Effect::refuse);
  EXPECT_THAT(own_lines_after(0, system_poweroff_ship_mode),
              ElementsAre(kRspError, "E Fcx: EFS SYNC ERROR !!!!!!!!!\n"));
  EXPECT_EQ("reboot: restart, reason oem-11", first_event());
}

TEST_F(Power, WhatTheModemSaysOfItsFilesAndThePowerKey) {
  const auto hardreset = [](int c) { return [c] { return system_powerkey_hardreset_enable(c); }; };
  const struct {
    std::function<int()> call;
    int number;
    std::string payload;
    int when_empty;
    const char* function;
  } cases[] = {
      {system_efs_sync, kSyncEfs, "", 0, nullptr},
      {make_golden_copy, kGoldenCopy, "", 1, "make_golden_copy"},
      {hardreset('0'), kHardreset, std::string(1, '\0'), 0, "system_powerkey_hardreset_enable"},
      {hardreset('1'), kHardreset, "\1", 0, "system_powerkey_hardreset_enable"},
      {hardreset(0), kHardreset, "\1", 0, "system_powerkey_hardreset_enable"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.number) + c.payload);
    own_lines();
    EXPECT_EQ(0, c.call());
    EXPECT_THAT(own_lines(), IsEmpty());
    EXPECT_EQ(c.payload, requests().back().payload);
    const bool flushes = c.number == kSyncEfs;
    const std::string start = std::string("E Fcx: ") + (flushes ? "" : c.function);
    for (const auto& [effect, line] :
         {std::pair{Effect::fail,
                    flushes ? kReturnError
                            : start + ": request " + std::to_string(c.number) + " failed with 1\n"},
          {Effect::refuse, flushes ? kRspError : start + ": the modem refuses\n"}}) {
      request_fault(c.number, effect, 1);
      EXPECT_EQ(flushes ? -1 : 1, c.call());
      EXPECT_THAT(own_lines(), ElementsAre(line));
      clear_faults();
    }
    request_fault(c.number, Effect::empty);
    EXPECT_EQ(c.when_empty, c.call());
    clear_faults();
  }
}

TEST_F(Power, DeviceManagementHasThreeNumbersAndOneForAllOthers) {
  for (const auto& [n, number] : {std::pair{1, 1900},
                                  {2, 1901},
                                  {3, 1902},
                                  {0, 1903},
                                  {4, 1903},
                                  {-1, 1903},
                                  {INT32_MAX, 1903},
                                  {INT32_MIN, 1903}}) {
    asked();
    EXPECT_EQ(0, set_qve_run_omadm(n));
    EXPECT_THAT(asked(), ElementsAre(number)) << n;
  }
  request_fault(1901, Effect::fail, 7);
  EXPECT_EQ(7, set_qve_run_omadm(2));
  EXPECT_EQ("E Fcx: set_qve_run_omadm: request 1901 failed with 7\n", own_lines().back());
}

TEST_F(Power, TheBootStatusIsAProperty) {
  const char* name = "persist.vendor.qve.bootstatus";
  for (const auto& [status, text] :
       {std::pair{1, "1"}, {0, "0"}, {-1, "-1"}, {INT32_MIN, "-2147483648"}}) {
    EXPECT_EQ(0, set_bootstatus(status));
    EXPECT_EQ(text, property(name));
  }
  fault(Part::property, name, Effect::fail, 0, Access::write);
  EXPECT_EQ(-1, set_bootstatus(1));
  EXPECT_THAT(own_lines(),
              ElementsAre("E Fcx: set_bootstatus: persist.vendor.qve.bootstatus cannot be set\n"));
}

}  // namespace
}  // namespace fcx_test
