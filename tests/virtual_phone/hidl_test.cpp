// The bench's HIDL: what a caller of a service can notice of it. The generated headers assert sizes
// and offsets when they are compiled.
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <vendor/qve/hardware/filehandle/1.0/IFileHandle.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <new>
#include <utility>

#include "tests/phone_fixture.h"
#include "virtual_phone/core/error.h"
#include "virtual_phone/hidl/services.h"

namespace fcx_test {
namespace {

using android::sp;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using vendor::qve::hardware::filehandle::V1_0::IFileHandle;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;

TEST(HidlString, HoldsWhatItWasGiven) {
  const std::string with_nul("a\0b", 3);
  const std::string large(70000, 'x');
  const std::pair<hidl_string, std::string> cases[] = {{{}, ""},
                                                       {static_cast<const char*>(nullptr), ""},
                                                       {"text", "text"},
                                                       {{"text", 2}, "te"},
                                                       {with_nul, with_nul},
                                                       {large, large}};
  for (const auto& [text, content] : cases) {
    EXPECT_EQ(content, std::string(text));
    EXPECT_EQ('\0', text.c_str()[text.size()]) << content;
  }
  EXPECT_TRUE(cases[4].first == "a" && cases[4].first != "b") << "compared up to the first NUL";
}

TEST(HidlString, ACopyIsItsOwnAndAMoveIsNot) {
  char theirs[] = "theirs";
  hidl_string text = "mine";
  text = text.c_str() + 1;
  EXPECT_EQ("ine", std::string(text)) << "a part of itself";
  text.setToExternal(theirs, 6);
  const hidl_string copy = text;
  const hidl_string moved = std::move(text);
  theirs[0] = 'T';
  EXPECT_EQ("theirs", std::string(copy)) << "a copy owns its text";
  EXPECT_EQ("Theirs", std::string(moved)) << "a move still refers";
}

// What aborts logs why: to a phone of its own.
class HidlDeathTest : public PhoneTest {};

TEST(HidlReturn, AFailureThatWasAskedAboutIsHarmless) {
  const Return<int32_t> failure = Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "busy");
  EXPECT_EQ(7, failure.withDefault(7));
  EXPECT_FALSE(failure.isDeadObject());
  EXPECT_THAT(failure.description(), HasSubstr("busy"));
  const Return<int32_t> success = 5;
  EXPECT_EQ(5, success);
  EXPECT_EQ(5, success.withDefault(7));
  EXPECT_TRUE(Return<void>(Status::fromStatusT(android::OK)).isOk());
}

TEST_F(HidlDeathTest, WhatCouldMisleadAborts) {
  using Failure = Return<int32_t>;
  const std::tuple<const char*, void (*)(Failure &&), const char*> cases[] = {
      {"destroyed", [](Failure&&) {}, "Nobody asked"},
      {"only described", [](Failure&& it) { it.description(); }, "Nobody asked"},
      {"moved on", [](Failure&& it) { const Failure moved = std::move(it); }, "Nobody asked"},
      {"overwritten", [](Failure&& it) { it = 1; }, "Nobody asked"},
      {"its value taken", [](Failure&& it) { static_cast<void>(int32_t{it}); }, "value was taken"}};
  for (const auto& each : cases) {
    const auto fail = [&] { std::get<1>(each)(Status::fromStatusT(android::DEAD_OBJECT)); };
    EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT), std::get<2>(each)) << std::get<0>(each);
  }
  EXPECT_DEATH(hidl_string().setToExternal("abc", 2), "must end in a NUL");
}

/// Fails for a negative opcode.
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
  const sp<Echo> echo_{new (std::nothrow) Echo};
};

TEST_F(HidlServices, FailuresOfACallArrive) {
  ASSERT_EQ(android::OK, echo_->registerAsService("failing"));
  const sp<IQvAtCmd> service = IQvAtCmd::tryGetService("failing");
  bool was_called = false;
  EXPECT_TRUE(
      service->request({-1, 0, ""}, [&](const auto&) { was_called = true; }).isDeadObject());
  EXPECT_FALSE(was_called);
  EXPECT_FALSE(service->request({1, 0, ""}, nullptr).isOk());
  EXPECT_FALSE(service->interfaceChain(nullptr).isOk());
  EXPECT_EQ(echo_, IQvAtCmd::getService("failing", true)) << "the service without the wrapper";
}

TEST_F(HidlServices, AServiceIsFoundByInterfaceAndInstance) {
  EXPECT_EQ(nullptr, IQvAtCmd::getService("by name"));
  ASSERT_EQ(android::OK, echo_->registerAsService("by name"));
  EXPECT_NE(nullptr, IQvAtCmd::getService("by name"));
  EXPECT_EQ(nullptr, IQvAtCmd::getService("By name"));
  EXPECT_EQ(nullptr, IQvAtCmd::getService());
  EXPECT_EQ(nullptr, IFileHandle::getService("by name"));
  EXPECT_FALSE(IQvAtCmd::registerForNotifications("by name", nullptr));
}

TEST_F(HidlServices, WhatAFactoryGivesMayBeNoService) {
  const std::pair<vp::ServiceFactory, std::string> cases[] = {
      {[](auto&) -> vp::Service { throw vp::Error("the modem burns"); },
       "find_service: the modem burns"},
      {[&](auto&) { return echo_; },
       "The service odd is no " + std::string(IFileHandle::descriptor) + "."},
      {[](auto&) { return nullptr; }, ""}};
  for (const auto& [factory, said] : cases) {
    entries();
    vp::register_service(IFileHandle::descriptor, "odd", factory);
    EXPECT_EQ(nullptr, IFileHandle::getService("odd")) << said;
    std::string found;
    for (const auto& entry : entries()) found += entry.message;
    EXPECT_EQ(said, found);
  }
}

}  // namespace
}  // namespace fcx_test
