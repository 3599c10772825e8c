// The bench's AT-command service, called through HIDL as the library calls it.
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include "tests/phone_fixture.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/services/base64.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;
using virtual_phone::Effect;
using virtual_phone::Part;

namespace vp = virtual_phone;

class VirtualAtService : public PhoneTest {
 protected:
  /// The answer to a call, or nothing when it did not get through.
  std::optional<QVATCMDResponse> call(const QVATCMDRequest& request) {
    const auto service = IQvAtCmd::getService("atservice", false);
    if (service == nullptr) return std::nullopt;
    std::optional<QVATCMDResponse> answer;
    const auto gone = service->request(request, [&](const auto& given) { answer = given; });
    EXPECT_EQ(gone.isOk(), answer.has_value());
    EXPECT_EQ(gone.isOk(), !gone.isDeadObject());
    return answer;
  }
  QVATCMDResponse ask(int32_t number, std::string_view payload = {}) {
    return call({number, static_cast<int32_t>(payload.size()), vp::to_base64(payload)})
        .value_or(QVATCMDResponse{-999, 0, 0, ""});
  }
  /// "RESULT LENGTH TEXT" of an answer.
  std::string answer(int32_t number, std::string_view payload = {}) {
    const QVATCMDResponse response = ask(number, payload);
    return std::to_string(response.result) + " " + std::to_string(response.data_len) + " " +
           std::string(response.data);
  }
};

TEST_F(VirtualAtService, Base64IsWhatAnySideSpeaks) {
  // Texts on which every codec agrees, and such as no encoder makes.
  const std::pair<const char*, const char*> vectors[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xFF\xFE", "+//+"},
  };
  for (const auto& [bytes, text] : vectors) {
    EXPECT_EQ(text, vp::to_base64(bytes));
    EXPECT_EQ(bytes, vp::from_base64(text)) << text;
  }
  for (const char* text : {"Z", "Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zm9\n", "Zm9#"}) {
    EXPECT_EQ(std::nullopt, vp::from_base64(text)) << text;
  }
}

TEST_F(VirtualAtService, AnswersWhatItKnows) {
  EXPECT_EQ("0 0 ", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, "QV-200"));
  EXPECT_EQ("0 6 UVYtMjAw", answer(4063));
  EXPECT_EQ("0 0 ", answer(4063, std::string(255, 'm')));
  EXPECT_EQ("1 0 ", answer(4063, std::string(256, 'm')));
  EXPECT_EQ(std::string(255, 'm'), vp::modem_value(phone(), "model_name"));
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
  ask(1000);
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
      {4063, 3, "Zm9#"},
      {4063, 2, "Zm9v"},
      {4063, 4, "Zm9v"},
      {4063, -1, ""},
      {4063, 2049, vp::to_base64(std::string(2049, 'x'))},
  };
  for (const QVATCMDRequest& request : requests) {
    EXPECT_EQ(1, call(request)->result) << request.data_len << " " << request.data.c_str();
  }
  EXPECT_EQ(std::nullopt, vp::modem_value(phone(), "model_name"));
}

TEST_F(VirtualAtService, FaultsSpoilAnswersAsTheySay) {
  struct Case {
    Effect effect;
    int64_t value;
    const char* answer;
    int32_t status;
  };
  vp::set_modem_value(phone(), "model_name", "abc");
  const Case cases[] = {
      {Effect::fail, 7, "7 0 ", 0},           {Effect::refuse, 0, "1 0 ", 0},
      {Effect::late, 100, "0 3 YWJj", 0},     {Effect::status, 9, "0 3 YWJj", 9},
      {Effect::empty, 0, "0 0 ", 0},          {Effect::shorter, 2, "0 2 YWI=", 0},
      {Effect::longer, 4, "0 4 YWJjWA==", 0}, {Effect::length, -2, "0 -2 YWJj", 0},
      {Effect::garbage, 0, "0 3 ###", 0},
  };
  for (const Case& each : cases) {
    vp::set_fault(phone(), {0, Part::request, "4063", vp::Access::any, each.effect, each.value, 1});
    const QVATCMDResponse response = ask(4063);
    EXPECT_EQ(each.answer, std::to_string(response.result) + " " +
                               std::to_string(response.data_len) + " " + std::string(response.data))
        << vp::name_of(each.effect);
    EXPECT_EQ(each.status, response.status) << vp::name_of(each.effect);
  }
  fault(Part::request, "4063", Effect::longer, 5000);
  EXPECT_EQ(5000, ask(4063).data_len);
  EXPECT_EQ(6668U, ask(4063).data.size()) << "more than any record holds";
}

TEST_F(VirtualAtService, ItCanBeAbsentDieOrComeLate) {
  fault(Part::service, "atservice", Effect::late, 60'000);
  const int64_t before = vp::now_us();
  EXPECT_EQ("0 0 ", answer(4063));
  EXPECT_GE(vp::now_us() - before, 60'000'000);
  vp::clear_faults(phone());

  const auto held = IQvAtCmd::getService("atservice", false);
  fault(Part::service, "atservice", Effect::dies, 0);
  EXPECT_NE(nullptr, IQvAtCmd::getService("atservice", false));
  EXPECT_EQ(std::nullopt, call({4063, 0, ""}));
  vp::clear_faults(phone());
  fault(Part::service, "atservice", Effect::absent, 0);
  EXPECT_EQ(nullptr, IQvAtCmd::getService("atservice", false));
  EXPECT_TRUE(held->request({4063, 0, ""}, [](const auto&) {}).isDeadObject());
  EXPECT_EQ(-1, vp::modem_requests(phone()).back().code);
}

TEST_F(VirtualAtService, ItsRequestsAreRecordedWithoutBase64) {
  ask(4063, "abc");
  fault(Part::request, "4063", Effect::status, 5);
  ask(4063);
  const auto requests = vp::modem_requests(phone());
  ASSERT_EQ(2U, requests.size());
  EXPECT_EQ(4063, requests[0].number);
  EXPECT_EQ("abc", requests[0].payload);
  EXPECT_EQ("abc", requests[1].answer);
  EXPECT_EQ(3, requests[1].answer_length);
  EXPECT_EQ(5, requests[1].status);
}

}  // namespace
}  // namespace fcx_test
