// The command link: routes, outputs, failures on either route, base64, bulk transfer.
#include "fcx/modem_link.h"

#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <limits>

#include "tests/phone_fixture.h"
#include "virtual_phone/hidl/services.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;
using virtual_phone::Effect;

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
    return std::string(data.data(), static_cast<size_t>(std::max(length, 0)));
  }
  /// What was written into the buffer after the answer.
  std::string rest() const {
    const std::string all(data.begin(), data.end());
    return all.substr(text().size(), all.find_last_not_of('#') + 1 - text().size());
  }
  bool are_untouched() const {
    return length == kUntouched && status == kUntouched && has_no_data();
  }
  bool has_no_data() const { return data == std::vector<char>(QVCMD_DATA_SIZE, '#'); }
};

class ModemLink : public PhoneTest {
 protected:
  int ask(int number, Outputs& out, std::string payload = "") {
    return request_to_system(number, payload.data(), static_cast<int>(payload.size()),
                             out.data.data(), &out.length, &out.status);
  }
};

TEST_F(ModemLink, TheNumberPicksTheRoute) {
  const struct {
    int number;
    bool is_sent;
  } cases[] = {
      {std::numeric_limits<int>::min(), false},
      {-1, false},
      {0, true},
      {993, true},
      {994, false},
      {999, false},
      {1000, true},
      {4414, true},
      {4415, false},
      {std::numeric_limits<int>::max(), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.number);
    Outputs out;
    // Nobody knows these requests: the other side says so where one is asked.
    EXPECT_EQ(2, ask(c.number, out));
    EXPECT_EQ(-1, out.length);
    EXPECT_TRUE(out.has_no_data());
    EXPECT_EQ(kUntouched, out.status);
    EXPECT_THAT(requests(), SizeIs(c.is_sent ? 1 : 0));
  }
}

TEST_F(ModemLink, SaysWhatItDoes) {
  set_modem("pid", "PID1");
  const auto lines_of = [&](int number) {
    Outputs out;
    lines();
    ask(number, out);
    return lines();
  };
  EXPECT_THAT(lines_of(kReadPid), ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 202",
                                              "I Fcx: [COMMON_INTERFACE] Call request_to_modem",
                                              "I Fcx: [DMI] request_to_modem:__START!\n",
                                              "I Fcx: [init_modem_interface] dmi_init :0\n",
                                              "I Fcx: [DMI] request_to_modem return value is 0\n",
                                              "I Fcx: Response Status: 0\n"));
  EXPECT_THAT(lines_of(1), ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 1",
                                       "I Fcx: [COMMON_INTERFACE] Call request_to_modem",
                                       "I Fcx: [DMI] request_to_modem:__START!\n",
                                       "I Fcx: [DMI] request_to_modem return value is 2\n",
                                       "I Fcx: Cannot get response. Return error!\n"));
  EXPECT_THAT(lines_of(994), ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 994",
                                         "I Fcx: [COMMON_INTERFACE] Invalid OPCODE",
                                         "I Fcx: Cannot get response. Return error!\n"));
  set_modem("model_name", "QV-100");
  EXPECT_THAT(lines_of(kModelName),
              ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 4063",
                          "I Fcx: [QVATCMD] result : 0, data_len : 6, status : 0",
                          "I Fcx: [COMMON_INTERFACE] Receive result value from request_to_android",
                          "I Fcx: Response Status: 0\n"));
  request_fault(kModelName, Effect::fail, 7);
  EXPECT_THAT(lines_of(kModelName),
              ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 4063",
                          "I Fcx: [QVATCMD] result : 7, data_len : 0, status : 0",
                          "I Fcx: [COMMON_INTERFACE] Receive result value from request_to_android",
                          "I Fcx: Cannot get response. Return error!\n"));
  service_fault("atservice", Effect::dies);
  EXPECT_THAT(lines_of(kModelName),
              ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 4063",
                          "E Fcx: [QVATCMD] the service did not answer\n",
                          "I Fcx: [COMMON_INTERFACE] Receive result value from request_to_android",
                          "I Fcx: Cannot get response. Return error!\n"));
  EXPECT_EQ(0, request_to_system(kReadPid, nullptr, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ("I Fcx: [DMI] request_to_modem return value is 0\n", lines().back())
      << "no data, no status line";
}

TEST_F(ModemLink, EveryOutputMayBeMissing) {
  set_modem("pid", "PID1");
  for (int given = 0; given < 8; ++given) {
    SCOPED_TRACE(given);
    Outputs out;
    EXPECT_EQ(
        0, request_to_system(kReadPid, nullptr, 0, given & 1 ? out.data.data() : nullptr,
                             given & 2 ? &out.length : nullptr, given & 4 ? &out.status : nullptr));
    EXPECT_EQ(given & 1 ? "PID1" : "####", std::string(out.data.data(), 4));
    EXPECT_EQ('#', out.data[4]) << "no terminator is written";
    EXPECT_EQ(given & 2 ? 4 : kUntouched, out.length);
    EXPECT_EQ(given & 4 ? 0 : kUntouched, out.status);

    Outputs failed;
    EXPECT_EQ(2, request_to_system(994, nullptr, 0, given & 1 ? failed.data.data() : nullptr,
                                   given & 2 ? &failed.length : nullptr,
                                   given & 4 ? &failed.status : nullptr));
    EXPECT_EQ((given & 3) == 3 ? -1 : kUntouched, failed.length);
    EXPECT_EQ(kUntouched, failed.status);
  }
}

TEST_F(ModemLink, APayloadIsCutOnceAndNoneIsEmpty) {
  for (const int number : {kWritePid, kModelName}) {
    std::string large(3000, 'p');
    const struct {
      void* payload;
      int length;
      size_t sent;
    } cases[] = {{large.data(), 1, 1},
                 {large.data(), 2048, 2048},
                 {large.data(), 2049, 2048},
                 {large.data(), 3000, 2048},
                 {large.data(), 0, 0},
                 {large.data(), -1, 0},
                 {large.data(), std::numeric_limits<int>::min(), 0},
                 {nullptr, 5, 0}};
    for (const auto& c : cases) {
      SCOPED_TRACE(std::to_string(number) + ", " + std::to_string(c.length));
      request_to_system(number, c.payload, c.length, nullptr, nullptr, nullptr);
      const auto sent = requests();
      ASSERT_THAT(sent, SizeIs(1));
      EXPECT_EQ(std::string(c.sent, 'p'), sent[0].payload);
      // The modem refuses a record that goes on after its length.
      EXPECT_EQ(number == kModelName && c.sent > 255 ? 1 : 0, sent[0].code);
    }
  }
}

TEST_F(ModemLink, AnAnswerNeverPassesTheCallersBuffer) {
  set_modem("pid", "PID1");
  set_modem("model_name", "QV-1");
  const struct {
    Effect effect;
    int64_t value;
    size_t length;  // what the caller is told
    char filling;   // what follows the real answer
  } cases[] = {
      {Effect::empty, 0, 0, 0},
      {Effect::shorter, 2, 2, 0},
      {Effect::longer, 2048, 2048, 'X'},
      {Effect::longer, 2049, 2048, 'X'},
      {Effect::longer, 6000, 2048, 'X'},
      // Bytes that are not there are zeros, also after an answer that had them.
      {Effect::length, 2048, 2048, '\0'},
      {Effect::length, 2049, 2048, '\0'},
      {Effect::length, INT32_MAX, 2048, '\0'},
      {Effect::length, 2, 2, 0},
      {Effect::length, -1, 0, 0},
      {Effect::length, INT32_MIN, 0, 0},
  };
  for (const int number : {kReadPid, kModelName}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::to_string(number) + virtual_phone::name_of(c.effect) +
                   std::to_string(c.value));
      request_fault(number, c.effect, c.value);
      Outputs out;
      EXPECT_EQ(0, ask(number, out));
      std::string expected = number == kReadPid ? "PID1" : "QV-1";
      expected.resize(c.length, c.filling);
      EXPECT_EQ(expected, out.text());
      EXPECT_EQ("", out.rest());

      Outputs generic;
      const bool is_possible = c.value >= 0 && c.value <= 2048;
      EXPECT_EQ(is_possible ? 0 : 1, get_qve_data_from_modem(number, generic.data.data(), 0,
                                                             generic.data.data(), &generic.length));
      EXPECT_EQ(expected, generic.text());
      EXPECT_EQ("", generic.rest());
      clear_faults();
    }
  }
}

TEST_F(ModemLink, StatusWordsArriveOnBothRoutes) {
  for (const int number : {kReadPid, kModelName}) {
    request_fault(number, Effect::status, -7);
    Outputs out;
    EXPECT_EQ(0, ask(number, out)) << number;
    EXPECT_EQ(-7, out.status) << number;
  }
}

TEST_F(ModemLink, TheModemsNotSupportedIsPassedOnAndNothingElse) {
  const struct {
    int code;
    int expected;
  } cases[] = {{1, 1}, {2, 2}, {3, 1}, {-1, 1}, {-2, 1}};
  for (const auto& c : cases) {
    request_fault(kReadPid, Effect::fail, c.code);
    Outputs out;
    EXPECT_EQ(c.expected, ask(kReadPid, out)) << c.code;
    EXPECT_EQ(-1, out.length) << c.code;
    EXPECT_TRUE(out.has_no_data()) << c.code;
    clear_faults();
  }
}

TEST_F(ModemLink, ADirectInterfaceThatDidNotOpenIsTriedAgain) {
  set_modem("pid", "PID1");
  service_fault("dmi", Effect::absent);
  Outputs out;
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    lines();
    EXPECT_EQ(1, ask(kReadPid, out));
    EXPECT_THAT(lines(), ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 202",
                                     "I Fcx: [COMMON_INTERFACE] Call request_to_modem",
                                     "I Fcx: [DMI] request_to_modem:__START!\n",
                                     "I Fcx: [init_modem_interface] dmi_init :-1\n",
                                     "I Fcx: [DMI] request_to_modem : DMI is not initialized.",
                                     "I Fcx: [DMI] request_to_modem return value is -1\n",
                                     "I Fcx: Cannot get response. Return error!\n"));
  }
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_EQ(-1, init_modem_interface());
  clear_faults();
  EXPECT_EQ(0, ask(kReadPid, out));
  EXPECT_EQ("PID1", out.text());
}

TEST_F(ModemLink, AServicesOwnResultIsReturnedExceptForTwo) {
  const struct {
    int number;
    int expected;
  } cases[] = {{1010, 7}, {1011, 0}, {1012, 0}, {1013, 7}, {kModelName, 7}};
  for (const auto& c : cases) {
    request_fault(c.number, Effect::fail, 7);
    Outputs out;
    EXPECT_EQ(c.expected, ask(c.number, out)) << c.number;
    EXPECT_EQ(c.expected == 0 ? 0 : -1, out.length) << c.number;
  }
}

TEST_F(ModemLink, AServiceThatIsNotThereTouchesNothing) {
  service_fault("atservice", Effect::absent);
  Outputs out;
  EXPECT_EQ(1, ask(kModelName, out));
  EXPECT_TRUE(out.are_untouched());
  EXPECT_THAT(lines(), ElementsAre("I Fcx: [COMMON_INTERFACE] QVCMD OPCODE: 4063",
                                   "I Fcx: QVATCMD service not published!"));
  clear_faults();
  EXPECT_EQ(0, ask(kModelName, out)) << "looked up anew";
}

TEST_F(ModemLink, AServiceThatDiesLeavesNoOldAnswer) {
  set_modem("model_name", "QV-100");
  Outputs first;
  EXPECT_EQ(0, ask(kModelName, first));
  service_fault("atservice", Effect::dies);
  Outputs second;
  EXPECT_EQ(1, ask(kModelName, second));
  EXPECT_EQ(-1, second.length);
  EXPECT_TRUE(second.has_no_data());
  Outputs ignored;
  EXPECT_EQ(0, ask(1011, ignored)) << "its result is ignored even then";
  EXPECT_EQ("", ignored.text());
}

TEST_F(ModemLink, BytesOfEveryValueTravelBothWays) {
  std::string all;
  for (int i = 0; i < 255; ++i) all += static_cast<char>(i + 1);
  for (size_t length = 250; length <= all.size(); ++length) {
    const std::string sent = all.substr(0, length);
    Outputs stored, read;
    EXPECT_EQ(0, ask(kModelName, stored, sent)) << length;
    EXPECT_EQ(0, ask(kModelName, read)) << length;
    EXPECT_EQ(sent, read.text());
  }
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
  using std::string_literals::operator""s;
  const std::string junk(4090, '\n');
  const struct {
    const char* what;
    std::vector<std::pair<int, std::string>> given;  ///< lengths and texts
    int code;
    std::string answer;
  } cases[] = {
      {"a NUL inside", {{6, "Zm9v\0YmFy"s}}, 0, "foo\0\0\0"s},
      {"more than 4096 characters", {{6, junk + "Zm9vYmFy"}}, 0, "foob\0\0"s},
      {"two answers", {{6, "Zm9vYmFy"}, {5, "Zg=="}}, 0, "f\0\0\0\0"s},
      {"no base64", {{3, "###"}}, 0, "\0\0\0"s},
      {"no answer", {}, 1, ""},
  };
  // In a process of its own each, where no later test finds the service.
  const auto expect_answer = [this](const auto& c) {
    std::vector<QVATCMDResponse> given;
    for (const auto& [length, text] : c.given) given.push_back({0, length, 9, text});
    const android::sp<Giving> service(new (std::nothrow) Giving(given));
    virtual_phone::register_service(IQvAtCmd::descriptor, "atservice",
                                    [service](virtual_phone::Phone&) { return service; });
    Outputs out;
    EXPECT_EQ(c.code, ask(1000, out));
    EXPECT_EQ(c.answer, out.text());
    EXPECT_EQ(c.code == 0 ? 9 : kUntouched, out.status);
    _exit(HasFailure() ? 1 : 0);
  };
  for (const auto& c : cases) {
    EXPECT_EXIT(expect_answer(c), testing::ExitedWithCode(0), "") << c.what;
  }
}

// What one thread asks for while another is under way waits for it.
TEST_F(ModemLink, DirectRequestsOfTwoThreadsTakeTurns) {
  constexpr int kRequests = 20;
  set_modem("pid", "PID1");
  set_modem("impl", "1");
  for (const int number : {kReadPid, kReadImpl}) request_fault(number, Effect::late, 2000);
  const auto ask_often = [&](int number, const char* expected) {
    for (int i = 0; i < kRequests; ++i) {
      Outputs out;
      EXPECT_EQ(0, ask(number, out));
      EXPECT_EQ(expected, out.text());
    }
  };
  std::thread other(ask_often, kReadImpl, "1");
  ask_often(kReadPid, "PID1");
  other.join();
  const auto sent = requests();
  EXPECT_THAT(sent, SizeIs(2 * kRequests));
  for (const auto& request : sent) EXPECT_FALSE(request.overlapped);
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
  EXPECT_THAT(requests(),
              ElementsAre(testing::Field(&virtual_phone::ModemRequest::payload, SizeIs(2048))));
  EXPECT_THAT(lines(), testing::Contains("I Fcx: Response Status: 0\n"));
  EXPECT_EQ(1, get_qve_data_from_modem(994, data, 0, data, &length));
  EXPECT_EQ(-1, length);
  service_fault("atservice", Effect::absent);
  length = 7;
  EXPECT_EQ(1, get_qve_data_from_modem(kModelName, data, 0, data, &length));
  EXPECT_EQ(7, length);
}

TEST(Base64, WritesAndReads) {
  const struct {
    std::string bytes;
    const char* text;
  } cases[] = {{"", ""},
               {"f", "Zg=="},
               {"fo", "Zm8="},
               {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="},
               {"fooba", "Zm9vYmE="},
               {"\xFF\xFE\xFD", "//79"},
               {"\xFB\xEF\xBE", "++++"},
               {std::string("\0a\0\0", 4), "AGEAAA=="}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string bytes = c.bytes;
    std::vector<char> text((bytes.size() + 2) / 3 * 4 + 1, '#');
    EXPECT_EQ(strlen(c.text), static_cast<size_t>(base64_encode(
                                  bytes.data(), static_cast<int>(bytes.size()), text.data())));
    EXPECT_STREQ(c.text, text.data());
    std::vector<unsigned char> back(bytes.size() + 1, '#');
    EXPECT_EQ(static_cast<int>(bytes.size()),
              base64_decode(text.data(), back.data(), static_cast<int>(bytes.size()) + 1));
    EXPECT_EQ(bytes, std::string(back.begin(), back.end() - 1));
  }
  char text[8] = "####";
  EXPECT_EQ(0, base64_encode(text, -1, text));
  EXPECT_STREQ("", text);
}

TEST(Base64, SkipsWhatIsOutsideTheAlphabetAndStopsAtTheRoom) {
  const struct {
    std::string text;
    int room;
    const char* bytes;
  } cases[] = {
      {"Zm9v\nYmFy", 10, "foobar"},
      {" Z m 9 v ", 10, "foo"},
      {"Zg==Zm9v", 10, "f\x06\x66\xF6"},
      {"=Zm9v", 10, "foo"},
      {"\xFFZm\x80"
       "9v",
       10, "foo"},
      {"Zm9vYmFy", 5, "fooba"},
      {"Zm9vYmFy", 3, "foo"},
      {"Zm9vYmFy", 1, "f"},
      {"Zm9vYmFy", 0, ""},
      {"Zm9vYmFy", -1, ""},
      {"Z", 10, ""},
      {"!!!!", 10, ""},
      {std::string("Zm9v\0YmFy", 9), 10, "foo"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string text = c.text;
    std::vector<unsigned char> bytes(static_cast<size_t>(std::max(c.room, 0)));
    const int written = base64_decode(text.data(), bytes.data(), c.room);
    EXPECT_EQ(c.bytes, std::string(bytes.begin(), bytes.begin() + written));
  }
}

class BulkTransfer : public PhoneTest {
 protected:
  std::vector<size_t> sent_pieces() {
    std::vector<size_t> pieces;
    for (const auto& request : requests()) pieces.push_back(request.payload.size());
    return pieces;
  }
};

TEST_F(BulkTransfer, EndsWithAPieceThatIsNotFull) {
  const struct {
    int length;
    std::vector<size_t> pieces;
  } cases[] = {{0, {0}},
               {1, {1}},
               {254, {254}},
               {255, {255, 0}},
               {256, {255, 1}},
               {510, {255, 255, 0}},
               {600, {255, 255, 90}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    std::string data;
    for (int i = 0; i < c.length; ++i) data += static_cast<char>('a' + i % 26);
    EXPECT_EQ(0, send_modem_data(data.data(), c.length));
    EXPECT_EQ(c.pieces, sent_pieces());
    std::vector<char> back(QVCMD_DATA_SIZE);
    int length = 0;
    EXPECT_EQ(c.length == 0 ? 1 : 0, receive_modem_data(back.data(), &length));
    EXPECT_EQ(data, std::string(back.data(), static_cast<size_t>(length)));
    requests();
  }
  char data[1] = {};
  EXPECT_EQ(1, send_modem_data(data, -1));
  EXPECT_EQ(1, send_modem_data(nullptr, 1));
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(BulkTransfer, AddsToTheLengthAndKeepsWithinTheBuffer) {
  std::vector<char> buffer(QVCMD_DATA_SIZE);
  std::string data(2048, 'x');
  for (const int length : {2047, 2048}) {
    send_modem_data(data.data(), length);
    int received = 7;
    EXPECT_EQ(0, receive_modem_data(buffer.data(), &received)) << length;
    EXPECT_EQ(7 + length, received);
  }
  send_modem_data(data.data(), 0);
  int received = 7;
  EXPECT_EQ(0, receive_modem_data(buffer.data(), &received)) << "empty, but there is a length";
  EXPECT_EQ(7, received);

  std::string too_long(2049, 'x');
  send_modem_data(too_long.data(), 2049);
  received = 0;
  EXPECT_EQ(1, receive_modem_data(buffer.data(), &received));
  EXPECT_EQ(8 * 255, received);

  request_fault(156, Effect::longer, 255);
  received = 0;
  EXPECT_EQ(1, receive_modem_data(buffer.data(), &received)) << "a sender that never ends";
  EXPECT_EQ(8 * 255, received);
  EXPECT_EQ(1, receive_modem_data(nullptr, &received));
  EXPECT_EQ(1, receive_modem_data(buffer.data(), nullptr));
}

TEST_F(BulkTransfer, SaysWhatItDoes) {
  std::vector<char> data(QVCMD_DATA_SIZE, 'x');
  const auto own_lines = [this] {
    std::vector<std::string> own;
    for (const std::string& line : lines()) {
      if (line.find("_modem_data") != std::string::npos || line.find("MAX_") != std::string::npos) {
        own.push_back(line);
      }
    }
    return own;
  };
  send_modem_data(data.data(), 256);
  EXPECT_THAT(own_lines(),
              ElementsAre("I Fcx: send_modem_data(256)\n", "I Fcx: MAX_QVCMD_REQ_SIZE(2048)\n"));
  int received = 0;
  receive_modem_data(data.data(), &received);
  EXPECT_THAT(own_lines(), ElementsAre("I Fcx: receive_modem_data(), rsp_len = 255\n",
                                       "I Fcx: receive_modem_data(), buffer_size = 255\n",
                                       "I Fcx: receive_modem_data(), cur_ptr = 255\n",
                                       "I Fcx: receive_modem_data(), rsp_len = 1\n",
                                       "I Fcx: receive_modem_data(), buffer_size = 256\n"));
}

TEST_F(BulkTransfer, EndsWithTheFirstRequestThatFails) {
  std::string data(600, 'x');
  request_fault(155, Effect::fail, 2);
  EXPECT_EQ(2, send_modem_data(data.data(), 600));
  const auto written = lines();
  EXPECT_EQ("I Fcx: Cannot get response. Return error!\n", written[written.size() - 2]);
  EXPECT_EQ("I Fcx: send_modem_data. Return error:2\n", written.back());
  EXPECT_THAT(requests(), SizeIs(1));
  // The second piece fails: the first is kept.
  clear_faults();
  send_modem_data(data.data(), 600);
  virtual_phone::set_fault(
      phone(),
      {0, virtual_phone::Part::request, "156", virtual_phone::Access::any, Effect::fail, 2, {}, 2});
  int received = 0;
  EXPECT_EQ(2, receive_modem_data(data.data(), &received));
  EXPECT_EQ("I Fcx: receive_modem_data Return error:2\n", lines().back());
  EXPECT_EQ(255, received);
}

}  // namespace
}  // namespace fcx_test
