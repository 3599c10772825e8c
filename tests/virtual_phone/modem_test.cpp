// The bench's modem, asked over its direct interface as the library asks it.

#include <fcntl.h>

#include <cstring>

#include "platform/diag_packets.h"
#include "platform/modem_interface.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

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

TEST_F(VirtualModem, KeepsWhatItIsGiven) {
  const std::tuple<int32_t, int32_t, const char*, std::string, const char*> values[] = {
      {116, 117, "IMEI READ ERROR :(", kImei, "IMEI WRITE OK"},
      {118, 119, "IMEI READ ERROR :(", "490154203237526", "IMEI WRITE OK"},
      {120, 121, "IMEI READ ERROR :(", "000000000000000", "IMEI WRITE OK"},
      {203, 202, "", std::string(30, 'p'), "PID WRITE OK"},
      {114, 115, "PID2 READ ERROR", std::string(128, 'r'), "PID2 WRITE OK"},
      {128, 129, "SUFFIX READ ERROR", "AEUROP", "SUFFIX WRITE OK"},
      {149, 150, "GDEN READ ERROR", "g", "GDEN WRITE OK"},
      {152, 153, "RGRV READ ERROR", "r", "RGRV WRITE OK"},
      {101, 102, "IMPL READ ERROR", "1", "IMPL WRITE OK"},
      {108, 109, "FUSG READ ERROR", "1", "FUSG WRITE OK"},
      {105, 106, "IDDE READ ERROR", "record", "IDDE OK"}};
  for (const auto& [write, read, unread, value, done] : values) {
    EXPECT_EQ(unread, ask(read).text()) << read;
    EXPECT_EQ(done, ask(write, value).text()) << write;
  }
  const std::tuple<int32_t, std::vector<std::string>, std::string> writes[] = {
      {116, {"490154203237511"}, "CHECK DIGIT ERROR"},
      {116, {"49015420323751", "4901542032375180", "49015420323751A"}, "IMEI WRITE ERROR"},
      {116, {kImei + "\0"s}, "IMEI WRITE OK"},  // its NUL travels too
      {203, {std::string(31, 'p'), ""}, "PID WRITE ERROR"},
      {114, {std::string(129, 'r')}, "PID2 WRITE ERROR"},
      {148, {"1"}, "GDEN WRITE OK"},  // a value of its own
      {151, {"e"}, "EFSA WRITE OK"},
      {151, {"\0e"s}, "EFSA WRITE ERROR"},
      {105, {""}, "IDDE ERROR"},
      {610, {"\1"}, "\0"s},
      {610, {"\2"}, "\xFF"}};
  for (const auto& [number, payloads, answer] : writes) {
    for (const std::string& each : payloads)
      EXPECT_EQ(answer, ask(number, each).text()) << number << each;
  }
  for (const int32_t unknown : {100, -1}) EXPECT_EQ(2, ask(unknown).code) << unknown;
  for (const auto& [write, read, unread, value, done] : values) {
    EXPECT_EQ(value, ask(read).text()) << read;
  }
  for (const auto& [flag, kept] : {std::pair("10", "1"), {"no", "0"}}) {
    ask(101, flag);
    EXPECT_EQ(kept, ask(102).text());
  }
  EXPECT_EQ("1", modem("hardreset_enable"));
  set_modem("pid_supported", "0");
  EXPECT_EQ("code 2", ask(202).text());
  EXPECT_EQ("code 2", ask(203, "p").text());
}

TEST_F(VirtualModem, WhatItKeepsOutlivesAProcessAndARestart) {
  ask(request::write_imei, kImei);
  ask(request::send_bulk, "half a transfer");
  vp::Phone other(directory());
  EXPECT_EQ(kImei, vp::modem_value(other, "imei1"));
  ASSERT_EQ("1", ask(request::reset_modem).text());
  restart();
  EXPECT_EQ(kImei, ask(request::read_imei).text()) << "the reset ends with the restart";
  EXPECT_EQ("", ask(request::receive_bulk).text());
}

TEST_F(VirtualModem, BulkGoesBothWaysInPieces) {
  ask(154);
  EXPECT_EQ("", ask(155, std::string(255, 'a')).text());
  EXPECT_EQ("", ask(156).text()) << "not before the upload has ended";
  ask(155, "end");
  EXPECT_EQ(std::string(255, 'a'), ask(156).text());
  ask(155, "anew");
  EXPECT_EQ("anew", ask(156).text());

  ask(154);
  const std::string large(2048, 'l');
  for (size_t sent = 0; sent < 65536; sent += large.size()) ASSERT_EQ(0, ask(155, large).code);
  EXPECT_EQ(1, ask(155, "x").code);
  EXPECT_EQ(0, ask(155, "").code);
}

TEST_F(VirtualModem, AResetTakesFiveSeconds) {
  EXPECT_EQ("1", ask(214).text());
  EXPECT_EQ("0", ask(209).text());
  // Of 100 it does not even say that it knows no such request.
  for (const int32_t number : {214, 117, 100}) EXPECT_EQ(1, ask(number).code) << number;
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

TEST_F(VirtualModem, NvItemsAreAskedForByPackets) {
  vp::set_nv_item(phone(), 0x1234, {NvState::active, "abc"});
  const std::tuple<int32_t, std::string, std::string> steps[] = {
      {550, nv_packet(0x26, 0x1234), nv_data("abc", 0)},
      {550, nv_packet(0x26, 0x3412), ""},
      {551, nv_packet(0x27, 5, "new"), nv_data("new", 0)},
      {550, nv_packet(0x26, 5), nv_data("new", 0)},
      {550, nv_packet(0x27, 5), "code 1"},
      {551, nv_packet(0x26, 5), "code 1"},
      {550, nv_packet(0x26, 5).substr(1), "code 1"},
      {550, nv_packet(0x26, 5) + "x", "code 1"},
      {551, "", "code 1"}};
  for (const auto& [number, packet, answer] : steps) {
    EXPECT_EQ(answer, ask(number, packet).text()) << number << testing::PrintToString(packet);
  }
  request_fault(request::write_nv, Effect::refuse);
  EXPECT_EQ(nv_data("", 4), ask(551, nv_packet(0x27, 5, "x")).text());
  EXPECT_EQ("new", vp::nv_item(phone(), 5)->value.substr(0, 3));
  const std::string longer(129, 'f');
  EXPECT_THROW(vp::set_nv_item(phone(), 1, {NvState::active, longer}), Refused);
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
  int32_t result(const std::string& payload) {
    const std::string answer = ask(request::efs, payload).text();
    int32_t value = INT32_MIN;
    EXPECT_GE(answer.size(), sizeof value);
    memcpy(&value, answer.data(), sizeof value);
    return value;
  }
  int32_t open_file(std::string_view path, int flags, int mode = 0644) {
    return result(with_path(4, path).replace(132, 8, word(flags) + word(mode)));
  }
  int32_t unlink_file(std::string_view path) { return result(with_path(3, path)); }
  int32_t close_file(int32_t fd) { return result("\5xxx" + word(fd)); }
  int32_t read_from(int32_t fd, int32_t count) { return result("\6xxx" + word(fd) + word(count)); }
  int32_t write_to(int32_t fd, std::string bytes, int32_t count) {
    bytes.resize(2032, '\0');
    return result("\7xxx" + word(fd) + bytes + word(count));
  }
};

TEST_F(VirtualEfs, FilesAreRealOnes) {
  EXPECT_EQ(-ENOENT, open_file("/nv/a", O_RDONLY));
  const int32_t fd = open_file("/nv/sub//./a", O_RDWR | O_CREAT, 0);
  EXPECT_EQ(5, write_to(fd, "12345", 5));
  EXPECT_EQ(2032, write_to(fd, std::string(2032, 'w'), 2032));
  EXPECT_EQ(-EINVAL, write_to(fd, "", 2033));
  EXPECT_EQ(-EINVAL, write_to(fd, "", -1));
  EXPECT_EQ(0, close_file(fd));
  EXPECT_EQ(-EBADF, close_file(fd));
  EXPECT_EQ("12345" + std::string(2032, 'w'), read_file(directory() / "efs/nv/sub/a"));

  const int32_t again = open_file("nv/sub/a", O_RDONLY);
  EXPECT_EQ(2032, read_from(again, INT32_MAX)) << "no more than an answer holds";
  EXPECT_EQ(5, read_from(again, 9));
  EXPECT_EQ(-EINVAL, read_from(again, -1));
  EXPECT_EQ(-EBADF, write_to(again, "x", 1)) << "opened for reading";
  EXPECT_EQ(-EBADF, read_from(again + 1, 1));
  EXPECT_EQ(-EISDIR, open_file("/nv", O_RDONLY));
  EXPECT_EQ(-ENOTDIR, open_file("/nv/sub/a/b", O_RDONLY));
  EXPECT_EQ(-EEXIST, open_file("/nv/sub/a", O_RDWR | O_CREAT | O_EXCL));
  request_fault(request::efs, Effect::refuse);
  EXPECT_EQ(-EIO, unlink_file("/nv/sub/a"));
  clear_faults();
  EXPECT_EQ(0, unlink_file("/nv/sub/a"));
  EXPECT_EQ(-ENOENT, unlink_file("/nv/sub/a"));
  // Each operation with a byte less than it has, and what is none.
  for (const auto& [command, length] : {std::pair(3, 128), {4, 139}, {5, 7}, {6, 11}, {7, 2043}}) {
    EXPECT_EQ(-EINVAL, result(static_cast<char>(command) + std::string(length - 1, 'a')))
        << command;
  }
  for (const char* none : {"\1", ""}) EXPECT_EQ(-EINVAL, result(none));
}

TEST_F(VirtualEfs, NothingLeadsOutOfTheTree) {
  write_file(directory() / "secret", "s");
  fs::create_symlink(directory(), directory() / "efs/out");
  fs::create_symlink(directory() / "secret", directory() / "efs/link");
  for (const char* path : {"../secret", "/../secret", "a/../../secret", "..", "out/secret", "link",
                           "out/new/file", "out/..", "nv/.."}) {
    EXPECT_EQ(-EACCES, open_file(path, O_RDWR)) << path;
    EXPECT_EQ(-EACCES, open_file(path, O_RDWR | O_CREAT | O_TRUNC)) << path;
    if (path == std::string_view("link")) continue;  // itself in the tree, and may go
    EXPECT_EQ(-EACCES, unlink_file(path)) << path;
  }
  EXPECT_EQ("s", read_file(directory() / "secret"));
  EXPECT_FALSE(fs::exists(directory() / "new"));
  EXPECT_EQ(-EISDIR, open_file("/", O_RDONLY));
  EXPECT_EQ(-ENOENT, open_file("", O_RDONLY));
  EXPECT_GT(open_file("/etc/passwd", O_RDWR | O_CREAT), 0) << "its own, not the host's";
  EXPECT_EQ("", read_file(directory() / "efs/etc/passwd"));
  const std::string longest = "/" + std::string(60, 'd') + "/" + std::string(66, 'f');
  ASSERT_EQ(128U, longest.size());
  EXPECT_GT(open_file(longest, O_WRONLY | O_CREAT), 0) << "no NUL fits after it";
  EXPECT_TRUE(fs::exists(directory() / ("efs" + longest)));
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
  fs::rename(directory() / "efs/a", directory() / "efs/b");
  EXPECT_EQ("1", ask(request::make_golden_copy).text());
  EXPECT_EQ("2", read_file(directory() / "efs-golden/b"));
  EXPECT_FALSE(fs::exists(directory() / "efs-golden/a"));
  request_fault(request::make_golden_copy, Effect::refuse);
  fs::remove(directory() / "efs/b");
  EXPECT_EQ("0", ask(request::make_golden_copy).text());
  EXPECT_TRUE(fs::exists(directory() / "efs-golden/b")) << "nothing was done";
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
  EXPECT_EQ(0, dmi_release());
  EXPECT_EQ(1, ask(request::read_imei).code);
  for (const int length : {0, -1}) EXPECT_EQ(nullptr, diagpkt_alloc(0x26, length)) << length;
}

TEST_F(VirtualModem, FaultsSpoilAnswersAsTheySay) {
  const std::string done = "IMEI WRITE OK";
  const std::tuple<Effect, int64_t, std::string, bool> cases[] = {
      {Effect::fail, -1, "code -1", false},
      {Effect::refuse, 0, "IMEI WRITE ERROR", false},
      {Effect::late, 1000, done, true},
      {Effect::status, 9, done, true},
      {Effect::shorter, 99, done, true},
      {Effect::longer, 12, done, true},
      {Effect::longer, 15, done + "XX", true},
      {Effect::garbage, 0xFF, std::string(13, '\xFF'), true}};
  for (const auto& [effect, value, expected, is_stored] : cases) {
    SCOPED_TRACE(vp::name_of(effect) + std::to_string(value));
    vp::remove_modem_value(phone(), "imei1");
    fault(Part::request, "116", effect, value, Access::any, 1);
    const Answer answer = ask(116, kImei);
    EXPECT_EQ(expected, answer.text());
    EXPECT_EQ(effect == Effect::status ? 9 : 0, answer.response.reserved);
    EXPECT_EQ(is_stored ? kImei : "(none)", modem("imei1"));
    EXPECT_EQ(done, ask(116, kImei).text()) << "struck once";
  }
}

TEST_F(VirtualModem, TheLast200RequestsAreRecordedAsTheyWere) {
  const int64_t before = vp::now_us();
  ask(100, "x");
  request_fault(200, Effect::longer, 3000);
  ask(200);
  for (int i = 0; i < 199; ++i) ask(100, "x");
  const auto kept = requests();
  ASSERT_THAT(kept, SizeIs(200));
  EXPECT_GE(kept[0].time_us, before);
  EXPECT_EQ(200, kept[0].number);
  EXPECT_EQ(3000, kept[0].answer_length);
  EXPECT_EQ(2048U, kept[0].answer.size()) << "what arrived";
  EXPECT_EQ("x", kept[1].payload);
  EXPECT_EQ(2, kept[1].code);
}

TEST_F(VirtualModem, TwoRequestsAtOnceAreSeen) {
  fault(Part::request, "209", Effect::late, 500'000, Access::any, 1);
  std::thread slow([] { ask(209); });
  EXPECT_TRUE(eventually([&] { return vp::faults(phone()).empty(); }));  // on its way, and late
  ask(200);
  slow.join();
  ask(200);
  std::string overlapped;
  for (const auto& request : requests()) overlapped += request.overlapped ? "o" : "-";
  EXPECT_EQ("oo-", overlapped);
}

TEST_F(VirtualModem, ValuesAreChecked) {
  const std::tuple<const char*, std::string, const char*> refused[] = {
      {"imei1", "490154203237511", "check digit is 8, not 1"},
      {"imei1", "49015420323751", "an IMEI has 15 digits"},
      {"imei2", "49015420323752A", "an IMEI has 15 digits"},
      {"impl", "2", "is a flag"},
      {"pid", "", "has 1 to 30 bytes, not 0"},
      {"pid", std::string(31, 'p'), "has 1 to 30 bytes, not 31"},
      {"imei", kImei, "no value"}};
  for (const auto& row : refused) {
    EXPECT_THAT([&] { vp::check_modem_value(std::get<0>(row), std::get<1>(row)); },
                ThrowsMessage<Refused>(HasSubstr(std::get<2>(row))))
        << std::get<0>(row) << " " << std::get<1>(row);
  }
  EXPECT_THROW(set_modem("imei", kImei), Refused);
  EXPECT_THROW(set_modem("idde", std::string(2049, 'x')), Refused);
  set_modem("imei1", "bad");
  EXPECT_EQ("bad", ask(117).text()) << "a state that no write leads to";

  vp::create(directory(), "single", true);
  vp::Phone single(directory());
  for (const auto& [name, value] : vp::modem_values(single)) {
    EXPECT_NO_THROW(vp::check_modem_value(name, value)) << name;
  }
  EXPECT_NO_THROW(vp::check_iccid(vp::sim(single).iccid));
}

/// A phone as its first version was made, with one item.
void make_phone_of_version_1(const fs::path& directory) {
  for (const char* part : {"root", "log"}) fs::create_directories(directory / part);
  vp::Database(directory / "phone.db", vp::Database::Survives::kill, true).execute(R"(
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
}

}  // namespace
}  // namespace fcx_test
