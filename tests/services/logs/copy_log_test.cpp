// Copying a folder of logs: every byte of what can be had, and nothing for ever.
#include <sys/resource.h>

#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

constexpr char kFrom[] = "/a/from/";
constexpr char kTo[] = "/a/to/";

class CopyLog : public LogTest {
 protected:
  CopyLog() { let("done", "I from /a/from/ to /a/to/ copy done!!!\n"); }

  /// Copies the property "from" to the property "to".
  void copy() {
    prepare();
    const std::string to = given("to", kTo);
    copy_log(to.c_str(), given("from", kFrom).c_str());
    out = tree(to.empty() ? kTo : to.c_str());
  }
};

TEST_F(CopyLog, KeepsEveryByte) {
  constexpr size_t kPiece = 128 << 10;
  int number = 0;
  for (const std::string& content :
       {""s, "text\n"s, "no end of line"s, "a\0b\r\n\0"s, noise(kPiece - 1), noise(kPiece),
        noise(kPiece + 1), std::string(3 << 20, 'l') + "\n"}) {
    const std::string name = "file\n\xFF" + std::to_string(++number) + "=";
    give(kFrom + name + content);
    give(kTo + name + content + "more");  // what was there goes
  }
  copy_log(kTo, kFrom);
  run("diff -r a/from a/to");
}

TEST_F(CopyLog, CopiesWhatCanBeOpenedAndSaysWhatCannot) {
  TELL("copy_log", copy(), R"(
let below = I from /a/from/b/ to /a/to/b/ copy done!!!\n|
/a/x= -> E @: do not open src file!!! : /a/from/\n|$done => out=
/a/from/b/a=1; /a/to/a=2 -> $below$done => out=a=2 b/ b/a=1
/a/from/a=1; /a/from!open -> E @: do not open src file!!! : /a/from/\n|$done => out=
/a/from/a=1; /a/from!open @2 -> E @: do not open src file!!! : /a/from/\n|$done => out=
/a/from/a=1; /a/from!read -> E @: /a/from/: Input/output error\n|$done => out=
/a/from/a=1; /a/to!mkdir 28 -> E @: /a/to/: No space left on device\n|$done => out=
/a/from/a=1; /a/to=2 -> E @: /a/to/: Not a directory\n|$done
/a/from/a=1; /a/to!open @2 -> E @: /a/to/: Input/output error\n|$done => out=
/a/from/a=1; /a/from/a!open 13 -> $done => out=
/a/from/a=1; /a/to/a!open 28 -> $done => out=
/a/from/a=1; /a/to/a/b=2 -> $done => out=a/ a/b=2
/a/from/a=123; /a/from/a!read -> E @: /a/from/a: Input/output error\n|$done => out=a=
/a/from/a=123; /a/to/a!write short 2 -> E @: /a/to/a: No space left on device\n|$done => out=
/a/from/a=123; /a/to/a!close 28 -> E @: /a/to/a: No space left on device\n|$done => out=
/a/from/a=123; /a/to/a!write 28; /a/to/a!remove ->
  E @: /a/to/a: No space left on device\n|E @: /a/to/a: Input/output error\n|$done => out=a=
/a/from/b/a=1; /a/from/b!open 13 -> $done => out=
/a/from/b/a=1; /a/from/b!open 2 @2 -> E @: do not open src file!!! : /a/from/b/\n|
  $below$done => out=b/
/a/from/b/a=1; /a/to/b!mkdir -> E @: /a/to/b/: Input/output error\n|$below$done => out=
)");
}

TEST_F(CopyLog, TakesPathsAsTheyAreGiven) {
  TELL("copy_log", copy(), R"(
let given = /a/from/f=1; from=/a/from; to=
${given}/a/to -> I from /a/from to /a/to copy done!!!\n => out=f=1
${given}/a/from/ -> I from /a/from to /a/from/ copy done!!!\n => out=f=1
${given} -> E @: : No such file or directory\n|I from /a/from to  copy done!!!\n => /f=
/a/x=; from= -> E @: do not open src file!!! : \n|I from  to /a/to/ copy done!!!\n => out=
${given}/a/no/to -> E @: /a/no/to: No such file or directory\n|
  I from /a/from to /a/no/to copy done!!!\n => out=
)");
  let("fits", "/a/" + std::string(252, 'f'));
  const auto copy_from = [&](const char* name) { copy_log(kTo, understood(name).c_str()); };
  TELL("copy_log", copy_from("$fits"), R"(
/a/x= -> E @: do not open src file!!! : $fits\n|I from $fits to /a/to/ copy done!!!\n
)");
  TELL("copy_log", copy_from("${fits}f"), R"(
/a/x= -> E @: a path has more than 255 characters\n|I from ${fits}f to /a/to/ copy done!!!\n
)");
  TELL("null", (copy_log(nullptr, kFrom), copy_log(kTo, nullptr)), "/a/from/f=1 -> => /a/to/f=");
}

TEST_F(CopyLog, FollowsLinksButNotForEver) {
  TELL("copy_log", copy(), R"(
let link = /a/else/file=else; /a/from/b/c=1; do=ln -s
let b = I from /a/from/b/ to /a/to/b/ copy done!!!\n|
let a = I from /a/from/a/ to /a/to/a/ copy done!!!\n|
$link ../else/file a/from/a -> $b$done => out=a=else b/ b/c=1
$link nowhere a/from/a -> $b$done => out=b/ b/c=1
$link a a/from/a -> $b$done => out=b/ b/c=1
$link /dev/null a/from/a -> $b$done => out=b/ b/c=1
$link ../from a/from/a -> $b$done => out=b/ b/c=1
$link ../../from a/from/b/a -> $b$done => out=b/ b/c=1
$link ../b a/from/b/a -> $b$done => out=b/ b/c=1
$link ../to a/from/a -> $b$done => out=b/ b/c=1
$link ../../to/b a/from/b/a -> $b$done => out=b/ b/c=1
let link = /a/else/file=else; do=mkdir a/from && ln -s
$link ../else a/from/a -> $a$done => out=a/ a/file=else
$link ../else a/from/a && mkdir a/more && ln -s ../more a/else/more -> $a$done => out=a/ a/file=else
$link .. a/from/a -> I from /a/from/a/else/ to /a/to/a/else/ copy done!!!\n|$a$done
  => out=a/ a/else/ a/else/file=else
/a/to/a/b/c=1; $link ../to/a a/from/a -> $a$done => out=a/ a/b/ a/b/c=1
)");
}

TEST_F(CopyLog, LeavesOutWhatIsItselfWhatIsNoFileAndPathsThatDoNotFit) {
  // In the longer of the two folders a path of 255 characters has this name, or that with its '/'.
  let("fits", std::string(255 - (sizeof kFrom - 1), 'f'));
  let("folder", std::string(254 - (sizeof kFrom - 1), 'd'));
  TELL("copy_log", copy(), R"(
to=/a/from/b/to/; /a/from/a=1; /a/from/b/c=2; /a/from/b/to/d=3 ->
  I from /a/from/b/ to /a/from/b/to/b/ copy done!!!\n|
  I from /a/from/ to /a/from/b/to/ copy done!!!\n => out=a=1 b/ b/c=2 d=3
/a/from/a=1; /a/to/c=; do=cd a && ln from/a to/a && ln -s ../to/a from/b && ln -s a to/b
  -> $done => out=a=1 b@ c=
/a/from/b=1; /a/to/c=; do=mkfifo a/from/a a/to/b -> $done => out=b| c=
/a/from/b=1; do=python3 -c '__import__("socket").socket(1).bind("a/from/a")' -> $done => out=b=1
/a/from/$fits=1; /a/from/${fits}f=1; /a/from/$folder/f=1; /a/from/${folder}d/f=1 ->
  I from /a/from/$folder/ to /a/to/$folder/ copy done!!!\n|$done => out=$folder/ $fits=1
from=/a/to/; to=/a/from/; /a/to/$fits=1; /a/to/${fits}f=1; /a/to/$folder/f=1; /a/to/${folder}d/f=1
  -> I from /a/to/$folder/ to /a/from/$folder/ copy done!!!\n|
  I from /a/to/ to /a/from/ copy done!!!\n => out=$folder/ $fits=1
)");
}

TEST_F(CopyLog, GoesDeepOnASmallStackWithFewDescriptors) {
  rlimit files{};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &files));
  files.rlim_cur = 1024;
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &files));
  std::string path;
  while (sizeof kFrom - 1 + path.size() + 3 <= 255) path += "d/";
  give(kFrom + path + "f=deep");
  on_small_stack([] { copy_log(kTo, kFrom); });
  EXPECT_EQ("deep", read_file(file((kTo + path + "f").c_str())));
  on_small_stack([] { EXPECT_EQ(0, Delete_Folder("/a/from")); });
  EXPECT_FALSE(fs::exists(file(kFrom)));
}

}  // namespace
}  // namespace fcx_test
