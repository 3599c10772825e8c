// The bench's modem, asked over its direct interface as the library asks it.
#include "virtual_phone/modem/modem.h"

#include <cutils/properties.h>
#include <fcntl.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

#include "modem/link/requests.h"
#include "platform/diag_packets.h"
#include "platform/modem_interface.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/schema.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;
using virtual_phone::Effect;
using virtual_phone::NvState;
using virtual_phone::Part;
using virtual_phone::Refused;

namespace request = fcx::request;
namespace vp = virtual_phone;

constexpr char kImei[] = "490154203237518";

struct Answer {
  int code = 0;
  qvcmd_response response{};

  std::string text() const { return code == 0 ? data(response) : "code " + std::to_string(code); }
};

Answer ask(int32_t number, std::string_view payload = {}) {
  qvcmd_request request{number, static_cast<int32_t>(payload.size()), {}};
  payload.copy(request.data, sizeof request.data);
  Answer answer;
  answer.code = request_to_modem_via_dmi(&request, &answer.response);
  return answer;
}

class VirtualModem : public PhoneTest {
 protected:
  VirtualModem() { EXPECT_EQ(0, dmi_init()); }
  ~VirtualModem() override { dmi_release(); }
};

struct Step {
  int32_t number;
  std::string payload;
  std::string answer;
};

TEST_F(VirtualModem, KeepsWhatItIsGiven) {
  using std::string_literals::operator""s;
  const std::string longest(128, 'r');
  const Step steps[] = {
      {117, "", "IMEI READ ERROR :("},
      {116, kImei, "IMEI WRITE OK"},
      {117, "", kImei},
      {116, kImei + "\0"s, "IMEI WRITE OK"},  // its NUL travels too
      {116, "490154203237511", "CHECK DIGIT ERROR"},
      {116, "490154203237508", "CHECK DIGIT ERROR"},
      {116, "49015420323751", "IMEI WRITE ERROR"},
      {116, "4901542032375180", "IMEI WRITE ERROR"},
      {116, "49015420323751A", "IMEI WRITE ERROR"},
      {117, "", kImei},
      {119, "", "IMEI READ ERROR :("},
      {118, "490154203237526", "IMEI WRITE OK"},
      {120, "000000000000000", "IMEI WRITE OK"},
      {119, "", "490154203237526"},
      {121, "", "000000000000000"},
      {157, "", ""},
      {158, "", ""},
      {202, "", ""},
      {203, std::string(31, 'p'), "PID WRITE ERROR"},
      {203, "", "PID WRITE ERROR"},
      {203, std::string(30, 'p'), "PID WRITE OK"},
      {202, "", std::string(30, 'p')},
      {115, "", "PID2 READ ERROR"},
      {114, longest, "PID2 WRITE OK"},
      {114, longest + "r", "PID2 WRITE ERROR"},
      {115, "", longest},
      {128, "AEUROP", "SUFFIX WRITE OK"},
      {129, "", "AEUROP"},
      {149, "g", "GDEN WRITE OK"},
      {148, "1", "GDEN WRITE OK"},
      {150, "", "g"},
      {151, "e", "EFSA WRITE OK"},
      {151, "\0e"s, "EFSA WRITE ERROR"},
      {153, "", "RGRV READ ERROR"},
      {152, "r", "RGRV WRITE OK"},
      {153, "", "r"},
      {102, "", "IMPL READ ERROR"},
      {101, "10", "IMPL WRITE OK"},
      {102, "", "1"},
      {101, "no", "IMPL WRITE OK"},
      {102, "", "0"},
      {109, "", "FUSG READ ERROR"},
      {108, "1", "FUSG WRITE OK"},
      {109, "", "1"},
      {106, "", "IDDE READ ERROR"},
      {105, "", "IDDE ERROR"},
      {105, "record", "IDDE OK"},
      {106, "", "record"},
      {117, "", kImei},  // which an accepted IDDE record leaves alone
      {200, "", "1"},
      {209, "", "1"},
      {610, "\1", "\0"s},
      {610, "\2", "\xFF"},
      {610, "", "\xFF"},
      {100, "", "code 2"},
      {1006, "", "code 2"},
      {-1, "", "code 2"},
  };
  for (const Step& step : steps) {
    EXPECT_EQ(step.answer, ask(step.number, step.payload).text())
        << step.number << " \"" << step.payload << '"';
  }
  EXPECT_EQ("1", vp::modem_value(phone(), "hardreset_enable"));
  vp::set_modem_value(phone(), "pid_supported", "0");
  EXPECT_EQ("code 2", ask(202).text());
  EXPECT_EQ("code 2", ask(203, "p").text());
}

TEST_F(VirtualModem, WhatItKeepsOutlivesAProcessAndARestart) {
  ask(request::write_imei, kImei);
  ask(request::send_bulk, "half a transfer");
  vp::set_nv_item(phone(), 453, {NvState::active, "abc"});
  vp::Phone other(directory());
  EXPECT_EQ(kImei, vp::modem_value(other, "imei1"));
  EXPECT_EQ("abc", vp::nv_item(other, 453)->value);
  ASSERT_EQ("1", ask(request::reset_modem).text());
  vp::restart(phone(), "test");
  EXPECT_EQ(kImei, ask(request::read_imei).text()) << "the reset ends with the restart";
  EXPECT_EQ("", ask(request::receive_bulk).text());
}

TEST_F(VirtualModem, BulkGoesBothWaysInPieces) {
  const std::string full(255, 'a');
  ask(154);
  EXPECT_EQ("", ask(155, full).text());
  EXPECT_EQ("", ask(156).text()) << "not before the upload has ended";
  EXPECT_EQ("", ask(155, "end").text());
  EXPECT_EQ(full, ask(156).text());
  EXPECT_EQ("end", ask(156).text());
  EXPECT_EQ("", ask(156).text());
  ask(155, "anew");
  EXPECT_EQ("anew", ask(156).text());

  set_item(421, "\"1\",\"310,410\"");
  ask(154);
  EXPECT_EQ("", ask(127).text());
  EXPECT_EQ("\"1\",\"310,410\"", ask(156).text());
  set_item(421, std::string(2048, 'n'));
  ask(127);
  size_t received = 0;
  while (const size_t piece = ask(156).text().size()) received += piece;
  EXPECT_EQ(2048U, received) << "a list of the full length has no NUL";

  ask(154);
  const std::string large(2048, 'l');
  for (size_t sent = 0; sent < 65536; sent += large.size()) ASSERT_EQ(0, ask(155, large).code);
  EXPECT_EQ(1, ask(155, "x").code);
  EXPECT_EQ(0, ask(155, "").code);
}

TEST_F(VirtualModem, AResetTakesFiveSeconds) {
  EXPECT_EQ("1", ask(214).text());
  EXPECT_EQ("0", ask(209).text());
  EXPECT_EQ(1, ask(214).code);
  EXPECT_EQ(1, ask(117).code);
  EXPECT_EQ(1, ask(100).code) << "it does not even say that it knows no such request";
  vp::sleep_us(4'000'000);
  EXPECT_EQ("0", ask(209).text());
  vp::sleep_us(1'100'000);
  EXPECT_EQ("1", ask(209).text());
  EXPECT_EQ(0, ask(117).code);
  EXPECT_THAT(events(), ElementsAre("modem_reset: for 5 s"));
  {
    const std::lock_guard lock(phone().mutex());
    phone().fleeting().execute("UPDATE modem_run SET reset_us = reset_us + 3600000000");
  }
  EXPECT_EQ("1", ask(209).text()) << "begun by a process whose clock had run an hour ahead";
}

std::string nv_packet(uint8_t command, uint16_t number, std::string_view value = {}) {
  std::string packet(132, '\0');
  packet[0] = static_cast<char>(command);
  packet[1] = static_cast<char>(number & 0xFF);
  packet[2] = static_cast<char>(number >> 8);
  value.copy(packet.data() + 3, 128);
  return packet;
}

std::string nv_data(std::string value, char status) {
  value.resize(128, '\0');
  return value + status;
}

TEST_F(VirtualModem, NvItemsAnswerByTheirState) {
  vp::set_nv_item(phone(), 0x1234, {NvState::active, "abc"});
  vp::set_nv_item(phone(), 5, {NvState::inactive, ""});
  vp::set_nv_item(phone(), 65535, {NvState::failing, ""});
  const std::string full(128, 'f');
  const Step steps[] = {
      {550, nv_packet(0x26, 0x1234), nv_data("abc", 0)},
      {550, nv_packet(0x26, 0x3412), ""},
      {550, nv_packet(0x26, 5), nv_data("", 5)},
      {550, nv_packet(0x26, 65535), nv_data("", 4)},
      {551, nv_packet(0x27, 65535, "x"), nv_data("", 4)},
      {551, nv_packet(0x27, 5, full), nv_data(full, 0)},
      {550, nv_packet(0x26, 5), nv_data(full, 0)},
      {551, nv_packet(0x27, 0, "new"), nv_data("new", 0)},
      {550, nv_packet(0x26, 0), nv_data("new", 0)},
      {550, nv_packet(0x27, 5), "code 1"},
      {551, nv_packet(0x26, 5), "code 1"},
      {550, nv_packet(0x26, 5).substr(1), "code 1"},
      {550, nv_packet(0x26, 5) + "x", "code 1"},
      {551, "", "code 1"},
  };
  for (const Step& step : steps) {
    EXPECT_EQ(step.answer, ask(step.number, step.payload).text())
        << step.number << " item " << int{step.payload.c_str()[1]};
  }
  EXPECT_THROW(vp::set_nv_item(phone(), 1, {NvState::active, full + "f"}), Refused);
  EXPECT_THROW(vp::set_nv_item(phone(), 1, {NvState::failing, "x"}), Refused);
}

std::string word(int32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }

std::string with_path(uint8_t command, std::string_view path) {
  std::string payload(140, '\0');
  payload[0] = static_cast<char>(command);
  path.copy(payload.data() + 1, 128);
  return payload;
}

class VirtualEfs : public VirtualModem {
 protected:
  int32_t result(const std::string& payload, std::string* data_read = nullptr) {
    const std::string answer = ask(request::efs, payload).text();
    int32_t value = INT32_MIN;
    EXPECT_GE(answer.size(), sizeof value);
    memcpy(&value, answer.data(), sizeof value);
    if (data_read != nullptr) *data_read = answer.substr(sizeof value);
    return value;
  }
  int32_t open_file(std::string_view path, int flags, int mode = 0644) {
    return result(with_path(4, path).replace(132, 8, word(flags) + word(mode)));
  }
  int32_t unlink_file(std::string_view path) { return result(with_path(3, path)); }
  int32_t close_file(int32_t fd) { return result("\5xxx" + word(fd)); }
  int32_t read_from(int32_t fd, int32_t count, std::string* got) {
    return result("\6xxx" + word(fd) + word(count), got);
  }
  int32_t write_to(int32_t fd, std::string bytes, int32_t count) {
    bytes.resize(2032, '\0');
    return result("\7xxx" + word(fd) + bytes + word(count));
  }
};

TEST_F(VirtualEfs, FilesAreRealOnes) {
  EXPECT_EQ(-ENOENT, open_file("/nv/a", O_RDONLY));
  const int32_t fd = open_file("/nv/sub//./a", O_RDWR | O_CREAT, 0);
  ASSERT_GT(fd, 0);
  EXPECT_EQ(5, write_to(fd, "12345", 5));
  EXPECT_EQ(2032, write_to(fd, std::string(2032, 'w'), 2032));
  EXPECT_EQ(-EINVAL, write_to(fd, "", 2033));
  EXPECT_EQ(-EINVAL, write_to(fd, "", -1));
  EXPECT_EQ(0, close_file(fd));
  EXPECT_EQ(-EBADF, close_file(fd));
  EXPECT_EQ("12345" + std::string(2032, 'w'), read_file(directory() / "efs/nv/sub/a"));

  const int32_t again = open_file("nv/sub/a", O_RDONLY);
  std::string got;
  EXPECT_EQ(3, read_from(again, 3, &got));
  EXPECT_EQ("123", got);
  EXPECT_EQ(2032, read_from(again, INT32_MAX, &got)) << "no more than an answer holds";
  EXPECT_EQ(2, read_from(again, 9, &got));
  EXPECT_EQ(0, read_from(again, 9, &got));
  EXPECT_EQ(-EINVAL, read_from(again, -1, &got));
  EXPECT_EQ(-EBADF, write_to(again, "x", 1)) << "opened for reading";
  EXPECT_EQ(-EBADF, read_from(again + 1, 1, &got));
  EXPECT_EQ(-EISDIR, open_file("/nv", O_RDONLY));
  EXPECT_EQ(-ENOTDIR, open_file("/nv/sub/a/b", O_RDONLY));
  EXPECT_EQ(-EEXIST, open_file("/nv/sub/a", O_RDWR | O_CREAT | O_EXCL));
  EXPECT_EQ(0, unlink_file("/nv/sub/a"));
  EXPECT_EQ(-ENOENT, unlink_file("/nv/sub/a"));
  for (const std::string& malformed : {std::string("\4"), std::string("\5xxx\1"), std::string("\1"),
                                       std::string(""), with_path(4, "/a").substr(0, 139)}) {
    EXPECT_EQ(-EINVAL, result(malformed)) << malformed;
  }
}

TEST_F(VirtualEfs, NothingLeadsOutOfTheTree) {
  write_file(directory() / "secret", "s");
  std::filesystem::create_symlink(directory(), directory() / "efs/out");
  std::filesystem::create_symlink(directory() / "secret", directory() / "efs/link");
  for (const char* path : {"../secret", "/../secret", "a/../../secret", "..", "out/secret", "link",
                           "out/new/file", "out/..", "nv/.."}) {
    EXPECT_EQ(-EACCES, open_file(path, O_RDWR)) << path;
    EXPECT_EQ(-EACCES, open_file(path, O_RDWR | O_CREAT | O_TRUNC)) << path;
    if (path == std::string_view("link")) continue;  // itself in the tree, and may go
    EXPECT_EQ(-EACCES, unlink_file(path)) << path;
  }
  EXPECT_EQ("s", read_file(directory() / "secret"));
  EXPECT_FALSE(std::filesystem::exists(directory() / "new"));
  EXPECT_EQ(-EISDIR, open_file("/", O_RDONLY));
  EXPECT_EQ(-ENOENT, open_file("", O_RDONLY));
  EXPECT_GT(open_file("/etc/passwd", O_RDWR | O_CREAT), 0) << "its own, not the host's";
  EXPECT_EQ("", read_file(directory() / "efs/etc/passwd"));
  const std::string longest = "/" + std::string(60, 'd') + "/" + std::string(66, 'f');
  ASSERT_EQ(128U, longest.size());
  EXPECT_GT(open_file(longest, O_WRONLY | O_CREAT), 0) << "no NUL fits after it";
  EXPECT_TRUE(std::filesystem::exists(directory() / ("efs" + longest)));
}

TEST_F(VirtualEfs, DescriptorsAreFewAndEndWithTheInterface) {
  for (int i = 0; i < 64; ++i) ASSERT_GT(open_file("/a", O_RDWR | O_CREAT), 0);
  EXPECT_EQ(-EMFILE, open_file("/a", O_RDONLY));
  EXPECT_EQ(0, close_file(7));
  EXPECT_EQ(7, open_file("/a", O_RDONLY));
  dmi_release();
  EXPECT_EQ(1, ask(request::efs, "\5xxx" + word(7)).code);
  dmi_init();
  EXPECT_EQ(-EBADF, close_file(7));
}

TEST_F(VirtualEfs, TheGoldenCopyIsTheTreeOfThatMoment) {
  write_file(directory() / "efs/a", "1");
  EXPECT_EQ("1", ask(request::make_golden_copy).text());
  write_file(directory() / "efs/a", "2");
  EXPECT_EQ("1", read_file(directory() / "efs-golden/a"));
  std::filesystem::rename(directory() / "efs/a", directory() / "efs/b");
  EXPECT_EQ("1", ask(request::make_golden_copy).text());
  EXPECT_EQ("2", read_file(directory() / "efs-golden/b"));
  EXPECT_FALSE(std::filesystem::exists(directory() / "efs-golden/a"));
  EXPECT_NO_THROW(vp::create(directory(), "single", true)) << "still a phone and nothing else";
}

TEST_F(VirtualModem, RequestsThatCannotBeAreRefused) {
  qvcmd_response response{};
  for (const int32_t length : {-1, 2049, INT32_MAX, INT32_MIN}) {
    qvcmd_request request{request::read_imei, length, {}};
    EXPECT_EQ(1, request_to_modem_via_dmi(&request, &response)) << length;
  }
  qvcmd_request longer{request::read_imei, 3, "IMEI"};
  EXPECT_EQ(1, request_to_modem_via_dmi(&longer, &response)) << "it goes on after its length";
  EXPECT_EQ(0, ask(request::read_imei, std::string(2048, 'x')).code);
  EXPECT_EQ(1, request_to_modem_via_dmi(nullptr, &response));
  EXPECT_EQ(0, dmi_init()) << "a second time";
  EXPECT_EQ(0, ask(request::read_imei).code);
  EXPECT_EQ(0, dmi_release());
  EXPECT_EQ(1, ask(request::read_imei).code);
}

TEST_F(VirtualModem, AnyBytesOfAnyLengthAreAnsweredWithinTheRecord) {
  std::mt19937 random(20200601);
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    for (const size_t length : {0, 1, 2, 8, 12, 129, 132, 140, 255, 2044, 2047, 2048}) {
      std::string payload(length, '\0');
      for (char& byte : payload) byte = static_cast<char>(random());
      // Half of them reach an operation of the file system.
      if (length > 0 && random() % 2 == 0) payload[0] = static_cast<char>(3 + random() % 5);
      const Answer answer = ask(row.number, payload);
      EXPECT_TRUE(answer.response.data_len >= 0 && answer.response.data_len <= 2048)
          << row.name << " " << length;
    }
    vp::restart(phone(), "ends a reset");
  }
  for (const auto& entry : std::filesystem::directory_iterator(directory())) {
    EXPECT_THAT(entry.path().filename().string(),
                testing::AnyOf(testing::StartsWith("phone.db"), "root", "overlay", "log", "efs",
                               "efs-golden"));
  }
}

TEST_F(VirtualModem, FaultsSpoilAnswersAsTheySay) {
  struct Case {
    Effect effect;
    int64_t value;
    int code;
    int32_t status;
    int32_t data_len;
    std::string bytes;  ///< at the start of the answer's data
    bool stored;
  };
  const std::string done = "IMEI WRITE OK";
  const Case cases[] = {
      {Effect::fail, 7, 7, 0, 0, "", false},
      {Effect::fail, -1, -1, 0, 0, "", false},
      {Effect::late, 1000, 0, 0, 13, done, true},
      {Effect::refuse, 0, 0, 0, 16, "IMEI WRITE ERROR", false},
      {Effect::status, 9, 0, 9, 13, done, true},
      {Effect::empty, 0, 0, 0, 0, "", true},
      {Effect::shorter, 4, 0, 0, 4, "IMEI", true},
      {Effect::shorter, 99, 0, 0, 13, done, true},
      {Effect::longer, 15, 0, 0, 15, done + "XX", true},
      {Effect::longer, 4000, 0, 0, 4000, done + std::string(2035, 'X'), true},
      {Effect::length, -5, 0, 0, -5, done, true},
      {Effect::length, INT32_MAX, 0, 0, INT32_MAX, done, true},
      {Effect::garbage, 0xFF, 0, 0, 13, std::string(13, '\xFF'), true},
  };
  for (const Case& each : cases) {
    vp::remove_modem_value(phone(), "imei1");
    vp::set_fault(phone(), {0, Part::request, "116", vp::Access::any, each.effect, each.value, 1});
    const Answer answer = ask(116, kImei);
    const std::string what = vp::name_of(each.effect) + std::to_string(each.value);
    EXPECT_EQ(each.code, answer.code) << what;
    EXPECT_EQ(each.status, answer.response.reserved) << what;
    EXPECT_EQ(each.data_len, answer.response.data_len) << what;
    std::string expected = each.bytes;
    expected.resize(sizeof answer.response.data, '\0');
    EXPECT_EQ(expected, std::string(answer.response.data, sizeof answer.response.data)) << what;
    EXPECT_EQ(each.stored, vp::modem_value(phone(), "imei1").has_value()) << what;
    EXPECT_EQ("IMEI WRITE OK", ask(116, kImei).text()) << what << " struck once";
  }
}

TEST_F(VirtualModem, ARefusalIsTheRequestsOwn) {
  vp::create(directory(), "single", true);
  vp::select(directory());
  dmi_init();
  const Step steps[] = {
      {102, "", "IMPL READ ERROR"},
      {105, "x", "IDDE ERROR"},
      {117, "", "IMEI READ ERROR :("},
      {118, kImei, "IMEI WRITE ERROR"},
      {157, "", ""},
      {158, "", ""},
      {202, "", ""},
      {203, "p", "PID WRITE ERROR"},
      {127, "", ""},
      {156, "", ""},
      {200, "", "\xFF"},
      {610, "\1", "\xFF"},
      {209, "", "0"},
      {214, "", "0"},
      {215, "", "0"},
      {550, nv_packet(0x26, 453), nv_data("", 4)},
      {551, nv_packet(0x27, 453, "x"), nv_data("", 4)},
      {401, with_path(3, "/qv/factory/rf_cal_date"), word(-EIO)},
  };
  for (const Step& step : steps) {
    request_fault(step.number, Effect::refuse);
    EXPECT_EQ(step.answer, ask(step.number, step.payload).text()) << step.number;
  }
  vp::clear_faults(phone());
  EXPECT_EQ("1", ask(209).text()) << "no reset has begun";
  EXPECT_EQ(nv_data("", 0), ask(550, nv_packet(0x26, 453)).text());
  EXPECT_EQ("490154203237526", ask(119).text());
  EXPECT_THAT(vp::efs_files(phone()), testing::SizeIs(2));
  EXPECT_THAT(events(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(directory() / "efs-golden"));
}

TEST_F(VirtualModem, ServicesCanBeAbsentDieOrComeLate) {
  fault(Part::service, "dmi", Effect::dies, 0);
  EXPECT_EQ(0, dmi_init());
  EXPECT_EQ(-1, ask(209).code);
  vp::clear_faults(phone());
  fault(Part::service, "dmi", Effect::absent, 0);
  EXPECT_EQ(-1, dmi_init());
  EXPECT_EQ(-1, ask(209).code);
  vp::clear_faults(phone());
  fault(Part::service, "dmi", Effect::late, 60'000);
  const int64_t before = vp::now_us();
  EXPECT_EQ("1", ask(209).text());
  EXPECT_GE(vp::now_us() - before, 60'000'000);

  const auto allocate = [](int code, int length) {
    return std::unique_ptr<void, decltype(&std::free)>(diagpkt_alloc(code, length), &std::free);
  };
  const auto packet = allocate(0x26, 132);
  EXPECT_EQ(nv_packet(0x26, 0), std::string(static_cast<const char*>(packet.get()), 132));
  EXPECT_EQ(nullptr, allocate(0x26, 0));
  EXPECT_EQ(nullptr, allocate(0x26, -1));
  for (const Effect effect : {Effect::absent, Effect::dies}) {
    vp::set_fault(phone(), {0, Part::service, "diag", vp::Access::any, effect, 0, 1});
    EXPECT_EQ(nullptr, allocate(0x26, 132)) << vp::name_of(effect);
    EXPECT_NE(nullptr, allocate(0x26, 132)) << vp::name_of(effect);
  }
}

TEST_F(VirtualModem, RequestsAreRecordedAsTheyWere) {
  const int64_t before = vp::now_us();
  request_fault(116, Effect::status, 3);
  ask(116, kImei);
  request_fault(209, Effect::longer, 3000);
  ask(209);
  request_fault(200, Effect::fail, 5);
  ask(200);
  const auto requests = vp::modem_requests(phone());
  ASSERT_EQ(3U, requests.size());
  EXPECT_GE(requests[0].time_us, before);
  EXPECT_EQ(kImei, requests[0].payload);
  EXPECT_EQ("IMEI WRITE OK", requests[0].answer);
  EXPECT_EQ(3, requests[0].status);
  EXPECT_FALSE(requests[0].overlapped);
  EXPECT_EQ(3000, requests[1].answer_length);
  EXPECT_EQ(2048U, requests[1].answer.size()) << "what arrived";
  EXPECT_EQ(5, requests[2].code);
  EXPECT_EQ(200, vp::modem_requests(phone(), requests[1].id)[0].number);

  vp::clear_faults(phone());
  for (int i = 0; i < 200; ++i) ask(100 + i % 2);
  EXPECT_EQ(200U, vp::modem_requests(phone()).size());
  EXPECT_EQ(100, vp::modem_requests(phone())[0].number);
}

TEST_F(VirtualModem, TwoRequestsAtOnceAreSeen) {
  vp::set_fault(phone(), {0, Part::request, "209", vp::Access::any, Effect::late, 500'000, 1});
  std::thread slow([] { ask(209); });
  while (!vp::faults(phone()).empty()) std::this_thread::yield();  // it is on its way, and late
  ask(200);
  slow.join();
  ask(200);
  std::vector<std::pair<int32_t, bool>> overlapped;
  for (const vp::ModemRequest& request : vp::modem_requests(phone())) {
    overlapped.emplace_back(request.number, request.overlapped);
  }
  EXPECT_THAT(overlapped,
              ElementsAre(std::pair(200, true), std::pair(209, true), std::pair(200, false)));
}

TEST_F(VirtualModem, ValuesAreChecked) {
  const std::pair<const char*, const char*> refused[] = {
      {"imei1", "490154203237511"},
      {"imei1", "49015420323751"},
      {"imei2", "49015420323752A"},
      {"impl", "2"},
      {"pid", ""},
      {"pid", "1234567890123456789012345678901"},
      {"imei", kImei},
  };
  for (const auto& [name, value] : refused) {
    EXPECT_THROW(vp::check_modem_value(name, value), Refused) << name << " " << value;
  }
  EXPECT_THAT([] { vp::check_modem_value("imei1", "490154203237511"); },
              ThrowsMessage<Refused>(HasSubstr("check digit is 8")));
  EXPECT_THROW(vp::set_modem_value(phone(), "imei", kImei), Refused);
  EXPECT_THROW(vp::set_modem_value(phone(), "idde", std::string(2049, 'x')), Refused);
  vp::set_modem_value(phone(), "imei1", "bad");
  EXPECT_EQ("bad", ask(117).text()) << "a state that no write leads to";

  const auto other = directory() / "other";
  vp::create(other, "single", false);
  vp::Phone single(other);
  for (const auto& [name, value] : vp::modem_values(single)) {
    EXPECT_NO_THROW(vp::check_modem_value(name, value)) << name;
  }
}

/// A phone as its first version was made, with one item.
void make_phone_of_version_1(const std::filesystem::path& directory) {
  std::filesystem::create_directories(directory / "root");
  std::filesystem::create_directories(directory / "log");
  vp::Database database(directory / "phone.db", vp::Database::Survives::kill, true);
  database.execute(R"(
CREATE TABLE phone(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE build_property(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE property(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE item(number INTEGER PRIMARY KEY, value BLOB NOT NULL);
CREATE TABLE event(id INTEGER PRIMARY KEY, time_us INTEGER NOT NULL, kind TEXT NOT NULL,
                   detail TEXT NOT NULL);
CREATE TABLE fault(id INTEGER PRIMARY KEY AUTOINCREMENT, kind TEXT NOT NULL, target TEXT NOT NULL,
                   operation TEXT NOT NULL, effect TEXT NOT NULL, value INTEGER NOT NULL,
                   remaining INTEGER);
CREATE INDEX fault_target ON fault(kind, target);
INSERT INTO phone VALUES('profile', 'single');
INSERT INTO item VALUES(9, CAST('QV1' AS BLOB));
INSERT INTO fault VALUES(3, 'opcode', '119', 'any', 'fail', 9, 1);
PRAGMA application_id=1178818646;
PRAGMA user_version=1;
)");
}

TEST_F(VirtualModem, APhoneOfTheFirstVersionIsRaisedWhenItIsOpened) {
  const auto old = directory() / "old";
  make_phone_of_version_1(old);
  std::vector<std::thread> openers;
  for (int i = 0; i < 4; ++i) {
    openers.emplace_back([&] { EXPECT_NO_THROW(vp::Phone{old}) << "at once with the others"; });
  }
  for (std::thread& opener : openers) opener.join();
  vp::select(old);
  EXPECT_EQ(0, dmi_init());
  EXPECT_EQ("QV1", item_text(9));
  EXPECT_EQ(9, ask(119).code) << "a fault that was set on what is called a request now";
  EXPECT_EQ("IMEI READ ERROR :(", ask(119).text());
  EXPECT_EQ("IMEI WRITE OK", ask(116, kImei).text());
  EXPECT_EQ("1", ask(request::make_golden_copy).text()) << "a tree that nothing was ever in";
  EXPECT_EQ("NO SIM ERROR", ask(request::read_sim).text());
  vp::Database database(old / "phone.db", vp::Database::Survives::kill);
  vp::Query version = database.query("PRAGMA user_version");
  ASSERT_TRUE(version.step());
  EXPECT_EQ(vp::kPhoneVersion, version.number(0));
}

}  // namespace
}  // namespace fcx_test
