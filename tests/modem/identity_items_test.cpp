// What the modem keeps of the identity, and its copies among the factory items.
#include "fcx/identity_items.h"

#include "fcx/network_code.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

class IdentityItems : public PhoneTest {
 protected:
  using Answer = std::pair<unsigned, std::string>;  // code and text

  template <typename Function, typename... Number>
  Answer call(Function function, std::string sent, Number... number) {
    std::vector<char> answer(QVCMD_DATA_SIZE, '#');
    int length = 0;
    const unsigned code =
        function(number..., sent.data(), static_cast<short>(sent.size()), answer.data(), &length);
    return {code, std::string(answer.data(), static_cast<size_t>(std::max(length, 0)))};
  }
};

TEST_F(IdentityItems, EveryFunctionSendsItsRequestAndNeedsItsPointers) {
  using Form = unsigned (*)(char*, short, char*, int*);
  enum Needs { both, needs_data, needs_answer };
  const std::tuple<Form, int, Needs> cases[] = {
      {write_qve_impl, 101, both},       {read_qve_impl, 102, both},
      {write_qve_idde, 105, both},       {read_qve_idde, 106, both},
      {write_qve_fusg, 108, both},       {read_qve_fusg, 109, both},
      {write_qve_pid2, 114, both},       {read_qve_pid2, 115, both},
      {write_qve_suffix, 128, both},     {read_qve_suffix, 129, both},
      {write_qve_gden_flag, 148, both},  {write_qve_gden, 149, both},
      {read_qve_gden, 150, both},        {write_qve_efsa, 151, both},
      {write_qve_rgrv, 152, both},       {read_qve_rgrv, 153, both},
      {read_qve_pid, 202, needs_answer}, {write_qve_pid, 203, needs_data}};
  char data[] = "1";
  char answer[QVCMD_DATA_SIZE];
  for (const auto& [function, number, needs] : cases) {
    SCOPED_TRACE(number);
    request_fault(number, Effect::fail, 1);
    int length = 0;
    EXPECT_EQ(1U, function(data, 1, answer, &length)) << "the link's code";
    EXPECT_EQ(-1, length);
    auto sent = requests();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(number, sent[0].number);
    EXPECT_EQ("1", sent[0].payload);
    // The same code, without anything sent.
    EXPECT_EQ(1U, function(nullptr, 1, answer, nullptr));
    EXPECT_THAT(requests(), SizeIs(needs == needs_answer ? 1 : 0));
    EXPECT_EQ(1U, function(data, 1, nullptr, nullptr));
    EXPECT_THAT(requests(), SizeIs(needs == needs_data ? 1 : 0));
  }
  lines();
  for (char* given : {data, static_cast<char*>(nullptr)}) {
    char* const other = given == nullptr ? answer : nullptr;
    EXPECT_EQ(1U, write_qve_imei(116, given, 1, other, nullptr));
    EXPECT_EQ(1U, read_qve_imei(117, given, 0, other, nullptr));
    EXPECT_EQ(1U, read_qve_ntcode(given, 0, other, nullptr));
  }
  for (const auto read : {read_qve_meid, read_qve_pesn}) EXPECT_EQ(1U, read(nullptr, nullptr));
  for (const auto exchange : {write_pid, read_pid}) EXPECT_EQ(1, exchange(nullptr));
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(IdentityItems, AnAcceptedImeiIsMirrored) {
  set_item(item::imei, "old IMEI with a tail");
  EXPECT_EQ(Answer(0, "IMEI WRITE OK"), call(write_qve_imei, kImei, 116));
  EXPECT_EQ(std::string(kImei) + std::string(5, '\0'), item(item::imei, 20));
  EXPECT_EQ("I Fcx: **SET FTM_ITEM - IMEI**\n", lines().back());
  // No length is wanted; as many bytes as were sent, whatever stands after them; and the answer may
  // come to where the IMEI was.
  char sent[QVCMD_DATA_SIZE] = "490154203237518after";
  char other[QVCMD_DATA_SIZE];
  for (char* answer : {other, sent}) {
    set_item(item::imei, "");
    EXPECT_EQ(0U, write_qve_imei(116, sent, 15, answer, nullptr));
    EXPECT_EQ(kImei, item_text(item::imei)) << (answer == sent);
  }
  item_fails(item::imei);
  EXPECT_EQ(0U, call(write_qve_imei, kImei, 116).first);
  EXPECT_EQ("E Fcx: item 13 cannot be written\n", lines().back());
}

TEST_F(IdentityItems, WhatTheModemDidNotAcceptIsNotMirrored) {
  const std::tuple<int, std::string, Answer> cases[] = {
      {116, "490154203237517", {0, "CHECK DIGIT ERROR"}},
      {116, "49015420323751", {0, "IMEI WRITE ERROR"}},
      {118, kImei, {0, "IMEI WRITE OK"}},  // another slot's
      {120, kImei, {0, "IMEI WRITE OK"}},
      {994, kImei, {2, ""}}};
  set_item(item::imei, "old");
  for (const auto& [number, imei, answer] : cases) {
    EXPECT_EQ(answer, call(write_qve_imei, imei, number)) << number;
    EXPECT_EQ("old", item_text(item::imei)) << number << imei;
  }
  EXPECT_EQ("I Fcx: Cannot get response. Return error:2\n", lines().back());
}

TEST_F(IdentityItems, AnOldAnswerInTheBufferNeverCounts) {
  std::string imei = kImei;
  char answer[QVCMD_DATA_SIZE] = "IMEI WRITE OK";
  set_item(item::imei, "old");
  int length = 13;
  for (const auto& [effect, value] :
       {std::pair{Effect::empty, 0}, {Effect::shorter, 12}, {Effect::fail, 1}}) {
    request_fault(116, effect, value);
    write_qve_imei(116, imei.data(), 15, answer, &length);
    EXPECT_EQ("old", item_text(item::imei)) << vp::name_of(effect);
    clear_faults();
  }
}

TEST_F(IdentityItems, EachSlotHasItsImei) {
  set_modem("imei2", "490154203237526");
  EXPECT_EQ(Answer(0, "490154203237526"), call(read_qve_imei, "", 119));
  lines();
  EXPECT_EQ(Answer(0, "IMEI READ ERROR :("), call(read_qve_imei, "", 121));
  EXPECT_EQ("I Fcx: [PERSO]: id= 121", lines().front());
}

TEST_F(IdentityItems, TheCheckDigit) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"000000000000000", 0, "000000000000005"},  // characters that are no digits yet
      {"490154203237518", 14, "490154203237518"}, {"490154203237510", 15, "490154203237518"},
      {"49015420323751?", 14, "490154203237518"}, {"000000000000009", 14, "000000000000000"},
      {"100000000000008", 14, "100000000000009"}, {"050000000000000", 14, "050000000000009"},
      {"999999999999990", 14, "999999999999994"}, {"490154203237518", 100, "490154203237518"}};
  for (const auto& [given, len, expected] : cases) {
    std::vector<char> imei(given, given + 16);
    make_imei_chksum(imei.data(), len);
    EXPECT_STREQ(expected, imei.data()) << given;
  }
  std::vector<char> body(15);  // no terminator is written: an address check sees it
  std::string("49015420323751").copy(body.data(), 14);
  make_imei_chksum(body.data(), 14);
  EXPECT_EQ('8', body[14]);
  make_imei_chksum(nullptr, 14);
  char longer[] = "4901542032375180";
  EXPECT_DEATH(make_imei_chksum(longer, 14), "") << "more than 15 characters";
}

TEST_F(IdentityItems, BootChecksAlignTheItemsWithTheModem) {
  const auto item_after = [this](void (*check)(), int index) {
    check();
    clear_faults();
    return item(index, 20);
  };
  for (const auto& [check, value, index, number] :
       {std::tuple(&imei_check_on_boot, "imei1", item::imei, 117),
        {meid_check_on_boot, "meid", item::meid, 157}}) {
    SCOPED_TRACE(value);
    set_modem(value, kImei);
    set_item(index, std::string("490154203237517\0tail", 20));
    EXPECT_EQ(kImei + std::string(5, '\0'), item_after(check, index));
    // Compared as far as the modem answers: what stands after it in the item stays.
    set_item(index, "490154203237518more");
    EXPECT_EQ("490154203237518more" + std::string(1, '\0'), item_after(check, index));
    request_fault(number, Effect::longer, 2000);
    EXPECT_EQ("490154203237518XXXXX", item_after(check, index)) << "what fits";
    request_fault(number, Effect::fail, 1);
    EXPECT_EQ("490154203237518XXXXX", item_after(check, index));
    EXPECT_EQ("I Fcx: Cannot get " + std::string(value, 4) + " from nv. 1\n", lines().back());
  }
}

TEST_F(IdentityItems, AnErrorTextIsNoImei) {
  set_item(item::imei, kImei);
  for (const int length : {18, 20}) {
    request_fault(117, Effect::longer, length);
    imei_check_on_boot();
    EXPECT_EQ("I Fcx: Cannot get imei from nv. 1\n", lines().back()) << length;
    EXPECT_EQ(kImei, item_text(item::imei)) << length;
    clear_faults();
  }
}

TEST_F(IdentityItems, AnErrorTextIsToldFromAnIdentity) {
  const auto is_error = [](const Answer& answer) {
    return fcx::is_modem_error_text(answer.second.data(), static_cast<int>(answer.second.size()));
  };
  // What the modem answers when it has nothing, and when somebody has written the longest record.
  using Form = unsigned (*)(char*, short, char*, int*);
  const std::tuple<const char*, Form, Form> cases[] = {
      {"IMPL READ ERROR", write_qve_impl, read_qve_impl},
      {"IDDE READ ERROR", write_qve_idde, read_qve_idde},
      {"FUSG READ ERROR", write_qve_fusg, read_qve_fusg},
      {"PID2 READ ERROR", write_qve_pid2, read_qve_pid2},
      {"SUFFIX READ ERROR", write_qve_suffix, read_qve_suffix},
      {"GDEN READ ERROR", write_qve_gden, read_qve_gden},
      {"RGRV READ ERROR", write_qve_rgrv, read_qve_rgrv}};
  for (const auto& [error, write, read] : cases) {
    EXPECT_TRUE(is_error(call(write, ""))) << error;
    EXPECT_EQ(Answer(0, error), call(read, ""));
    EXPECT_TRUE(is_error(call(read, ""))) << error;
    EXPECT_FALSE(is_error(call(write, "1234567890ABCDEF"))) << error;
    EXPECT_FALSE(is_error(call(read, ""))) << error;
  }
  for (const int slot : {116, 118, 120}) {
    EXPECT_TRUE(is_error(call(read_qve_imei, "", slot + 1))) << slot;
    EXPECT_TRUE(is_error(call(write_qve_imei, "490154203237517", slot))) << slot;
    EXPECT_TRUE(is_error(call(write_qve_imei, "", slot))) << slot;
    EXPECT_FALSE(is_error(call(write_qve_imei, kImei, slot))) << slot;
    EXPECT_FALSE(is_error(call(read_qve_imei, "", slot + 1))) << slot;
  }
  for (const auto& [text, is_one] : {std::pair("NO SIM ERROR"sv, true),
                                     {"NO SIM READ ERROR"sv, true},
                                     {"NOT YET"sv, true},
                                     {"TYPE READ ERROR"sv, true},
                                     {"NTCODE READ ERROR 1"sv, true},
                                     {"CHECK DIGIT ERROR!"sv, true},
                                     {"IDDE ERROR\0old"sv, true},
                                     {"\xFF"sv, true},
                                     {"\xFF\xFF"sv, false},
                                     {"IMEI READ ERRO"sv, false},
                                     {"IMEI ERRATIC"sv, false},
                                     {"NOT YE"sv, false},
                                     {"PID3 READ ERROR"sv, false},
                                     {" IMEI READ ERROR"sv, false},
                                     {"ERROR"sv, false},
                                     {"A0000012345678"sv, false},
                                     {"89499770000000008157"sv, false},
                                     {""sv, false}}) {
    EXPECT_EQ(is_one, is_error({0, std::string(text)})) << text;
  }
  for (const int length : {0, -1, INT32_MIN}) {
    EXPECT_FALSE(fcx::is_modem_error_text("NOT YET", length)) << length;
  }
  EXPECT_FALSE(fcx::is_modem_error_text("NOT YET", 6)) << "as far as the length says";
  EXPECT_FALSE(fcx::is_modem_error_text("NOT YE", 2048)) << "and no further than the NUL";
  EXPECT_FALSE(fcx::is_modem_error_text(nullptr, 7));
}

TEST_F(IdentityItems, ThePidComesFromTheModemOrElseFromTheItem) {
  std::vector<char> out(QVCMD_DATA_SIZE, '#');
  set_modem("pid", "PID-M");
  set_item(item::pid, "PIDF");
  EXPECT_EQ(0, read_pid(out.data()));
  EXPECT_STREQ("PID-M", out.data());
  set_modem("pid_supported", "0");
  lines();
  EXPECT_EQ(2, read_pid(out.data())) << "on purpose: it came from the item";
  EXPECT_STREQ("PIDF", out.data());
  const auto written = lines();
  EXPECT_EQ("I Fcx: read_pid: NOT SUPPORTED", written[written.size() - 2]);
  EXPECT_EQ("E Fcx: Cannot get response. Return error:2,rsp_len=4\n", written.back());
  item_fails(item::pid);
  EXPECT_EQ(1, read_pid(out.data()));
  EXPECT_EQ("E Fcx: Cannot get pid in FTM.\n", lines().back());
  service_fault("dmi", Effect::absent);
  EXPECT_EQ(1, read_pid(out.data()));
  EXPECT_EQ("E Fcx: Cannot get response. Return error:1,rsp_len=-1\n", lines().back());
}

TEST_F(IdentityItems, ThePidIsStoredInTheItemUnlessTheModemFailed) {
  char pid[] = "PID-1";
  const auto expect_write = [&](int code, const char* stored, const char* line) {
    SCOPED_TRACE(line);
    EXPECT_EQ(code, write_pid(pid));
    EXPECT_EQ("PID-1", requests().back().payload);
    EXPECT_EQ(stored, item_text(item::pid));
    EXPECT_EQ(line, lines().back());
    clear_faults();
    set_item(item::pid, "old--");
  };
  expect_write(0, "PID-1", "I Fcx: [NV]write_pid ret=0, & Deault save to FTM");
  set_modem("pid_supported", "0");
  expect_write(2, "PID-1", "I Fcx: [NV]write_pid ret=2, & Deault save to FTM");
  item_fails(item::pid);
  expect_write(1, "old--", "E Fcx: Cannot set pid in FTM.\n");
  request_fault(203, Effect::fail, 1);
  expect_write(1, "old--", "I Fcx: Cannot get response. Return error:1\n");
}

TEST_F(IdentityItems, AnAcceptedIddeResetsTheIdentity) {
  set_modem("imei1", kImei);
  set_item(item::serial_number, "QV2006A00123");
  set_ntcode("\"1\",\"310,410\"", 13);
  set_property("persist.vendor.qve.mccmnc-list", "310410");
  lines();
  EXPECT_EQ(Answer(0, "IDDE OK"), call(write_qve_idde, "record"));
  EXPECT_EQ("I Fcx: IDDE response: IDDE OK size:7\n", lines()[6]);
  EXPECT_EQ(std::string("\x02\xFC\x0A\0\0\0", 6), item(item::bt_address, 6));
  EXPECT_EQ("", item_text(item::network_code));
  EXPECT_EQ(kImei, item_text(item::imei));
  EXPECT_EQ("", property("persist.vendor.qve.mcc-list")) << "\"0\" first, then emptied";
  EXPECT_EQ("", property("persist.vendor.qve.mccmnc-list"));
  EXPECT_EQ("3", property("persist.vendor.qve.ntcode-changed"));
  EXPECT_EQ("\"0\",\"FFF,FFF,FFFFFFFF,FFFFFFFF,FF\"", property("persist.vendor.qve.tavrin.ntcode"));
}

// Seen while the boot check waits for the modem: what comes before it, and what after.
TEST_F(IdentityItems, AnIddeResetKeepsItsOrder) {
  set_property("persist.vendor.qve.mccmnc-list", "310410");
  request_fault(117, Effect::late, 1000);
  vp::set_clock(vp::Clock::stopped);
  std::thread writer([this] { call(write_qve_idde, "record"); });
  EXPECT_TRUE(eventually([&] { return property("persist.vendor.qve.mcc-list") == "0"; }));
  EXPECT_EQ("0", item_text(item::serial_number));
  EXPECT_EQ("310410", property("persist.vendor.qve.mccmnc-list"));
  EXPECT_EQ("(not set)", property("persist.vendor.qve.ntcode-changed"));
  vp::set_clock(vp::Clock::fast);
  writer.join();
}

TEST_F(IdentityItems, AResetSerialNumberIsAsLongAsTheOldOne) {
  for (const auto& [old, zeros] :
       {std::pair{"", "0"}, {"A", "0"}, {"ABC", "000"}, {"ABCDEFGHIJKL", "000000000000"}}) {
    set_item(item::serial_number, std::string(12, '\0'));
    set_item(item::serial_number, old);
    call(write_qve_idde, "record");
    EXPECT_EQ(zeros, item_text(item::serial_number)) << old;
  }
  fault(Part::item, "9", Effect::fail, -1, Access::read);
  lines();
  call(write_qve_idde, "record");
  EXPECT_THAT(lines(), testing::Contains("E Fcx: item 9 cannot be read\n"));
}

TEST_F(IdentityItems, AnIddeThatIsNotAcceptedChangesNothing) {
  set_item(item::serial_number, "QV2006A00123");
  const std::tuple<Effect, int, unsigned> cases[] = {
      {Effect::refuse, 0, 0}, {Effect::empty, 0, 0}, {Effect::shorter, 6, 0}, {Effect::fail, 2, 2}};
  for (const auto& [effect, value, code] : cases) {
    SCOPED_TRACE(vp::name_of(effect));
    request_fault(105, effect, value);
    EXPECT_EQ(code, call(write_qve_idde, "record").first);
    EXPECT_THAT(lines().back(), testing::StartsWith("I Fcx: IDDE response: "));
    EXPECT_EQ(std::string(6, '\0'), item(item::bt_address, 6));
    clear_faults();
  }
  fault(Part::item, "8", Effect::fail, -1, Access::write);
  EXPECT_EQ(1U, call(write_qve_idde, "record").first) << "without the Bluetooth address it ends";
  EXPECT_EQ("E Fcx: item 8 cannot be written\n", lines().back());
  EXPECT_EQ("QV2006A00123", item_text(item::serial_number));
  EXPECT_EQ("(not set)", property("persist.vendor.qve.ntcode-changed"));
}

TEST_F(IdentityItems, TheNetworkCodeListComesInPieces) {
  for (const size_t length : {0, 10, 255, 600, 2048}) {
    SCOPED_TRACE(length);
    const std::string list(length, 'n');
    EXPECT_EQ(0, set_ntcode(list.data(), static_cast<int>(length)));
    requests();
    EXPECT_EQ(Answer(length == 0 ? 1 : 0, list), call(read_qve_ntcode, ""));
    const auto sent = requests();
    EXPECT_EQ(154, sent[0].number);
    EXPECT_EQ(127, sent[1].number);
    EXPECT_THAT(sent, SizeIs(3 + length / 255));
  }
  // Never says more than its buffer holds; no length is wanted.
  request_fault(127, Effect::longer, 2048);
  EXPECT_EQ(Answer(0, std::string(2048, 'n')), call(read_qve_ntcode, ""));
  char request[1], answer[QVCMD_DATA_SIZE];
  EXPECT_EQ(0U, read_qve_ntcode(request, 0, answer, nullptr));
}

TEST_F(IdentityItems, ANetworkCodeListThatFailsSaysWhere) {
  for (const auto& [number, function] : {std::pair{154, "request_to_system"},
                                         {127, "request_to_system"},
                                         {156, "receive_modem_data"}}) {
    request_fault(number, Effect::fail, 2);
    EXPECT_EQ(2U, call(read_qve_ntcode, "").first) << number;
    EXPECT_EQ(std::string("I Fcx: ") + function + ". Return error:2\n", lines().back()) << number;
    clear_faults();
  }
}

TEST_F(IdentityItems, ANetworkCodeListIsStoredWhole) {
  std::vector<char> out(2048, '#');
  EXPECT_EQ(0, set_ntcode("long list", 9));
  EXPECT_EQ(0, set_ntcode("list", 4));
  EXPECT_EQ(0, get_ntcode(out.data()));
  EXPECT_EQ(std::string("list") + std::string(2044, '\0'), std::string(out.begin(), out.end()));
  EXPECT_EQ(-1, set_ntcode(nullptr, 0));
  EXPECT_EQ(-1, set_ntcode("x", -1));
  EXPECT_EQ(-1, set_ntcode(out.data(), 2049));
  EXPECT_EQ(-1, get_ntcode(nullptr));
  item_fails(item::network_code);
  EXPECT_EQ(-1, set_ntcode("x", 1));
  EXPECT_EQ(-1, get_ntcode(out.data()));
  EXPECT_STREQ("list", out.data());
}

}  // namespace
}  // namespace fcx_test
