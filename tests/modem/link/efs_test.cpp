// Files of the modem's file system.
#include "fcx/modem_efs.h"

#include <fcntl.h>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr int kEfs = 401;
constexpr int kMost = 2032;  // bytes of a file in one request

class ModemEfs : public PhoneTest {
 protected:
  ModemEfs() { EXPECT_EQ(0, efs_init()); }

  int open(const std::string& path, int flags = O_RDWR | O_CREAT) {
    return efs_open(const_cast<char*>(path.c_str()), flags, 0644);
  }
  void write_file(const char* path, std::string content) {
    const int fd = open(path);
    const int size = static_cast<int>(content.size());
    EXPECT_EQ(size, efs_write(fd, content.data(), size));
    EXPECT_EQ(0, efs_close(fd));
  }
};

TEST_F(ModemEfs, AFileIsWrittenAndReadInAsFewRequestsAsItTakes) {
  for (const int size : {0, 1, kMost, kMost + 1, 3 * kMost, 100'000}) {
    SCOPED_TRACE(size);
    std::string content;
    for (int i = 0; i < size; ++i) content += static_cast<char>(i * 7);
    const auto fewest = static_cast<size_t>((size + kMost - 1) / kMost);
    write_file("/nv/file", content);
    EXPECT_THAT(requests(), SizeIs(fewest + 2)) << "and to open and close";

    const int fd = open("/nv/file", O_RDONLY);
    std::string read(content.size(), '#');
    requests();
    EXPECT_EQ(size, efs_read(fd, read.data(), size));
    EXPECT_THAT(requests(), SizeIs(fewest));
    EXPECT_EQ(content, read);
    EXPECT_EQ(0, efs_close(fd));
    char path[] = "/nv/file";
    EXPECT_EQ(0, efs_unlink(path));
    EXPECT_LT(open("/nv/file", O_RDONLY), 0);
    requests();
  }
}

TEST_F(ModemEfs, RequestsAreBytesAsTheModemWantsThem) {
  char path[] = "/a";
  char data[] = "xyz";
  efs_open(path, 0x01020304, 0x05060708);
  efs_unlink(path);
  efs_close(0x01020304);
  efs_read(0x01020304, data, 3);
  efs_write(0x01020304, data, 3);
  const auto sent = requests();
  ASSERT_THAT(sent, SizeIs(5));
  const std::string fd = "\x04\x03\x02\x01";
  const auto zeros = [](size_t count) { return std::string(count, '\0'); };
  EXPECT_EQ("\x04/a" + zeros(129) + fd + "\x08\x07\x06\x05", sent[0].payload);
  EXPECT_EQ("\x03/a" + zeros(137), sent[1].payload);
  EXPECT_EQ("\x05" + zeros(3) + fd, sent[2].payload);
  EXPECT_EQ("\x06" + zeros(3) + fd + "\x03" + zeros(3), sent[3].payload);
  EXPECT_EQ("\x07" + zeros(3) + fd + "xyz" + zeros(2029) + "\x03" + zeros(3), sent[4].payload);
}

TEST_F(ModemEfs, APathIsSentUpTo128Bytes) {
  const std::string longest = "/" + std::string(127, 'd');
  for (const std::string& path : {longest, longest + "more"}) {
    open(path);
    EXPECT_EQ(longest + std::string(3, '\0'), requests().back().payload.substr(1, 131)) << path;
  }
}

TEST_F(ModemEfs, AShortReadLeavesAGap) {
  constexpr int kHalf = kMost / 2;
  const std::string content(kMost + kHalf, 'c');
  write_file("/f", content);
  const int fd = open("/f", O_RDONLY);
  std::string read(2 * kMost + 100, '#');
  requests();
  EXPECT_EQ(kMost + kHalf, efs_read(fd, read.data(), 2 * kMost + 100));
  EXPECT_EQ(content + std::string(kHalf + 100, '#'), read);
  const auto sent = requests();
  ASSERT_THAT(sent, SizeIs(3));
  EXPECT_EQ(100, sent[2].payload[8]) << "on after the gap, on purpose";
  EXPECT_EQ(0, efs_read(fd, read.data(), 2 * kMost));
  EXPECT_THAT(requests(), SizeIs(1)) << "one that brings nothing is the last";
}

TEST_F(ModemEfs, AShortWriteGoesOnAfterWhatWasTaken) {
  std::string content;
  for (int i = 0; i < 500; ++i) content += static_cast<char>(i);
  const int fd = open("/f");
  requests();
  request_fault(kEfs, Effect::shorter, 1);  // the low byte of a count: 244 of 500, then 0 of 256
  EXPECT_EQ(244, efs_write(fd, content.data(), 500));
  const auto sent = requests();
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(content.substr(244), sent[1].payload.substr(8, 256));
}

TEST_F(ModemEfs, AnAnswerThatBreaksOffLeavesZeros) {
  write_file("/f", std::string(100, 'c'));
  for (const size_t arrived : {100, 40}) {
    const int fd = open("/f", O_RDONLY);
    request_fault(kEfs, Effect::shorter, static_cast<int64_t>(4 + arrived));
    std::string read(100, '#');
    EXPECT_EQ(100, efs_read(fd, read.data(), 100)) << arrived;
    EXPECT_EQ(std::string(arrived, 'c') + std::string(100 - arrived, '\0'), read) << arrived;
    clear_faults();
  }
}

TEST_F(ModemEfs, AnExchangeThatFailsOrCannotBeEndsIt) {
  std::string content(3 * kMost, 'c');
  const int fd = open("/f");
  char path[] = "/f";
  request_fault(kEfs, Effect::garbage, 0x7F);  // a count of 2,139,062,143
  EXPECT_EQ(100, efs_write(fd, content.data(), 100));
  EXPECT_EQ(100, efs_read(fd, content.data(), 100));
  clear_faults();
  request_fault(kEfs, Effect::garbage, 0xFF);  // a count of -1
  EXPECT_EQ(0, efs_write(fd, content.data(), 100));
  EXPECT_EQ(0, efs_read(fd, content.data(), 100));
  clear_faults();
  request_fault(kEfs, Effect::fail, 1);
  EXPECT_EQ(-1, efs_open(path, O_RDONLY, 0));
  EXPECT_EQ(-1, efs_close(fd));
  EXPECT_EQ(-1, efs_unlink(path));
  EXPECT_EQ(0, efs_read(fd, content.data(), 10));
  requests();
  EXPECT_EQ(0, efs_write(fd, content.data(), 3 * kMost));
  EXPECT_THAT(requests(), SizeIs(1));
}

TEST_F(ModemEfs, WithoutBytesNothingIsSent) {
  char byte = 0;
  requests();
  EXPECT_EQ(-1, efs_open(nullptr, 0, 0));
  EXPECT_EQ(-1, efs_unlink(nullptr));
  EXPECT_EQ(-1, efs_read(1, nullptr, 1));
  EXPECT_EQ(-1, efs_write(1, nullptr, 1));
  for (const int n : {0, -1, INT32_MIN}) {
    for (char* buffer : {&byte, static_cast<char*>(nullptr)}) {
      EXPECT_EQ(0, efs_read(1, buffer, n)) << n;
      EXPECT_EQ(0, efs_write(1, buffer, n)) << n;
    }
  }
  EXPECT_THAT(requests(), SizeIs(0));
}

}  // namespace
}  // namespace fcx_test
