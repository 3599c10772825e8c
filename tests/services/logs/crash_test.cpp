// Crash reports: how many there are, their files, and their summaries.
#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

constexpr char kFolder[] = "/data/logger/crash_info/";
constexpr size_t kText = 7468;

class CrashReports : public LogTest {
 protected:
  CrashReports() { let("at", kFolder); }

  /// Puts a report's text, zeros after it, into the items that hold the report.
  void put(int number, std::string_view text) {
    std::string bytes(32, 'h');
    bytes += text;
    bytes.resize(7500);
    const int first = number == 0 ? 231 : 235 + 4 * (number - 1);
    for (size_t at = 0; at < bytes.size(); at += vp::kItemBlock) {
      set_item(first + static_cast<int>(at / vp::kItemBlock), bytes.substr(at, vp::kItemBlock));
    }
  }
  int save(int count) {
    int length = -1;
    const int result = crash_log_save(memory(), &length, count);
    out = out.c_str();
    EXPECT_EQ(result == 0 ? static_cast<int>(out.size()) : -1, length);
    return result;
  }
};

TEST_F(CrashReports, AreCountedInAnItem) {
  int length = 0;
  TELL("get_crash_count", get_crash_count(memory(), &length), R"(
-> => out=0
item 230! -> E @: the item cannot be read\n => out=before; result=-1
item 230=hhhhhhhh\7\1\0\0\7 -> => out=263
item 230=hhhhhhhh\0\0\0\x80 -> => out=-2147483648
)");
  EXPECT_EQ(11, length);
  EXPECT_EQ(-1, get_crash_count(nullptr, &length));
  EXPECT_EQ(-1, get_crash_count(memory(), nullptr));
  TELL("erase_crash_count", erase_crash_count(),
       "item 230!write -> E @: the item cannot be written\\n => result=-1");
  clear_faults();
  set_item(230, std::string(17, 'h'));
  EXPECT_EQ(0, erase_crash_count());
  EXPECT_EQ(std::string(16, '\0') + "h", item(230, 17));
}

TEST_F(CrashReports, AreWrittenToFilesAsFarAsThereAreAny) {
  const auto report = [](int i) { return "report " + std::to_string(i); };
  for (int i = 0; i < 5; ++i) put(i, "Crash Handler: " + report(i) + "\nmore");
  for (const int number : {-1, 0, 1, 4, 5, 7, INT32_MAX}) {
    SCOPED_TRACE(number);
    fs::remove_all(file("/data/logger"));
    fs::create_directories(file("/data/logger"));
    std::string summaries, files;
    for (int i = 0; i < std::min(number, 5); ++i) {
      std::string text = "Crash Handler: " + report(i) + "\nmore";
      text.resize(kText);
      files += (i == 0 ? "crash_log" : " crash_log") + std::to_string(i) + ".txt=" + text;
      summaries += (i == 0 ? "" : ";") + report(i);
    }
    EXPECT_EQ(0, save(number));
    EXPECT_EQ(summaries, out);
    EXPECT_EQ(files, tree(kFolder));
  }
  EXPECT_EQ("", told());
}

TEST_F(CrashReports, SummariesAreWhatFollowsTheMark) {
  fs::create_directories(file("/data/logger"));
  const std::string line(254, 's'), before(kText - 13, 'b'), mark = "Crash Handler: ";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"no mark", mark + "two\n", "two"},
      {mark + "one\n" + mark + "two\n", "crash handler: two\n", "one"},
      {mark + "one\0two\n"s, "", "one"},
      {"a\0\n"s + mark + "one\r\n", "", "one\r"},
      {mark + "\n", mark + "two", ";two"},
      {before + "Crash Handler", mark + "two", ";two"},
      {before.substr(2) + mark, "", ""},
      {before.substr(3) + mark + "1", "", "1"},
      {mark + line + "tu", mark + "two", line + "t"},
      {mark + line, mark + "two", line + ";"},
      {mark + line.substr(2), mark + "two", line.substr(2) + ";tw"}};
  for (const auto& [one, two, summaries] : cases) {
    SCOPED_TRACE(one + "|" + two);
    put(0, one);
    put(1, two);
    EXPECT_EQ(0, save(2));
    EXPECT_EQ(summaries, out);
  }
}

TEST_F(CrashReports, TheFirstFailureEndsIt) {
  let("report", std::string(32, 'h') + "Crash Handler: one");
  TELL("crash_log_save", save(2), R"(
let given = /data/logger/a=; item 231=$report; item 235=$report
$given -> => out=one;one
$given; item 235! -> E $at Read Fail\n => out=before; ${at}crash_log1.txt=; result=1
$given; item 231!return 7 -> => out=one;one
$given; $at!mkdir 2 -> I couldn't makedir directory : $at\n => out=before; result=1
$given; $at!mkdir 13 -> E @: $at: Permission denied\n|I fopen fail : ${at}crash_log0.txt
  => out=before; result=1
$given; ${at}crash_log1.txt!open 28 -> I fopen fail : ${at}crash_log1.txt => out=before; result=1
$given; ${at}crash_log1.txt!write short 7467 -> I fwrite fail => out=before; result=1
$given; ${at}crash_log1.txt!close 28 -> I fwrite fail => out=before; result=1
$given; ${at}crash_log0.txt!read -> I fread fail => out=one
$given; ${at}crash_log0.txt!read short 7467 -> I fread fail => out=one
)");
  int length = 0;
  EXPECT_EQ(1, crash_log_save(nullptr, &length, 1));
  EXPECT_EQ(1, crash_log_save(memory(), nullptr, 1));
}

}  // namespace
}  // namespace fcx_test
