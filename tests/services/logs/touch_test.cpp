// The touch self-test's result, handed out in pieces.
#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

class TouchResult : public LogTest {
 protected:
  TouchResult() {
    TELL("parts", 0, R"(
let file = /data/touch/touch_self_test.txt
let offset = /data/auto_touch_offset
let name = I data_file name: $file\n|
let first = I fd_start from zero|I pid: PID\n|
let given = item 4=PID
)");
  }

  int scan() { return scan_auto_touch_result(memory()); }
};

TEST_F(TouchResult, IsHandedOutWordByWord) {
  TELL("scan_auto_touch_result", scan(), R"(
-> ${name}E fail to open the file => out=; result=-1
$given; $file= -> $name${first}I PID\s => out=PID\s; $offset=
$file= -> ${name}I fd_start from zero|I pid: \n|I \s => out=\s
item 4!; $file= -> ${name}I fd_start from zero|E get_pid error!|I pid read error\s => out=pid read error\s
$given; $file=\s a\nbc\s -> $name${first}I dj_debug buf_size: 2, data_buf: a|
  I dj_debug buf_size: 5, data_buf: bc|I PID a bc\s => out=PID a bc\s; $offset=
$given; $file=a\0b -> $name${first}I dj_debug buf_size: 2, data_buf: a|
  I dj_debug buf_size: 4, data_buf: b|I PID a b\s => out=PID a b\s
$given; $file=ab cd; $offset=2 -> ${name}I fd_starting point: 2|I dj_debug buf_size: 3, data_buf: cd|
  I cd\s => out=cd\s; $offset=
$given; $file=ab cd; $offset=\s1 7\n -> ${name}I fd_starting point: 1|
  I dj_debug buf_size: 2, data_buf: b|I dj_debug buf_size: 5, data_buf: cd|I b cd\s => out=b cd\s
$given; $file=ab cd; $offset=5 -> ${name}I fd_starting point: 5|I\s => out=; $offset=
)");
}

TEST_F(TouchResult, AnOffsetThatIsNoneIsTheStart) {
  for (const char* offset :
       {"", "x", "-1", "6", "1x", "+1", "99999999999999999999", "2147483648"}) {
    TELL("scan_auto_touch_result", scan(), "$given; $file=ab cd; $offset="s + offset + R"( ->
      ${name}I fd_starting point: )" + offset + R"(|I dj_debug buf_size: 3, data_buf: ab|
      I dj_debug buf_size: 6, data_buf: cd|I ab cd\s => out=ab cd\s; $offset=)");
  }
}

TEST_F(TouchResult, AFailureLeavesTheSamePieceForTheNextCall) {
  let("long", std::string(600, 'w'));
  TELL("scan_auto_touch_result", scan(), R"(
let no = Input/output error\n
$given; $file!open -> ${name}E fail to open the file => out=; result=-1
$given; $file=a; $file!read -> $name${first}E @: $file: $no => out=; result=-1
let given = item 4=PID; $file=ab cd; $offset=2
let two = ${name}I fd_starting point: 2|
$given; $file!read -> ${two}E @: $file: $no => out=; result=-1; $offset=2
$given; $file!seek -> ${two}E @: $file: $no => out=; result=-1; $offset=2
$given; $offset!open -> ${name}E @: $offset: $no => out=; result=-1; $offset=2
$given; $offset!read -> ${name}E @: $offset: $no => out=; result=-1; $offset=2
$given; $offset!remove -> ${two}I dj_debug buf_size: 3, data_buf: cd|E @: $offset: $no
  => out=; result=-1; $offset=2
let end = ${name}I fd_start from zero|I pid: \n|I dj_debug buf_size: 601, data_buf: $long|
  I fd_end: 600|E @: $offset:
$file=$long; $offset!write 28 -> $end No space left on device\n => out=; result=-1; $offset=
$file=$long; $offset!sync -> $end $no => out=; result=-1; $offset=
$file=$long; /data!syncdir -> $end $no|I \s$long\s => out=\s$long\s; $offset=600
)");
  EXPECT_EQ(-1, scan_auto_touch_result(nullptr));
  EXPECT_EQ(-1, logsave_aat_touch(nullptr));
  EXPECT_EQ(1, check_transfer_status(nullptr));
}

/// What a host gets that asks until the transfer has completed, piece by piece.
TEST_F(TouchResult, ATransferEndsWithEveryWordHandedOut) {
  const auto words = [](size_t number, size_t length) {
    std::string text;
    for (size_t i = 0; i < number; ++i)
      text += std::string(length, static_cast<char>('a' + i % 26)) + " ";
    return text;
  };
  const std::string pid = "PID ";
  const std::tuple<std::string, std::vector<std::string>> cases[] = {
      {words(1, 511), {pid + words(1, 511)}},                 // 512 with its blank
      {words(1, 512), {pid + words(1, 512), ""}},             // 513: there may be more
      {words(8, 63), {pid + words(8, 63)}},                   // 512
      {words(8, 63) + "x", {pid + words(8, 63) + "x ", ""}},  // 514
      {words(30, 63),
       {pid + words(9, 63), words(30, 63).substr(9 * 64, 9 * 64),
        words(30, 63).substr(18 * 64, 9 * 64), words(30, 63).substr(27 * 64)}},
      {std::string(9000, ' ') + "x", {pid + "x "}},
      {words(1, 2042), {pid + words(1, 2042), ""}},  // fits with the PID
      {words(1, 2043), {pid, words(1, 2043), ""}},   // does not
      {words(1, 2046), {pid, words(1, 2046), ""}},
      {words(1, 2047), {pid, words(1, 2046), "a "}},
      {words(1, 5000), {pid, words(1, 2046), words(1, 2046), words(1, 908), ""}},
  };
  for (const auto& [content, pieces] : cases) {
    SCOPED_TRACE(content);
    fresh_phone();
    give(understood("$given"));
    give(understood("$file=") + content);
    for (size_t i = 0; i < pieces.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(0, logsave_aat_touch(memory()));
      EXPECT_EQ(pieces[i], out.c_str());
      EXPECT_EQ(i + 1 == pieces.size() ? 0 : 1, check_transfer_status(memory()));
    }
  }
}

TEST_F(TouchResult, TheHostIsToldWhetherPiecesRemain) {
  TELL("check_transfer_status", check_transfer_status(memory()), R"(
let begin = I check_transfer_status()|
-> ${begin}I transfer has completed! data: 0 => out=0
$offset= -> ${begin}I being transfered.. data: 1 => out=1; result=1
$offset!stat -> ${begin}E @: $offset cannot be looked up\n|I being transfered.. data: 1
  => out=1; result=1
)");
  TELL("logsave_aat_touch", logsave_aat_touch(memory()), R"(
-> I logsave_aat_touch()|${name}E fail to open the file => out=; result=-1
$given; $file=a -> I logsave_aat_touch()|$name${first}I dj_debug buf_size: 2, data_buf: a|I PID a\s
  => out=PID a\s
)");
}

}  // namespace
}  // namespace fcx_test
