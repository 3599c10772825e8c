// The command link: routes, outputs, failures on either route, base64, bulk transfer.
#include "fcx/modem_link.h"

#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include "tests/phone_fixture.h"
#include "virtual_phone/hidl/services.h"

namespace fcx_test {
namespace {

using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;

constexpr int kReadPid = 202;
constexpr int kWritePid = 203;
constexpr int kModelName = 4063;
constexpr int kReadImpl = 102;

/// A caller's outputs. The buffer ends where the memory ends, so that an address check sees what is
/// written beyond; what nobody wrote shows.
struct Outputs {
  std::vector<char> data = std::vector<char>(QVCMD_DATA_SIZE, '#');
  int length = kUntouched;
  int status = kUntouched;

  std::string text() const {
    return std::string(data.data(), static_cast<size_t>(std::clamp(length, 0, 2048)));
  }
  /// What was written into the buffer after the answer.
  std::string rest() const {
    const std::string all(data.begin(), data.end());
    return all.substr(text().size(), all.find_last_not_of('#') + 1 - text().size());
  }
};

constexpr char kToModem[] = "I Fcx: [COMMON_INTERFACE] Call request_to_modem";
constexpr char kStart[] = "I Fcx: [DMI] request_to_modem:__START!\n";
constexpr char kFromSystem[] =
    "I Fcx: [COMMON_INTERFACE] Receive result value from request_to_android";
constexpr char kStatus[] = "I Fcx: Response Status: 0\n";
constexpr char kNoResponse[] = "I Fcx: Cannot get response. Return error!\n";

class ModemLink : public PhoneTest {
 protected:
  int ask(int number, Outputs& out, std::string payload = "") {
    return request_to_system(number, payload.data(), static_cast<int>(payload.size()),
                             out.data.data(), &out.length, &out.status);
  }

  void expect(int number, int code, const std::string& data, int length, int status) {
    SCOPED_TRACE(number);
    Outputs out;
    EXPECT_EQ(code, ask(number, out));
    EXPECT_EQ(data, out.text());
    EXPECT_EQ("", out.rest());
    EXPECT_EQ(length, out.length);
    EXPECT_EQ(status, out.status);
  }
  void expect_answer(int number, const std::string& data, int status = 0) {
    expect(number, 0, data, static_cast<int>(data.size()), status);
  }
  void expect_refused(int number, int code) { expect(number, code, "", -1, kUntouched); }

  /// What a request logs after its number.
  std::vector<std::string> lines_of(int number) {
    Outputs out;
    lines();
    ask(number, out);
    std::vector<std::string> all = lines();
    EXPECT_EQ("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: " + std::to_string(number), all.at(0));
    return {all.begin() + 1, all.end()};
  }
};

TEST_F(ModemLink, TheNumberPicksTheRoute) {
  const std::pair<int, bool> cases[] = {
      {INT32_MIN, false}, {-1, false},  {0, true},    {993, true},   {994, false},
      {999, false},       {1000, true}, {4414, true}, {4415, false}, {INT32_MAX, false}};
  for (const auto& [number, is_sent] : cases) {
    // Nobody knows these requests: the other side says so where one is asked.
    expect_refused(number, 2);
    EXPECT_THAT(requests(), SizeIs(is_sent ? 1 : 0)) << number;
  }
}

TEST_F(ModemLink, SaysWhatItDoes) {
  set_modem("pid", "PID1");
  EXPECT_THAT(lines_of(kReadPid),
              ElementsAre(kToModem, kStart, "I Fcx: [init_modem_interface] dmi_init :0\n",
                          "I Fcx: [DMI] request_to_modem return value is 0\n", kStatus));
  EXPECT_THAT(lines_of(1),
              ElementsAre(kToModem, kStart, "I Fcx: [DMI] request_to_modem return value is 2\n",
                          kNoResponse));
  EXPECT_THAT(lines_of(994), ElementsAre("I Fcx: [COMMON_INTERFACE] Invalid OPCODE", kNoResponse));
  set_modem("model_name", "QV-100");
  EXPECT_THAT(
      lines_of(kModelName),
      ElementsAre("I Fcx: [QVATCMD] result : 0, data_len : 6, status : 0", kFromSystem, kStatus));
  request_fault(kModelName, Effect::fail, 7);
  EXPECT_THAT(lines_of(kModelName),
              ElementsAre("I Fcx: [QVATCMD] result : 7, data_len : 0, status : 0", kFromSystem,
                          kNoResponse));
  service_fault("atservice", Effect::dies);
  EXPECT_THAT(lines_of(kModelName), ElementsAre("E Fcx: [QVATCMD] the service did not answer\n",
                                                kFromSystem, kNoResponse));
  EXPECT_EQ(0, request_to_system(kReadPid, nullptr, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ("I Fcx: [DMI] request_to_modem return value is 0\n", lines().back())
      << "no data, no status line";
}

TEST_F(ModemLink, EveryOutputMayBeMissing) {
  set_modem("pid", "PID1");
  for (int given = 0; given < 8; ++given) {
    SCOPED_TRACE(given);
    const auto ask_for_some = [given](int number, Outputs& out) {
      return request_to_system(number, nullptr, 0, given & 1 ? out.data.data() : nullptr,
                               given & 2 ? &out.length : nullptr,
                               given & 4 ? &out.status : nullptr);
    };
    Outputs out, failed;
    EXPECT_EQ(0, ask_for_some(kReadPid, out));
    EXPECT_EQ(given & 1 ? "PID1#" : "#####", std::string(out.data.data(), 5))
        << "no terminator is written";
    EXPECT_EQ(given & 2 ? 4 : kUntouched, out.length);
    EXPECT_EQ(given & 4 ? 0 : kUntouched, out.status);

    EXPECT_EQ(2, ask_for_some(994, failed));
    EXPECT_EQ((given & 3) == 3 ? -1 : kUntouched, failed.length);
    EXPECT_EQ(kUntouched, failed.status);
  }
}

TEST_F(ModemLink, APayloadIsCutOnceAndNoneIsEmpty) {
  std::string large(3000, 'p');
  void* const there = large.data();
  const std::tuple<void*, int, size_t> cases[] = {
      {there, 1, 1}, {there, 2048, 2048}, {there, 2049, 2048},   {there, 3000, 2048},
      {there, 0, 0}, {there, -1, 0},      {there, INT32_MIN, 0}, {nullptr, 5, 0}};
  for (const int number : {kWritePid, kModelName}) {
    for (const auto& [payload, length, size] : cases) {
      SCOPED_TRACE(std::to_string(number) + ", " + std::to_string(length));
      request_to_system(number, payload, length, nullptr, nullptr, nullptr);
      const auto sent = requests();
      ASSERT_THAT(sent, SizeIs(1));
      EXPECT_EQ(std::string(size, 'p'), sent[0].payload);
      // The modem refuses a record that goes on after its length.
      EXPECT_EQ(number == kModelName && size > 255 ? 1 : 0, sent[0].code);
    }
  }
}

TEST_F(ModemLink, AnAnswerNeverPassesTheCallersBuffer) {
  set_modem("pid", "PID1");
  set_modem("model_name", "QV-1");
  // What the caller is told, and what follows the real answer: bytes that are not there are zeros,
  // also after an answer that had them.
  const std::tuple<Effect, int64_t, size_t, char> cases[] = {
      {Effect::empty, 0, 0, 0},           {Effect::shorter, 2, 2, 0},
      {Effect::longer, 2048, 2048, 'X'},  {Effect::longer, 2049, 2048, 'X'},
      {Effect::longer, 6000, 2048, 'X'},  {Effect::length, 2048, 2048, '\0'},
      {Effect::length, 2049, 2048, '\0'}, {Effect::length, INT32_MAX, 2048, '\0'},
      {Effect::length, 2, 2, 0},          {Effect::length, -1, 0, 0},
      {Effect::length, INT32_MIN, 0, 0}};
  for (const int number : {kReadPid, kModelName}) {
    for (const auto& [effect, value, length, filling] : cases) {
      SCOPED_TRACE(vp::name_of(effect) + std::to_string(value));
      request_fault(number, effect, value);
      std::string expected = number == kReadPid ? "PID1" : "QV-1";
      expected.resize(length, filling);
      expect_answer(number, expected);

      Outputs generic;
      const bool is_possible = value >= 0 && value <= 2048;
      EXPECT_EQ(is_possible ? 0 : 1, get_qve_data_from_modem(number, generic.data.data(), 0,
                                                             generic.data.data(), &generic.length));
      EXPECT_EQ(expected, generic.text()) << number;
      EXPECT_EQ("", generic.rest());
      clear_faults();
    }
  }
}

// Of the modem's codes "not supported" alone; of the service's all, but for two requests.
TEST_F(ModemLink, WhoseCodeIsReturnedAndWhoseStatus) {
  const std::tuple<int, int, int> cases[] = {
      {kReadPid, 1, 1}, {kReadPid, 2, 2}, {kReadPid, 3, 1}, {kReadPid, -1, 1}, {kReadPid, -2, 1},
      {1010, 7, 7},     {1011, 7, 0},     {1012, 7, 0},     {1013, 7, 7},      {kModelName, 7, 7}};
  for (const auto& [number, code, expected] : cases) {
    SCOPED_TRACE(code);
    request_fault(number, Effect::fail, code);
    expected == 0 ? expect_answer(number, "") : expect_refused(number, expected);
    clear_faults();
  }
  for (const int number : {kReadPid, kModelName}) {
    request_fault(number, Effect::status, -7);
    expect_answer(number, "", -7);
  }
}

TEST_F(ModemLink, ADirectInterfaceThatDidNotOpenIsTriedAgain) {
  set_modem("pid", "PID1");
  service_fault("dmi", Effect::absent);
  for (int i = 0; i < 2; ++i) {
    expect_refused(kReadPid, 1);
    EXPECT_THAT(lines_of(kReadPid),
                ElementsAre(kToModem, kStart, "I Fcx: [init_modem_interface] dmi_init :-1\n",
                            "I Fcx: [DMI] request_to_modem : DMI is not initialized.",
                            "I Fcx: [DMI] request_to_modem return value is -1\n", kNoResponse));
  }
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_EQ(-1, init_modem_interface());
  clear_faults();
  expect_answer(kReadPid, "PID1");
}

TEST_F(ModemLink, AServiceThatIsNotThereTouchesNothingAndOneThatDiesLeavesNoOldAnswer) {
  service_fault("atservice", Effect::absent);
  EXPECT_THAT(lines_of(kModelName), ElementsAre("I Fcx: QVATCMD service not published!"));
  Outputs out;
  EXPECT_EQ(1, ask(kModelName, out));
  EXPECT_EQ(1,
            get_qve_data_from_modem(kModelName, out.data.data(), 0, out.data.data(), &out.length));
  EXPECT_EQ(std::pair(kUntouched, kUntouched), std::pair(out.length, out.status));
  EXPECT_EQ('#', out.data[0]);
  clear_faults();
  const std::string odd = "QV-\x01\xFF\x80\n";
  EXPECT_EQ(0, ask(kModelName, out, odd)) << "looked up anew";
  expect_answer(kModelName, odd);
  service_fault("atservice", Effect::dies);
  expect_refused(kModelName, 1);
  expect_answer(1011, "");  // its result is ignored even then
}

/// A service that gives its answers, all to one call, in place of the phone's own.
class Giving : public IQvAtCmd {
 public:
  explicit Giving(std::vector<QVATCMDResponse> answers) : answers_(std::move(answers)) {}
  android::hardware::Return<void> request(const QVATCMDRequest&, request_cb give) override {
    for (const QVATCMDResponse& answer : answers_) give(answer);
    return android::hardware::Void();
  }

 private:
  std::vector<QVATCMDResponse> answers_;
};

TEST_F(ModemLink, AnswersAsNoServiceShouldGiveThem) {
  const std::string junk(4090, '\n');
  using Given = std::vector<std::pair<int, std::string>>;  // lengths and texts
  const std::tuple<const char*, Given, std::string> cases[] = {
      {"a NUL inside", {{6, "Zm9v\0YmFy"s}}, "foo\0\0\0"s},
      {"more than 4096 characters", {{6, junk + "Zm9vYmFy"}}, "foob\0\0"s},
      {"two answers", {{6, "Zm9vYmFy"}, {5, "Zg=="}}, "f\0\0\0\0"s},
      {"no base64", {{3, "###"}}, "\0\0\0"s},
      {"no answer", {}, ""}};
  // In a process of its own each, where no later test finds the service.
  const auto expect_case = [this](const Given& answers, const std::string& expected) {
    std::vector<QVATCMDResponse> given;
    for (const auto& [length, text] : answers) given.push_back({0, length, 9, text});
    const android::sp<Giving> service(new (std::nothrow) Giving(given));
    vp::register_service(IQvAtCmd::descriptor, "atservice",
                         [service](vp::Phone&) { return service; });
    given.empty() ? expect_refused(1000, 1) : expect_answer(1000, expected, 9);
    _exit(HasFailure() ? 1 : 0);
  };
  for (const auto& [what, given, answer] : cases) {
    EXPECT_EXIT(expect_case(given, answer), testing::ExitedWithCode(0), "") << what;
  }
}

// What one thread asks for while another is under way waits for it.
TEST_F(ModemLink, DirectRequestsOfTwoThreadsTakeTurns) {
  constexpr int kRequests = 20;
  set_modem("pid", "PID1");
  set_modem("impl", "1");
  for (const int number : {kReadPid, kReadImpl}) request_fault(number, Effect::late, 2000);
  const auto ask_often = [&](int number, const char* expected) {
    for (int i = 0; i < kRequests; ++i) expect_answer(number, expected);
  };
  std::thread other(ask_often, kReadImpl, "1");
  ask_often(kReadPid, "PID1");
  other.join();
  const auto sent = requests();
  EXPECT_THAT(sent, SizeIs(2 * kRequests));
  for (const auto& request : sent) EXPECT_FALSE(request.overlapped);
}

/// A service that answers with what it was sent, and lets other threads run before it returns.
class Echoing : public IQvAtCmd {
 public:
  android::hardware::Return<void> request(const QVATCMDRequest& request, request_cb give) override {
    constexpr int kYields = 50;
    give({0, request.data_len, 0, request.data});
    for (int i = 0; i < kYields; ++i) std::this_thread::yield();
    return android::hardware::Void();
  }
};

TEST_F(ModemLink, SystemRequestsOfTwoThreadsGetTheirOwnAnswers) {
  // In a process of its own, as above.
  const auto ask_beside_another = [this] {
    vp::register_service(IQvAtCmd::descriptor, "atservice", [](vp::Phone&) {
      return android::sp<Echoing>(new (std::nothrow) Echoing);
    });
    const auto ask_often = [this](const char* payload) {
      for (int i = 0; i < 100; ++i) {
        Outputs out;
        EXPECT_EQ(0, ask(kModelName, out, payload));
        EXPECT_EQ(payload, out.text());
      }
    };
    std::thread other(ask_often, "the cable is out");
    ask_often("QV-1");
    other.join();
    _exit(HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(ask_beside_another(), testing::ExitedWithCode(0), "");
}

TEST_F(ModemLink, GenericCallsRefuseWhatCannotBe) {
  char data[QVCMD_DATA_SIZE] = {};
  int length = 0;
  EXPECT_EQ(-1, get_qve_data_from_modem(kReadPid, nullptr, 0, data, &length));
  EXPECT_EQ(-1, get_qve_data_from_modem(kReadPid, data, 0, nullptr, &length));
  EXPECT_EQ(-1, get_qve_data_from_modem(kReadPid, data, 0, data, nullptr));
  EXPECT_EQ(-1, get_qve_data_from_modem(kReadPid, data, -1, data, &length));
  EXPECT_EQ(-1, get_qve_data_from_modem(kReadPid, data, 2049, data, &length));
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_EQ(0, get_qve_data_from_modem(kReadPid, data, 2048, data, &length));
  EXPECT_THAT(requests().at(0).payload, SizeIs(2048));
  EXPECT_EQ(kStatus, lines().back());
  EXPECT_EQ(1, get_qve_data_from_modem(994, data, 0, data, &length));
  EXPECT_EQ(-1, length);
}

TEST(Base64, WritesAndReads) {
  std::vector<std::pair<std::string, const char*>> cases = {
      {"\xFF\xFE\xFD", "//79"}, {"\xFB\xEF\xBE", "++++"}, {"\0a\0\0"s, "AGEAAA=="}};
  for (const char* text : {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE="}) {
    cases.emplace_back("fooba"s.substr(0, cases.size() - 3), text);
  }
  for (auto& [bytes, encoded] : cases) {
    SCOPED_TRACE(encoded);
    const int size = static_cast<int>(bytes.size());
    std::vector<char> text(strlen(encoded) + 1, '#');
    EXPECT_EQ(text.size() - 1, static_cast<size_t>(base64_encode(bytes.data(), size, text.data())));
    EXPECT_STREQ(encoded, text.data());
    std::vector<unsigned char> back(bytes.size() + 1, '#');
    EXPECT_EQ(size, base64_decode(text.data(), back.data(), size + 1));
    EXPECT_EQ(bytes + '#', std::string(back.begin(), back.end()));
  }
  char text[8] = "####";
  EXPECT_EQ(0, base64_encode(text, -1, text));
  EXPECT_STREQ("", text);
}

TEST(Base64, SkipsWhatIsOutsideTheAlphabetAndStopsAtTheRoom) {
  const auto decoded = [](std::string text, int room = 10) {
    std::vector<unsigned char> bytes(static_cast<size_t>(std::max(room, 0)));
    const int written = base64_decode(text.data(), bytes.data(), room);
    return std::string(bytes.begin(), bytes.begin() + written);
  };
  for (const int room : {6, 5, 3, 1, 0, -1}) {
    EXPECT_EQ("foobar"s.substr(0, static_cast<size_t>(std::max(room, 0))),
              decoded("Zm9vYmFy", room));
  }
  EXPECT_EQ("foobar", decoded("Zm9v\nYmFy"));
  EXPECT_EQ("f\x06\x66\xF6", decoded("Zg==Zm9v"));
  for (const std::string& text : {" Z m 9 v "s, "=Zm9v"s, "\xFFZm\x80\x39v"s}) {
    EXPECT_EQ("foo", decoded(text)) << text;
  }
  for (const char* text : {"Z", "!!!!"}) EXPECT_EQ("", decoded(text)) << text;
}

class BulkTransfer : public PhoneTest {
 protected:
  /// The sizes of what was sent, as in "255 1 ".
  std::string sent_pieces() {
    std::string pieces;
    for (const auto& request : requests()) pieces += std::to_string(request.payload.size()) + " ";
    return pieces;
  }

  /// Receives after `length` bytes that are there already: the code, and the length then.
  std::pair<int, int> receive_after(int length) {
    const int code = receive_modem_data(buffer_.data(), &length);
    return {code, length};
  }

  std::vector<char> buffer_ = std::vector<char>(QVCMD_DATA_SIZE, 'x');
};

TEST_F(BulkTransfer, EndsWithAPieceThatIsNotFull) {
  const std::pair<int, const char*> cases[] = {
      {0, "0 "},       {1, "1 "},           {254, "254 "},       {255, "255 0 "},
      {256, "255 1 "}, {510, "255 255 0 "}, {600, "255 255 90 "}};
  for (const auto& [size, pieces] : cases) {
    SCOPED_TRACE(size);
    std::string sent;
    for (int i = 0; i < size; ++i) sent += static_cast<char>('a' + i % 26);
    EXPECT_EQ(0, send_modem_data(sent.data(), size));
    EXPECT_EQ(pieces, sent_pieces());
    EXPECT_EQ(std::pair(size == 0 ? 1 : 0, size), receive_after(0));
    EXPECT_EQ(sent, std::string(buffer_.data(), sent.size()));
    requests();
  }
  EXPECT_EQ(1, send_modem_data(buffer_.data(), -1));
  EXPECT_EQ(1, send_modem_data(nullptr, 1));
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(BulkTransfer, AddsToTheLengthAndKeepsWithinTheBuffer) {
  std::string sent(2049, 'x');
  // Nothing at all is no failure where there is a length.
  for (const int size : {2047, 2048, 0}) {
    send_modem_data(sent.data(), size);
    EXPECT_EQ(std::pair(0, 7 + size), receive_after(7));
  }
  send_modem_data(sent.data(), 2049);
  EXPECT_EQ(std::pair(1, 8 * 255), receive_after(0));
  request_fault(156, Effect::longer, 255);
  EXPECT_EQ(std::pair(1, 8 * 255), receive_after(0)) << "a sender that never ends";
  int length = 0;
  EXPECT_EQ(1, receive_modem_data(nullptr, &length));
  EXPECT_EQ(1, receive_modem_data(buffer_.data(), nullptr));
}

TEST_F(BulkTransfer, SaysWhatItDoes) {
  const auto own_lines = [this] {
    std::vector<std::string> own;
    for (const std::string& line : lines()) {
      if (line.find('[') == std::string::npos && line != kStatus) own.push_back(line);
    }
    return own;
  };
  send_modem_data(buffer_.data(), 256);
  EXPECT_THAT(own_lines(),
              ElementsAre("I Fcx: send_modem_data(256)\n", "I Fcx: MAX_QVCMD_REQ_SIZE(2048)\n"));
  receive_after(0);
  EXPECT_THAT(own_lines(), ElementsAre("I Fcx: receive_modem_data(), rsp_len = 255\n",
                                       "I Fcx: receive_modem_data(), buffer_size = 255\n",
                                       "I Fcx: receive_modem_data(), cur_ptr = 255\n",
                                       "I Fcx: receive_modem_data(), rsp_len = 1\n",
                                       "I Fcx: receive_modem_data(), buffer_size = 256\n"));
}

TEST_F(BulkTransfer, EndsWithTheFirstRequestThatFails) {
  request_fault(155, Effect::fail, 2);
  EXPECT_EQ(2, send_modem_data(buffer_.data(), 600));
  EXPECT_EQ("I Fcx: send_modem_data. Return error:2\n", lines().back());
  EXPECT_THAT(requests(), SizeIs(1));
  // The second piece fails: the first is kept.
  clear_faults();
  send_modem_data(buffer_.data(), 600);
  fault(Part::request, "156", Effect::fail, 2, Access::any, {}, 2);
  EXPECT_EQ(std::pair(2, 255), receive_after(0));
  EXPECT_EQ("I Fcx: receive_modem_data Return error:2\n", lines().back());
}

}  // namespace
}  // namespace fcx_test
