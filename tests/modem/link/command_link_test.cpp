// The command link: routes, outputs, failures on either route, base64, bulk transfer.
#include "fcx/modem_link.h"

#include <limits>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
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
  bool are_untouched() const {
    return length == kUntouched && status == kUntouched && has_no_data();
  }
  bool has_no_data() const { return data == std::vector<char>(QVCMD_DATA_SIZE, '#'); }
};

class ModemLink : public PhoneTest {
 protected:
  int ask(int opcode, Outputs& out, std::string payload = "") {
    return request_to_system(opcode, payload.data(), static_cast<int>(payload.size()),
                             out.data.data(), &out.length, &out.status);
  }
};

TEST_F(ModemLink, TheNumberPicksTheRoute) {
  const struct {
    int opcode;
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
    Outputs out;
    // Nobody knows these opcodes: the other side says so where one is asked.
    EXPECT_EQ(2, ask(c.opcode, out)) << c.opcode;
    EXPECT_EQ(-1, out.length);
    EXPECT_TRUE(out.has_no_data());
    EXPECT_EQ(kUntouched, out.status);
    EXPECT_THAT(requests(), SizeIs(c.is_sent ? 1 : 0)) << c.opcode;
  }
}

TEST_F(ModemLink, SaysWhatItDoes) {
  set_modem("pid", "PID1");
  const auto lines_of = [&](int opcode) {
    Outputs out;
    log();
    ask(opcode, out);
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
  EXPECT_EQ(0, request_to_system(kReadPid, nullptr, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ("I Fcx: [DMI] request_to_modem return value is 0\n", lines().back())
      << "no data, no status line";
}

TEST_F(ModemLink, EveryOutputMayBeMissing) {
  set_modem("pid", "PID1");
  for (int given = 0; given < 8; ++given) {
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
  for (const int opcode : {kWritePid, kModelName}) {
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
      request_to_system(opcode, c.payload, c.length, nullptr, nullptr, nullptr);
      const auto sent = requests();
      ASSERT_THAT(sent, SizeIs(1));
      EXPECT_EQ(std::string(c.sent, 'p'), sent[0].payload) << opcode << ", " << c.length;
    }
  }
}

TEST_F(ModemLink, AnAnswerNeverPassesTheCallersBuffer) {
  set_modem("pid", "PID1");
  set_modem("model_name", "QV-1");
  const struct {
    Effect effect;
    int64_t value;
    int length;  // what the caller is told
  } cases[] = {
      {Effect::empty, 0, 0},          {Effect::shorter, 2, 2},
      {Effect::longer, 2048, 2048},   {Effect::longer, 2049, 2048},
      {Effect::longer, 6000, 2048},   {Effect::length, -1, 0},
      {Effect::length, 2049, 2048},   {Effect::length, INT32_MAX, 2048},
      {Effect::length, INT32_MIN, 0},
  };
  for (const int opcode : {kReadPid, kModelName}) {
    for (const auto& c : cases) {
      opcode_fault(opcode, c.effect, c.value);
      Outputs out;
      EXPECT_EQ(0, ask(opcode, out));
      EXPECT_EQ(c.length, out.length) << opcode << ", " << c.value;
      const size_t real = std::min<size_t>(4, static_cast<size_t>(c.length));
      EXPECT_EQ(std::string(opcode == kReadPid ? "PID1" : "QV-1", real),
                out.text().substr(0, real));

      int length = 0;
      const bool is_possible = c.value >= 0 && c.value <= 2048;
      EXPECT_EQ(is_possible ? 0 : 1,
                get_qve_data_from_modem(opcode, out.data.data(), 0, out.data.data(), &length))
          << opcode << ", " << c.value;
      clear_faults();
    }
  }
}

TEST_F(ModemLink, StatusWordsArriveOnBothRoutes) {
  for (const int opcode : {kReadPid, kModelName}) {
    opcode_fault(opcode, Effect::status, -7);
    Outputs out;
    EXPECT_EQ(0, ask(opcode, out));
    EXPECT_EQ(-7, out.status);
  }
}

TEST_F(ModemLink, TheModemsNotSupportedIsPassedOnAndNothingElse) {
  const struct {
    int code;
    int expected;
  } cases[] = {{1, 1}, {2, 2}, {3, 1}, {-1, 1}, {-2, 1}};
  for (const auto& c : cases) {
    opcode_fault(kReadPid, Effect::fail, c.code);
    Outputs out;
    EXPECT_EQ(c.expected, ask(kReadPid, out)) << c.code;
    EXPECT_EQ(-1, out.length);
    EXPECT_TRUE(out.has_no_data());
    clear_faults();
  }
}

TEST_F(ModemLink, ADirectInterfaceThatDidNotOpenIsTriedAgain) {
  set_modem("pid", "PID1");
  service_fault("dmi", Effect::absent);
  Outputs out;
  for (int i = 0; i < 2; ++i) {
    log();
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
    int opcode;
    int expected;
  } cases[] = {{1010, 7}, {1011, 0}, {1012, 0}, {1013, 7}, {kModelName, 7}};
  for (const auto& c : cases) {
    opcode_fault(c.opcode, Effect::fail, 7);
    Outputs out;
    EXPECT_EQ(c.expected, ask(c.opcode, out)) << c.opcode;
    EXPECT_EQ(c.expected == 0 ? 0 : -1, out.length) << c.opcode;
  }
}

TEST_F(ModemLink, AServiceThatIsNotThereTouchesNothing) {
  service_fault("atservice", Effect::absent);
  Outputs out;
  log();
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
  clear_faults();
  EXPECT_EQ(0, ask(kModelName, second));
  EXPECT_EQ("QV-100", second.text());
}

TEST_F(ModemLink, BytesOfEveryValueTravelBothWays) {
  std::string all;
  for (int i = 0; i < 255; ++i) all += static_cast<char>(i + 1);
  for (size_t length = 250; length <= all.size(); ++length) {
    const std::string sent = all.substr(0, length);
    Outputs stored, read;
    EXPECT_EQ(0, ask(kModelName, stored, sent));
    EXPECT_EQ(0, ask(kModelName, read));
    EXPECT_EQ(sent, read.text());
  }
  opcode_fault(kModelName, Effect::garbage);
  Outputs out;
  EXPECT_EQ(0, ask(kModelName, out)) << "what cannot be decoded is left out";
}

// What one thread asks for while another is under way waits for it.
TEST_F(ModemLink, DirectRequestsOfTwoThreadsTakeTurns) {
  constexpr int kRequests = 20;
  set_modem("pid", "PID1");
  set_modem("impl", "1");
  for (const int opcode : {kReadPid, kReadImpl}) opcode_fault(opcode, Effect::late, 2000);
  const auto ask_often = [&](int opcode, const char* expected) {
    for (int i = 0; i < kRequests; ++i) {
      Outputs out;
      EXPECT_EQ(0, ask(opcode, out));
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
  EXPECT_EQ(1, get_qve_data_from_modem(994, data, 0, data, &length));
  EXPECT_EQ(-1, length);
  service_fault("atservice", Effect::absent);
  length = 7;
  EXPECT_EQ(1, get_qve_data_from_modem(kModelName, data, 0, data, &length));
  EXPECT_EQ(7, length);
}

TEST(Base64, WritesAndReads) {
  const struct {
    const char* bytes;
    const char* text;
  } cases[] = {{"", ""},
               {"f", "Zg=="},
               {"fo", "Zm8="},
               {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="},
               {"fooba", "Zm9vYmE="},
               {"\xFF\xFE\xFD", "//79"},
               {"\xFB\xEF\xBE", "++++"}};
  for (const auto& c : cases) {
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
    const char* text;
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
  };
  for (const auto& c : cases) {
    std::string text = c.text;
    std::vector<unsigned char> bytes(static_cast<size_t>(std::max(c.room, 0)));
    const int written = base64_decode(text.data(), bytes.data(), c.room);
    EXPECT_EQ(c.bytes, std::string(bytes.begin(), bytes.begin() + written)) << c.text;
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
    std::string data;
    for (int i = 0; i < c.length; ++i) data += static_cast<char>('a' + i % 26);
    EXPECT_EQ(0, send_modem_data(data.data(), c.length));
    EXPECT_EQ(c.pieces, sent_pieces()) << c.length;
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
    EXPECT_EQ(0, receive_modem_data(buffer.data(), &received));
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

  opcode_fault(156, Effect::longer, 255);
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
  opcode_fault(155, Effect::fail, 2);
  EXPECT_EQ(2, send_modem_data(data.data(), 600));
  EXPECT_EQ("I Fcx: send_modem_data. Return error:2\n", lines().back());
  EXPECT_THAT(requests(), SizeIs(1));
  opcode_fault(156, Effect::fail, 2);
  int received = 0;
  EXPECT_EQ(2, receive_modem_data(data.data(), &received));
  EXPECT_EQ("I Fcx: receive_modem_data Return error:2\n", lines().back());
}

}  // namespace
}  // namespace fcx_test
