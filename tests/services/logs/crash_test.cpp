// Crash reports: how many there are, their files, and their summaries.
#include "fcx/log_collection.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

constexpr char kFolder[] = "/data/logger/crash_info/";
constexpr size_t kText = 7468;

class CrashReports : public StoryTest {
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
    return written([&](char* text, int* length) { return crash_log_save(text, length, count); });
  }
  int count() { return written(get_crash_count); }

 private:
  template <typename Call>
  int written(Call call) {
    int length = -1;
    const int result = call(memory(), &length);
    out = out.c_str();
    EXPECT_EQ(result == 0 ? static_cast<int>(out.size()) : -1, length);
    return result;
  }
};

TEST_F(CrashReports, AreCountedInAnItem) {
  let("zeros", "\\0\\0\\0\\0\\0\\0\\0\\0");
  TELL("get_crash_count", count(), R"(
-> => out=0
item 230=hhhhhhhh\7\1\0\0\7 -> => out=263
item 230=hhhhhhhh\0\0\0\xFF -> => out=-16777216
item 230=hhhhhhhh\xFF\xFF\xFF\xFF -> => out=-1
item 230=hhhhhhhh\0\0\0\x80 -> => out=-2147483648
item 230! -> => out=before; result=-1
)");
  char text[12];
  int length = 0;
  EXPECT_EQ(-1, get_crash_count(nullptr, &length));
  EXPECT_EQ(-1, get_crash_count(text, nullptr));
  TELL("erase_crash_count", erase_crash_count(),
       "item 230!write -> => result=-1\n"
       "item 230=hhhhhhhhhhhhhhhh -> => item 230=");
  set_item(230, std::string(17, 'h'));
  EXPECT_EQ(0, erase_crash_count());
  EXPECT_EQ(std::string(16, '\0') + "h", item(230, 17));
}

TEST_F(CrashReports, AreWrittenToFilesAsFarAsThereAreAny) {
  for (int i = 0; i < 5; ++i) put(i, "Crash Handler: report " + std::to_string(i) + "\nmore");
  const std::pair<int, const char*> cases[] = {
      {-1, ""},
      {0, ""},
      {1, "report 0"},
      {4, "report 0;report 1;report 2;report 3"},
      {5, "report 0;report 1;report 2;report 3;report 4"},
      {7, "report 0;report 1;report 2;report 3;report 4"},
      {INT32_MAX, "report 0;report 1;report 2;report 3;report 4"}};
  for (const auto& [number, summaries] : cases) {
    SCOPED_TRACE(number);
    fs::remove_all(file(kFolder));
    fs::create_directories(file(kFolder).parent_path().parent_path());
    EXPECT_EQ(0, save(number));
    EXPECT_EQ(summaries, out);
    for (int i = 0; i < 6; ++i) {
      const fs::path report = file(kFolder) / ("crash_log" + std::to_string(i) + ".txt");
      ASSERT_EQ(i < std::min(number, 5), fs::exists(report));
      if (i >= std::min(number, 5)) continue;
      std::string text = "Crash Handler: report " + std::to_string(i) + "\nmore";
      text.resize(kText);
      EXPECT_EQ(text, read_file(report));
    }
  }
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(CrashReports, SummariesAreWhatFollowsTheMark) {
  fs::create_directories(file("/data/logger"));
  const std::string line(254, 's'), before(kText - 13, 'b'), mark = "Crash Handler: ";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"no mark", "", ""},
      {"no mark", mark + "two\n", "two"},
      {mark + "one\n", "crash handler: two\n", "one"},
      {mark + "one", "", "one"},
      {mark + "one\0two\n"s, "", "one"},
      {"a\0\n"s + mark + "one\r\n", "", "one\r"},
      {mark + "\n", mark + "two", ";two"},
      {mark + "one\n" + mark + "two\n", "", "one"},
      {before + "Crash Handler", mark + "two", ";two"},
      {before.substr(2) + mark, "", ""},
      {before.substr(3) + mark + "1", "", "1"},
      {before + "Crash Handle", "", ""},
      {mark + line, "", line},
      {mark + line + "t", "", line + "t"},
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
item 231=$report -> I couldn't makedir directory : $at\n => out=before; result=1
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
