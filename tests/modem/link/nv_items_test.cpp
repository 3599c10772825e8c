// NV items by diagnostic packets.
#include "fcx/modem_nv.h"

#include <unistd.h>

#include <array>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr uint16_t kItem = 0x1234;
constexpr int kReadNv = 550;
constexpr int kWriteNv = 551;

class NvItems : public PhoneTest {
 protected:
  using Bytes = std::array<uint8_t, 128>;

  static Bytes filled(uint8_t byte) {
    Bytes bytes;
    bytes.fill(byte);
    return bytes;
  }
};

// The first test, each case in a process of its own: one that has its packets keeps them.
TEST_F(NvItems, WithoutAPacketNothingIsSent) {
  const auto ask_without = [this](int packets) {
    vp::select(directory());
    requests();
    fault(Part::service, "diag", Effect::absent, 0, Access::any, {}, packets + 1);
    Bytes bytes = filled(0);
    EXPECT_EQ(-1, qve_diag_nvread(kItem, bytes.data()));
    EXPECT_EQ(-1, qve_diag_nvwrite(kItem, bytes.data()));
    EXPECT_THAT(requests(), SizeIs(0));
    clear_faults();
    EXPECT_EQ(0, qve_diag_nvwrite(kItem, bytes.data())) << "asked for again";
    _exit(HasFailure() ? 1 : 0);
  };
  for (const int packets : {0, 1}) {
    EXPECT_EXIT(ask_without(packets), testing::ExitedWithCode(0), "") << packets << " there are";
  }
}

TEST_F(NvItems, PacketsAreBytesAsTheModemWantsThem) {
  Bytes bytes = filled(0x77);
  EXPECT_EQ(0, qve_diag_nvwrite(kItem, bytes.data()));
  EXPECT_EQ(0, qve_diag_nvread(kItem, bytes.data()));
  const auto sent = requests();
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(kWriteNv, sent[0].number);
  EXPECT_EQ(std::string("\x27\x34\x12") + std::string(128, '\x77') + '\0', sent[0].payload);
  EXPECT_EQ(kReadNv, sent[1].number);
  EXPECT_EQ(std::string("\x26\x34\x12") + std::string(129, '\0'), sent[1].payload);
}

// For the data-race check above all: the packets are the process's.
TEST_F(NvItems, TwoThreadsReadBackWhatEachHasWritten) {
  const auto write_and_read = [](uint16_t item) {
    for (uint8_t i = 0; i < 40; ++i) {
      Bytes written = filled(static_cast<uint8_t>(item + i)), read = filled(0);
      EXPECT_EQ(0, qve_diag_nvwrite(item, written.data()));
      EXPECT_EQ(0, qve_diag_nvread(item, read.data()));
      EXPECT_EQ(written, read);
    }
  };
  std::thread other(write_and_read, 100);
  write_and_read(kItem);
  other.join();
}

TEST_F(NvItems, TheModemsStatusIsReturned) {
  vp::set_nv_item(phone(), 1, {NvState::inactive, ""});
  vp::set_nv_item(phone(), 2, {NvState::failing, ""});
  Bytes bytes = filled(1);
  EXPECT_EQ(5, qve_diag_nvread(1, bytes.data()));
  EXPECT_EQ(filled(0), bytes) << "what came with that status";
  EXPECT_EQ(4, qve_diag_nvread(2, bytes.data()));
  EXPECT_EQ(4, qve_diag_nvwrite(2, bytes.data()));
  EXPECT_EQ(0, qve_diag_nvwrite(1, bytes.data())) << "a write makes it active";
  EXPECT_EQ(0, qve_diag_nvread(1, bytes.data()));
}

TEST_F(NvItems, AnswersOfAnyLength) {
  Bytes held = filled(9);
  ASSERT_EQ(0, qve_diag_nvwrite(kItem, held.data()));
  ASSERT_EQ(0, qve_diag_nvread(kItem, held.data()));
  // What reading and writing return, the bytes that arrive in the buffer, and the rest of it: EE
  // where nothing arrives.
  const std::tuple<Effect, int64_t, int, int, int, uint8_t> cases[] = {
      {Effect::empty, 0, 5, 0, 0, 0xEE},       {Effect::shorter, 1, 0, 0, 1, 0},
      {Effect::shorter, 128, 0, 0, 128, 0},    {Effect::longer, 2048, 0, 0, 128, 0},
      {Effect::longer, 2049, 4, 4, 0, 0xEE},   {Effect::length, 1, 0, 0, 1, 0},
      {Effect::length, -1, 4, 4, 0, 0xEE},     {Effect::fail, 1, 4, 4, 0, 0xEE},
      {Effect::garbage, 254, 254, 254, 0, 254}};
  for (const auto& [effect, value, read, written, arrived, rest] : cases) {
    SCOPED_TRACE(vp::name_of(effect) + std::to_string(value));
    for (const int request : {kReadNv, kWriteNv}) request_fault(request, effect, value);
    Bytes bytes = filled(0xEE), expected = filled(rest);
    std::fill_n(expected.begin(), arrived, uint8_t{9});
    EXPECT_EQ(read, qve_diag_nvread(kItem, bytes.data()));
    EXPECT_EQ(expected, bytes);
    EXPECT_EQ(written, qve_diag_nvwrite(kItem, held.data()));
    clear_faults();
  }
  requests();
  EXPECT_EQ(-1, qve_diag_nvread(kItem, nullptr));
  EXPECT_EQ(-1, qve_diag_nvwrite(kItem, nullptr));
  EXPECT_THAT(requests(), SizeIs(0));
}

}  // namespace
}  // namespace fcx_test
