// The bench's HIDL: what a caller of a service can notice of it. The generated headers assert sizes
// and offsets when they are compiled.
#include <cutils/properties.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <functional>
#include <new>
#include <utility>

#include "tests/phone_fixture.h"
#include "virtual_phone/core/error.h"
#include "virtual_phone/hidl/services.h"

namespace fcx_test {
namespace {

using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using testing::ElementsAre;
using testing::HasSubstr;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;

TEST(HidlString, HoldsWhatItWasGiven) {
  const std::string with_nul("a\0b", 3);
  const std::pair<hidl_string, std::string> cases[] = {
      {{}, ""},
      {static_cast<const char*>(nullptr), ""},
      {"text", "text"},
      {{"text", 2}, "te"},
      {with_nul, with_nul},
      {std::string(70000, 'x'), std::string(70000, 'x')},
  };
  for (const auto& [text, content] : cases) {
    const hidl_string copy = text;
    EXPECT_EQ(content, std::string(text));
    EXPECT_EQ(content, std::string(copy));
    EXPECT_EQ('\0', text.c_str()[text.size()]) << content;
  }
}

TEST(HidlString, ACopyIsItsOwnAndAMoveLeavesNothing) {
  hidl_string first = "first";
  hidl_string second = first;
  first = "another";
  EXPECT_EQ("first", std::string(second));
  first = std::move(second);
  first = first.c_str() + 1;
  EXPECT_EQ("irst", std::string(first)) << "a part of itself";
  const hidl_string taken = std::move(first);
  EXPECT_EQ("irst", std::string(taken));
}

TEST(HidlString, RefersToTextOfSomebodyElse) {
  char theirs[] = "theirs";
  hidl_string text = "mine";
  text.setToExternal(theirs, 6);
  EXPECT_EQ(theirs, text.c_str());
  const hidl_string copy = text;
  const hidl_string moved = std::move(text);
  theirs[0] = 'T';
  EXPECT_EQ("theirs", std::string(copy)) << "a copy owns its text";
  EXPECT_EQ("Theirs", std::string(moved)) << "a move still refers";
}

TEST(HidlString, ComparesAsTextUpToTheFirstNul) {
  const hidl_string text = "a";
  EXPECT_TRUE(text == hidl_string(std::string("a\0b", 3)) && text == "a");
  EXPECT_TRUE(text != hidl_string("b") && text != "");
}

// What aborts logs why: to a phone of its own.
class HidlDeathTest : public PhoneTest {};

TEST_F(HidlDeathTest, TextItRefersToEndsInANul) {
  const char text[] = {'a', 'b', 'c'};
  hidl_string referring;
  EXPECT_DEATH(referring.setToExternal(text, 2), "must end in a NUL");
}

TEST(HidlReturn, AFailureThatWasAskedAboutIsHarmless) {
  const Return<void> void_failure = Status::fromStatusT(android::DEAD_OBJECT);
  EXPECT_FALSE(void_failure.isOk());
  EXPECT_TRUE(void_failure.isDeadObject());
  const Return<int32_t> failure = Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "busy");
  EXPECT_EQ(7, failure.withDefault(7));
  EXPECT_FALSE(failure.isDeadObject());
  EXPECT_THAT(failure.description(), HasSubstr("busy"));

  const Return<int32_t> success = 5;
  EXPECT_EQ(5, success);
  EXPECT_EQ(5, success.withDefault(7));
  EXPECT_TRUE(Return<void>(Status::fromStatusT(android::OK)).isOk());
}

TEST_F(HidlDeathTest, AFailureThatNobodyAsksAboutAborts) {
  struct Case {
    const char* what;
    std::function<void()> overlook;
    const char* says;
  };
  const auto failed = [] { return Return<void>(Status::fromStatusT(android::DEAD_OBJECT)); };
  const Case cases[] = {
      {"destroyed", [&] { const auto overlooked = failed(); }, "Nobody asked"},
      {"only described", [&] { failed().description(); }, "Nobody asked"},
      {"moved on",
       [&] {
         auto first = failed();
         const auto second = std::move(first);
       },
       "Nobody asked"},
      {"overwritten",
       [&] {
         auto first = failed();
         first = Void();
         _exit(0);
       },
       "Nobody asked"},
      {"its value taken",
       [] {
         const Return<int32_t> value = Status::fromStatusT(android::DEAD_OBJECT);
         const int32_t taken = value;
         _exit(taken);
       },
       "value was taken"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EXIT(c.overlook(), testing::KilledBySignal(SIGABRT), c.says);
  }
}

/// Answers the opcode and the data; fails for a negative opcode.
class Echo : public IQvAtCmd {
 public:
  Return<void> request(const QVATCMDRequest& request, request_cb give) override {
    if (request.opcode < 0) return Status::fromStatusT(android::DEAD_OBJECT);
    give({0, request.data_len, request.opcode, request.data});
    return Void();
  }
};

class HidlServices : public PhoneTest {
 protected:
  void publish(const char* instance, virtual_phone::ServiceFactory factory) {
    virtual_phone::register_service(IQvAtCmd::descriptor, instance, std::move(factory));
  }
  /// What the bench itself has logged since the last call, in a buffer of its own.
  std::vector<std::string> bench_lines() {
    std::vector<std::string> found;
    for (const auto& [time_us, buffer, priority, tag, message] : entries()) {
      found.push_back(std::to_string(priority) + " " + tag + ": " + message);
    }
    return found;
  }
  static sp<Echo> make_echo() { return sp<Echo>(new (std::nothrow) Echo); }
};

TEST_F(HidlServices, FailuresOfACallArrive) {
  const sp<Echo> echo = make_echo();
  ASSERT_EQ(android::OK, echo->registerAsService("failing"));
  const sp<IQvAtCmd> service = IQvAtCmd::tryGetService("failing");
  ASSERT_NE(nullptr, service);
  bool was_called = false;
  EXPECT_TRUE(
      service->request({-1, 0, ""}, [&](const auto&) { was_called = true; }).isDeadObject());
  EXPECT_FALSE(was_called);
  EXPECT_FALSE(service->request({1, 0, ""}, nullptr).isOk());
  EXPECT_FALSE(service->interfaceChain(nullptr).isOk());
  EXPECT_EQ(echo, IQvAtCmd::getService("failing", true)) << "the service without the wrapper";
}

TEST_F(HidlServices, AServiceIsFoundByInterfaceAndInstance) {
  EXPECT_EQ(nullptr, IQvAtCmd::getService("by name"));
  ASSERT_EQ(android::OK, make_echo()->registerAsService("by name"));
  EXPECT_NE(nullptr, IQvAtCmd::getService("by name"));
  EXPECT_EQ(nullptr, IQvAtCmd::getService("By name"));
  EXPECT_EQ(nullptr, IQvAtCmd::getService());
  EXPECT_EQ(nullptr, IFileHandle::getService("by name"));
  EXPECT_FALSE(IQvAtCmd::registerForNotifications("by name", nullptr));
}

TEST_F(HidlServices, ThePhoneDecidesAtEachLookup) {
  publish("gated", [echo = make_echo()](virtual_phone::Phone&) -> virtual_phone::Service {
    char value[PROPERTY_VALUE_MAX];
    property_get("vendor.modem.on", value, "0");
    return *value == '1' ? echo : nullptr;
  });
  EXPECT_EQ(nullptr, IQvAtCmd::getService("gated"));
  property_set("vendor.modem.on", "1");
  EXPECT_NE(nullptr, IQvAtCmd::getService("gated"));
  property_set("vendor.modem.on", "0");
  EXPECT_EQ(nullptr, IQvAtCmd::getService("gated"));

  publish("gated", [](virtual_phone::Phone&) -> virtual_phone::Service {
    throw virtual_phone::Error("the modem burns");
  });
  bench_lines();
  EXPECT_EQ(nullptr, IQvAtCmd::getService("gated"));
  EXPECT_THAT(bench_lines(), ElementsAre("5 VirtualPhone: find_service: the modem burns"));
}

TEST_F(HidlServices, AServiceOfAnotherInterfaceIsNone) {
  virtual_phone::register_service(IFileHandle::descriptor, "mistaken",
                                  [](virtual_phone::Phone&) { return make_echo(); });
  bench_lines();
  EXPECT_EQ(nullptr, IFileHandle::getService("mistaken"));
  EXPECT_THAT(bench_lines(), ElementsAre("6 VirtualPhone: The service mistaken is no " +
                                         std::string(IFileHandle::descriptor) + "."));
}

}  // namespace
}  // namespace fcx_test
