// Modem reset, readiness, and the flush of its file system.
#include "fcx/modem_power.h"

#include "fcx/background.h"
#include "fcx/system_control.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/clock.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using virtual_phone::Clock;
using virtual_phone::Effect;

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

  std::vector<int> numbers() {
    std::vector<int> sent;
    for (const auto& request : requests()) sent.push_back(request.number);
    return sent;
  }
};

TEST_F(ModemPower, AResetIsNotRepeatedWhileItLasts) {
  virtual_phone::set_clock(Clock::stopped);
  EXPECT_EQ(0U, qve_check_modem_cmd_ready());
  requests();
  EXPECT_EQ(0U, qve_reset_modem());
  EXPECT_THAT(numbers(), ElementsAre(kSyncEfs, kReset));
  EXPECT_EQ(1U, qve_check_modem_cmd_ready()) << "the modem is down";
  requests();
  EXPECT_EQ(0U, qve_reset_modem());
  EXPECT_THAT(numbers(), IsEmpty());

  virtual_phone::set_clock(Clock::fast);
  fcx::wait_for_background_work();
  const auto written = lines();
  EXPECT_THAT(written, testing::IsSupersetOf({"I Fcx: POWER_RESET: modem reset start.\n",
                                              "I Fcx: POWER_RESET: modem reset is doing.\n"}));
  EXPECT_EQ("I Fcx: POWER_RESET: modem reset done.\n", written.back());
  EXPECT_EQ(0U, qve_check_modem_cmd_ready());
  requests();
  EXPECT_EQ(0U, qve_reset_modem());
  EXPECT_THAT(numbers(), ElementsAre(kSyncEfs, kReset));
  fcx::wait_for_background_work();
}

TEST_F(ModemPower, AFailedResetStaysUnderWay) {
  request_fault(kReset, Effect::refuse);
  EXPECT_EQ(1U, qve_reset_modem());
  clear_faults();
  requests();
  EXPECT_EQ(0U, qve_reset_modem()) << "on purpose: \"doing\" until the process restarts";
  EXPECT_THAT(numbers(), IsEmpty());
}

TEST_F(ModemPower, WithoutAFlushThereIsNoReset) {
  request_fault(kSyncEfs, Effect::refuse);
  EXPECT_EQ(1U, qve_reset_modem());
  EXPECT_THAT(numbers(), ElementsAre(kSyncEfs));
  EXPECT_EQ("E Fcx: EFS SYNC ERROR !!!!!!!!!\n", lines().back());
  EXPECT_EQ(0U, qve_reset_modem()) << "on purpose: it stays under way after any failure";
  EXPECT_THAT(numbers(), IsEmpty());
}

TEST_F(ModemPower, BootIsAProperty) {
  const struct {
    const char* value;
    unsigned expected;
  } cases[] = {{"1", 0}, {"1x", 0}, {"0", 1}, {"", 1}, {"x1", 1}};
  for (const auto& c : cases) {
    set_property("vendor.qve.ril.modembsp.bootup", c.value);
    EXPECT_EQ(c.expected, qve_check_modem()) << c.value;
  }
}

TEST_F(ModemPower, ReadyIsAnAnswerThatBeginsWithOne) {
  const struct {
    Effect effect;
    int64_t value;
  } refusals[] = {{Effect::refuse, 0}, {Effect::empty, 0}, {Effect::fail, 1}, {Effect::length, -1}};
  for (const auto& refusal : refusals) {
    request_fault(kReady, refusal.effect, refusal.value);
    EXPECT_EQ(1U, qve_check_modem_cmd_ready()) << virtual_phone::name_of(refusal.effect);
    clear_faults();
  }
  EXPECT_EQ(0U, qve_check_modem_cmd_ready());
}

TEST_F(ModemPower, AFlushSaysWhyItFailed) {
  EXPECT_EQ(0, system_efs_sync());
  const struct {
    Effect effect;
    int64_t value;
    const char* line;
  } cases[] = {{Effect::fail, 1, "E Fcx: system_efs_sync Fail ! return error."},
               {Effect::refuse, 0, "E Fcx: system_efs_sync Fail ! rsp error."}};
  for (const auto& c : cases) {
    request_fault(kSyncEfs, c.effect, c.value);
    EXPECT_EQ(-1, system_efs_sync()) << c.line;
    EXPECT_EQ(c.line, lines().back());
    clear_faults();
  }
  request_fault(kSyncEfs, Effect::empty);
  EXPECT_EQ(0, system_efs_sync());
}

}  // namespace
}  // namespace fcx_test
