// The command entry: which opcode reaches what, and what it leaves alone.
#include <cstdlib>
#include <limits>
#include <memory>
#include <set>

#include "fcx/command_table.h"
#include "fcx/service_handler.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Dispatch : public PhoneTest {};

TEST_F(Dispatch, UnknownOpcodesLeaveTheResponseUntouched) {
  const int32_t unknown[] = {std::numeric_limits<int32_t>::min(),
                             -1,
                             0,
                             3169,
                             3172,
                             3199,
                             3202,
                             4000,
                             4006,
                             4008,
                             4009,
                             4014,
                             4022,
                             4023,
                             4026,
                             4029,
                             4035,
                             4041,
                             4057,
                             4067,
                             4070,
                             4082,
                             4179,
                             4181,
                             4214,
                             4233,
                             4260,
                             4267,
                             4299,
                             4396,
                             4399,
                             4403,
                             4423,
                             std::numeric_limits<int32_t>::max()};
  for (const int32_t opcode : unknown) {
    EXPECT_THAT(send_unclean(opcode, "1"), IsUntouched()) << opcode;
    EXPECT_THAT(log(), ElementsAre("service_handler: opcode = " + std::to_string(opcode) + "\n"));
  }
  EXPECT_THAT(events(), IsEmpty());
}

TEST_F(Dispatch, ThePoolIsPreparedForExactlyItsOpcodes) {
  const std::set<int32_t> with_pool = {4005, 4020, 4021, 4030, 4031, 4032, 4033, 4034, 4040, 4056,
                                       4059, 4242, 4243, 4258, 4259, 4293, 4294, 4420, 4421, 4422};
  const std::string line = "[init_modem_interface] configureRpcThreadpool\n";
  for (int32_t opcode = 3100; opcode < 4500; ++opcode) {
    send(opcode);
    const auto messages = log();
    const auto prepared = std::count(messages.begin(), messages.end(), line);
    EXPECT_EQ(with_pool.count(opcode), static_cast<size_t>(prepared)) << opcode;
  }
  EXPECT_THAT(events(), testing::AllOf(SizeIs(with_pool.size()),
                                       testing::Each("rpc_threadpool: 5 threads, caller joins")));
  send(4056);
  EXPECT_THAT(events(), SizeIs(with_pool.size() + 1)) << "not remembered";
}

TEST_F(Dispatch, PoolOnlyOpcodesDoNothingElse) {
  for (const int32_t opcode : {4056, 4242, 4243, 4258, 4259}) {
    EXPECT_THAT(send_unclean(opcode, "1"), IsUntouched()) << opcode;
    EXPECT_THAT(log(), SizeIs(2));
  }
}

TEST_F(Dispatch, WhatIsNotAvailableFailsAndSaysSo) {
  for (const fcx::Command& row : fcx::command_table()) {
    if (fcx::is_available(row)) continue;
    const qvcmd_response response = send(row.opcode, "1");
    EXPECT_THAT(response, Answers(QVCMD_FAIL, "")) << row.opcode;
    const auto written = entries();
    EXPECT_THAT(written.back().message, HasSubstr("not available")) << row.opcode;
    EXPECT_EQ(6, written.back().priority);
  }
}

TEST_F(Dispatch, SomeOpcodesAnnounceThemselvesAfterThePool) {
  const struct {
    int32_t opcode;
    const char* line;
    size_t position;
  } cases[] = {
      {4293, "QVCMD_MODEM_WRITE_IMEI", 2},
      {4294, "QVCMD_MODEM_READ_IMEI", 2},
      {4415, "QVCMD_MODEM_MBN_DEACTIVATION(4415)", 1},
      {4420, "service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = 4420\n", 2},
      {4421, "service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = 4421\n", 2},
      {4422, "service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = 4422\n", 2},
  };
  for (const auto& c : cases) {
    send(c.opcode);
    EXPECT_EQ(c.line, log().at(c.position)) << c.opcode;
  }
}

TEST_F(Dispatch, LogsToTheSystemBufferAsDiagLib) {
  send(4010);
  const auto written = entries();
  ASSERT_THAT(written, SizeIs(2));
  for (const auto& entry : written) {
    EXPECT_EQ(3, entry.buffer);
    EXPECT_EQ(4, entry.priority);
    EXPECT_EQ("Diag_Lib", entry.tag);
  }
  EXPECT_EQ("service_handler: opcode = 4010\n", written[0].message);
}

TEST_F(Dispatch, ANullRecordIsAnErrorLineAndNothingElse) {
  qvcmd_request request{4018, 3, "123"};
  qvcmd_response response{};
  EXPECT_EQ(0, service_handler(nullptr, &response));
  EXPECT_EQ(0, service_handler(&request, nullptr));
  EXPECT_EQ(0, service_handler(nullptr, nullptr));
  const auto written = entries();
  ASSERT_THAT(written, SizeIs(3));
  for (const auto& entry : written) EXPECT_EQ(6, entry.priority);
  EXPECT_EQ("", item_text(37));
}

TEST_F(Dispatch, AnEmptyPayloadReadsAndTextWrites) {
  EXPECT_THAT(send(4018), Answers(QVCMD_OK, "000000000000000"));
  EXPECT_THAT(send(4018, "CSN1"), Answers(QVCMD_OK, ""));
  EXPECT_EQ("CSN1", item_text(37));
  EXPECT_THAT(send(4018, std::string_view("\0CSN2", 5)), Answers(QVCMD_OK, "CSN1"));
}

// The records below end where the caller's memory ends: an address check sees every byte beyond.
TEST_F(Dispatch, ARequestMayEndBehindItsText) {
  for (const fcx::Command& row : fcx::command_table()) {
    for (const std::string text : {"", "1", "o", "0000/00/00 00:00:00"}) {
      const size_t size = offsetof(qvcmd_request, data) + text.size() + 1;
      const std::unique_ptr<void, decltype(&free)> memory(malloc(size), free);
      auto* request = static_cast<qvcmd_request*>(memory.get());
      request->opcode = row.opcode;
      request->data_len = static_cast<int32_t>(text.size());
      memcpy(request->data, text.c_str(), text.size() + 1);
      qvcmd_response response{};
      EXPECT_EQ(0, service_handler(request, &response));
    }
  }
}

TEST_F(Dispatch, APayloadWithoutATerminatorEndsAt2048) {
  const std::string full(QVCMD_DATA_SIZE, 'o');
  for (const fcx::Command& row : fcx::command_table()) {
    for (const int32_t data_len :
         {std::numeric_limits<int32_t>::min(), -1, 2048, 2049, 0x7FFFFFFF}) {
      const auto request = std::make_unique<qvcmd_request>();
      request->opcode = row.opcode;
      request->data_len = data_len;
      full.copy(request->data, full.size());
      const auto response = std::make_unique<qvcmd_response>();
      EXPECT_EQ(0, service_handler(request.get(), response.get()));
      EXPECT_GE(response->data_len, 0) << row.opcode;
      EXPECT_LT(response->data_len, 2048) << row.opcode;
    }
  }
  EXPECT_EQ(std::string(16, 'o'), item(37, 17).c_str()) << "the CSN, cut at its length";
}

}  // namespace
}  // namespace fcx_test
