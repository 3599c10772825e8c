// The bench's AT-command service, called through HIDL as the library calls it.
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include "tests/phone_fixture.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/services/base64.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using virtual_phone::Effect;

namespace vp = virtual_phone;

class VirtualAtService : public PhoneTest {
 protected:
  /// "RESULT LENGTH TEXT" of the answer to a call.
  std::string call(const QVATCMDRequest& request) {
    std::string answer = "none";
    const auto called = IQvAtCmd::getService("atservice")->request(request, [&](const auto& given) {
      answer = std::to_string(given.result) + " " + std::to_string(given.data_len) + " " +
               std::string(given.data);
    });
    EXPECT_EQ(called.isOk(), answer != "none");
    return answer;
  }
  std::string answer(int32_t number, std::string_view payload = {}) {
    return call({number, static_cast<int32_t>(payload.size()), vp::to_base64(payload)});
  }
};

TEST_F(VirtualAtService, AnswersWhatItKnows) {
  EXPECT_EQ("0 0 ", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, "QV-200"));
  EXPECT_EQ("0 6 UVYtMjAw", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, std::string(255, 'm')));
  EXPECT_EQ("1 0 ", answer(4063, std::string(256, 'm')));
  EXPECT_EQ(std::string(255, 'm'), modem("model_name"));
  EXPECT_EQ("2 0 ", answer(1000));
  EXPECT_EQ("2 0 ", answer(117)) << "the modem's, and none of its own";

  EXPECT_EQ("0 0 ", answer(1653));
  EXPECT_EQ("0", read_file(file("/proc/qve_power/lcd/brightness")));
  EXPECT_EQ("0 0 ", answer(1654));
  EXPECT_EQ("183", read_file(file("/proc/qve_power/lcd/brightness")));
  for (const int32_t number : {1900, 1901, 1902, 1903}) EXPECT_EQ("0 0 ", answer(number));
  EXPECT_THAT(events(), ElementsAre("sleep: 0", "wake_up: 183", "omadm: 1", "omadm: 2", "omadm: 3",
                                    "omadm: other"));
}

TEST_F(VirtualAtService, SavesAndErasesTheLogs) {
  std::filesystem::create_directories(file("/data/logger/modem"));
  write_file(file("/data/logger/modem/trace"), "t");
  answer(1000);
  EXPECT_EQ("0 0 ", answer(1006, "0601_0900"));
  const auto saved = file("/data/vendor/factory/logsave/0601_0900");
  EXPECT_EQ("t", read_file(saved / "modem/trace"));
  EXPECT_TRUE(std::filesystem::exists(saved / "system.log"));
  EXPECT_EQ("0 0 ", answer(1006, "0601_0900")) << "once more into the same folder";
  for (const char* date : {"", ".", "..", "a/b", "/", "x..y"}) {
    EXPECT_EQ("1 0 ", answer(1006, date)) << date;
  }
  EXPECT_EQ("0 0 ", answer(1008));
  EXPECT_TRUE(std::filesystem::is_empty(file("/data/logger")));
  EXPECT_TRUE(std::filesystem::exists(saved / "modem/trace"));
  std::filesystem::remove(file("/data/logger"));
  EXPECT_EQ("0 0 ", answer(1008));
}

TEST_F(VirtualAtService, RequestsThatDoNotSayWhatTheyCarryFail) {
  const QVATCMDRequest requests[] = {
      {4063, 2, "Zm9v"},
      {4063, 4, "Zm9v"},
      {4063, -1, ""},
      {4063, 2049, vp::to_base64(std::string(2049, 'x'))},
  };
  for (const QVATCMDRequest& request : requests) {
    EXPECT_EQ("1 0 ", call(request)) << request.data_len << " " << request.data.c_str();
  }
  for (const char* text : {"Z", "Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zm9\n", "Zm9#"}) {
    EXPECT_EQ(std::nullopt, vp::from_base64(text)) << text;
  }
  EXPECT_EQ("1 0 ", call({4063, 3, "Zm9#"}));
  EXPECT_EQ("(none)", modem("model_name"));
}

TEST_F(VirtualAtService, FaultsSpoilAnswersAsTheySay) {
  set_modem("model_name", "abc");
  const struct {
    Effect effect;
    int64_t value;
    std::string answer;
  } cases[] = {
      {Effect::fail, 7, "7 0 "},
      {Effect::refuse, 0, "1 0 "},
      {Effect::longer, 4, "0 4 YWJjWA=="},
      {Effect::longer, 5000, "0 5000 YWJj" + vp::to_base64(std::string(4997, 'X'))},
      {Effect::length, -2, "0 -2 YWJj"},
      {Effect::garbage, 0, "0 3 ###"},
  };
  for (const auto& each : cases) {
    request_fault(4063, each.effect, each.value);
    EXPECT_EQ(each.answer, answer(4063)) << vp::name_of(each.effect);
    clear_faults();
  }
}

TEST_F(VirtualAtService, ItsRequestsAreRecordedWithoutBase64) {
  answer(4063, "abc");
  request_fault(4063, Effect::status, 5);
  answer(4063);
  service_fault("atservice", Effect::dies);
  EXPECT_EQ("none", answer(4063));
  const auto sent = requests();
  ASSERT_EQ(3U, sent.size());
  EXPECT_EQ("abc", sent[0].payload);
  EXPECT_EQ("abc", sent[1].answer);
  EXPECT_EQ(3, sent[1].answer_length);
  EXPECT_EQ(5, sent[1].status);
  EXPECT_EQ(-1, sent[2].code);
}

}  // namespace
}  // namespace fcx_test
