// Modem reset and readiness.
#include "fcx/modem_power.h"

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr int kSyncEfs = 200;
constexpr int kReady = 209;
constexpr int kReset = 214;

class ModemPower : public PhoneTest {
 protected:
  // A reset that failed is under way until the process ends, or this.
  ModemPower() {
    testmode_power_reset_wait(nullptr);
    lines();
  }

  /// Resets: what that returns, and the requests that it makes.
  void expect_reset(unsigned code, const std::vector<int>& numbers) {
    requests();
    EXPECT_EQ(code, qve_reset_modem());
    std::vector<int> sent;
    for (const auto& request : requests()) sent.push_back(request.number);
    EXPECT_EQ(numbers, sent);
  }
};

TEST_F(ModemPower, AResetIsNotRepeatedWhileItLasts) {
  vp::set_clock(vp::Clock::stopped);
  expect_reset(0, {kSyncEfs, kReset});
  EXPECT_EQ(1U, qve_check_modem_cmd_ready()) << "the modem is down";
  expect_reset(0, {});

  vp::set_clock(vp::Clock::fast);
  fcx::wait_for_background_work();
  const auto written = lines();
  EXPECT_THAT(written, testing::IsSupersetOf({"I Fcx: POWER_RESET: modem reset start.\n",
                                              "I Fcx: POWER_RESET: modem reset is doing.\n"}));
  EXPECT_EQ("I Fcx: POWER_RESET: modem reset done.\n", written.back());
  EXPECT_EQ(0U, qve_check_modem_cmd_ready());
  expect_reset(0, {kSyncEfs, kReset});
  fcx::wait_for_background_work();
}

TEST_F(ModemPower, AFailedResetStaysUnderWay) {
  const std::pair<int, std::vector<int>> cases[] = {{kReset, {kSyncEfs, kReset}},
                                                    {kSyncEfs, {kSyncEfs}}};
  for (const auto& [refused, sent] : cases) {
    testmode_power_reset_wait(nullptr);
    request_fault(refused, Effect::refuse);
    expect_reset(1, sent);
    clear_faults();
    expect_reset(0, {});  // on purpose: "doing" until the process restarts
  }
  const auto written = lines();
  EXPECT_EQ("E Fcx: EFS SYNC ERROR !!!!!!!!!\n", written.at(written.size() - 2));
}

TEST_F(ModemPower, BootIsAProperty) {
  for (const auto& [value, expected] :
       {std::pair("1", 0U), {"1x", 0}, {"0", 1}, {"", 1}, {"x1", 1}}) {
    set_property("vendor.qve.ril.modembsp.bootup", value);
    EXPECT_EQ(expected, qve_check_modem()) << value;
  }
}

TEST_F(ModemPower, ReadyIsAnAnswerThatBeginsWithOne) {
  for (const auto& [effect, value] : {std::pair{Effect::refuse, 0},
                                      {Effect::empty, 0},
                                      {Effect::fail, 1},
                                      {Effect::length, -1}}) {
    request_fault(kReady, effect, value);
    EXPECT_EQ(1U, qve_check_modem_cmd_ready()) << vp::name_of(effect);
    clear_faults();
  }
}

}  // namespace
}  // namespace fcx_test
