// Copying a folder of logs: every byte of what can be had, and nothing for ever.
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <thread>

#include "fcx/log_collection.h"
#include "tests/services/logs/tree.h"

namespace fcx_test {
namespace {

constexpr char kFrom[] = "/data/from/";
constexpr char kTo[] = "/data/to/";

class CopyLog : public LogTest {
 protected:
  CopyLog() { let("done", "I from /data/from/ to /data/to/ copy done!!!\n"); }

  void copy(const char* to = kTo, const char* from = kFrom) {
    copy_log(to, from);
    out = tree("/data/to");
  }
  fs::path made(const std::string& path) {
    const fs::path made = file(path.c_str());
    fs::create_directories(made.parent_path());
    return made;
  }
};

TEST_F(CopyLog, KeepsEveryByte) {
  constexpr size_t kPiece = 128 << 10;
  const std::string contents[] = {"",
                                  "text\n",
                                  "no end of line",
                                  "a\0b\r\n\0"s,
                                  std::string(kPiece - 1, 'a'),
                                  std::string(kPiece, 'b'),
                                  std::string(kPiece + 1, 'c'),
                                  std::string(3 << 20, 'l') + "\n"};
  std::map<std::string, std::string> expected;
  for (const std::string& content : contents) {
    const std::string name = "file " + std::to_string(expected.size()) + "\n\xFF";
    write_file(made(kFrom + name), content);
    write_file(made(kTo + name), std::string(content.size() + 2, 'o'));  // what was there goes
    expected[name] = content;
  }
  expected["there before"] = "stays";
  write_file(made("/data/to/there before"), "stays");
  lines();
  copy_log(kTo, kFrom);
  EXPECT_EQ(expected, files_of("/data/to"));
}

TEST_F(CopyLog, CopiesWhatCanBeOpenedAndSaysWhatCannot) {
  TELL("copy_log", copy(), R"(
let below = I from /data/from/b/ to /data/to/b/ copy done!!!\n|
let no = |E @: /data/to/a:
-> E @: do not open src file!!! : /data/from/\n|$done => out=
/data/from/a=1 -> $done => out=a=1
/data/from/b/a=1 -> $below$done => out=b/ b/a=1
/data/from/b/a=1; /data/to/a=2 -> $below$done => out=a=2 b/ b/a=1
/data/from/a=1; /data/from!open -> E @: do not open src file!!! : /data/from/\n|$done => out=
/data/from/a=1; /data/from!open @2 -> E @: do not open src file!!! : /data/from/\n|$done => out=
/data/from/a=1; /data/from!read -> E @: /data/from/: Input/output error\n|$done => out=
/data/from/a=1; /data/to!mkdir 28 -> E @: /data/to/: No space left on device\n|$done => out=
/data/from/a=1; /data/to=2 -> E @: /data/to/: File exists\n|$done
/data/from/a=1; /data/to!open @2 -> E @: /data/to/: Input/output error\n|$done => out=
/data/from/a=1; /data/from/a!open 13 -> $done => out=
/data/from/a=1; /data/to/a!open 28 -> $done => out=
/data/from/a=1; /data/to/a/b=2 -> $done => out=a/ a/b=2
/data/from/a=123; /data/from/a!read -> E @: /data/from/a: Input/output error\n|$done => out=a=
/data/from/a=123; /data/to/a!write short 2 -> E @: /data/to/a: No space left on device\n|$done
  => out=
/data/from/a=123; /data/to/a!close 28 -> E @: /data/to/a: No space left on device\n|$done => out=
/data/from/a=1; /data/to/a=23; /data/to/a!write -> E @: /data/to/a: Input/output error\n|$done
  => out=
/data/from/a=123; /data/to/a!write 28; /data/to/a!remove ->
  E @: /data/to/a: No space left on device\n|E @: /data/to/a: Input/output error\n|$done => out=a=
/data/from/b/a=1; /data/from/b!open 13 -> $done => out=
/data/from/b/a=1; /data/from/b!open 2 @2 -> E @: do not open src file!!! : /data/from/b/\n|
  $below$done => out=b/
/data/from/b/a=1; /data/to/b!mkdir -> E @: /data/to/b/: Input/output error\n|$below$done => out=
)");
}

TEST_F(CopyLog, TakesPathsAsTheyAreGiven) {
  const std::string longest = "/data/" + std::string(249, 'f');
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"/data/to", "/data/from", R"(I from /data/from to /data/to copy done!!!\n)", "a=1"},
      {"/data/from/", "/data/from", R"(I from /data/from to /data/from/ copy done!!!\n)", ""},
      {"", "/data/from/",
       R"(E @: : No such file or directory\n|I from /data/from/ to  copy done!!!\n)", ""},
      {"/data/to/", "", R"(E @: do not open src file!!! : \n|I from  to /data/to/ copy done!!!\n)",
       ""},
      {"/data/no/to", "/data/from",
       R"(E @: /data/no/to: No such file or directory\n|I from /data/from to /data/no/to copy done!!!\n)",
       ""},
      {"/data/to", longest.c_str(),
       R"(E @: do not open src file!!! : $longest\n|I from $longest to /data/to copy done!!!\n)",
       ""},
      {nullptr, "/data/from", "", ""},
      {"/data/to", nullptr, "", ""},
  };
  let("longest", longest);
  for (const auto& [to, from, lines, tree] : cases) {
    TELL("copy_log", copy(to, from), "/data/from/a=1 -> "s + lines + " => out=" + tree + "; /a=");
  }
  const std::string over = longest + "f";
  let("over", over);
  TELL("copy_log", copy("/data/to", over.c_str()), R"(
-> E @: a path has more than 255 characters\n|I from $over to /data/to copy done!!!\n => out=
)");
}

TEST_F(CopyLog, FollowsLinksButNotForEver) {
  using Link = std::pair<const char*, const char*>;
  const std::tuple<std::vector<Link>, const char*, const char*> cases[] = {
      {{{"a", "/data/else/file"}}, "", "a=else"},
      {{{"a", "/nowhere"}}, "", ""},
      {{{"a", "a"}}, "", ""},
      {{{"a", "/dev/null"}}, "", ""},
      {{{"a", "/data/else"}},
       R"(I from /data/from/a/ to /data/to/a/ copy done!!!\n)",
       "a/ a/file=else"},
      {{{"a", "/data/from"}}, "", ""},
      {{{"b/a", "/data/from"}}, R"(I from /data/from/b/ to /data/to/b/ copy done!!!\n)", "b/"},
      {{{"b/a", "/data/from/b"}}, R"(I from /data/from/b/ to /data/to/b/ copy done!!!\n)", "b/"},
      {{{"a", "/data/to"}}, "", ""},
      {{{"a", "/data"}},
       R"(I from /data/from/a/else/ to /data/to/a/else/ copy done!!!\n|)"
       R"(I from /data/from/a/ to /data/to/a/ copy done!!!\n)",
       "a/ a/else/ a/else/file=else"},
  };
  for (const auto& [links, lines, tree] : cases) {
    SCOPED_TRACE(links.front().first + " -> "s + links.front().second);
    fs::remove_all(file("/data"));
    write_file(made("/data/else/file"), "else");
    fs::create_directory(file(kFrom));
    for (const auto& [link, target] : links) {
      const fs::path leads_to = target[0] == '/' && target != "/dev/null"sv ? file(target) : target;
      fs::create_symlink(leads_to, made(std::string(kFrom) + link));
    }
    told();
    copy();
    EXPECT_EQ(understood(*lines == '\0' ? "$done" : lines + "|$done"s), told());
    EXPECT_EQ(tree, out);
  }
}

TEST_F(CopyLog, CopiesNoFolderIntoItself) {
  TELL("copy_log", copy_log(kFrom, kFrom), R"(
/data/from/a=1; /data/from/b/c=2 -> I from /data/from/ to /data/from/ copy done!!!\n
  => /data/from/a=1; /data/from/b/c=2
)");
  fs::remove_all(file("/data"));
  write_file(made("/data/to/a/b/c"), "1");
  fs::create_directory(file(kFrom));
  fs::create_symlink(file("/data/to/a"), file("/data/from/a"));
  copy();
  EXPECT_EQ(understood("I from /data/from/a/ to /data/to/a/ copy done!!!\\n|$done"), told());
  EXPECT_EQ("a/ a/b/ a/b/c=1", out);
}

TEST_F(CopyLog, LeavesOutTheTargetInsideTheSourceAndAFileThatIsItself) {
  TELL("copy_log", copy_log("/data/from/b/to/", kFrom), R"(
/data/from/a=1; /data/from/b/c=2; /data/from/b/to/d=3 ->
  I from /data/from/b/ to /data/from/b/to/b/ copy done!!!\n|
  I from /data/from/ to /data/from/b/to/ copy done!!!\n
  => /data/from/b/to/a=1; /data/from/b/to/b/c=2; /data/from/b/to/b/to/d=
)");
  write_file(made("/data/x/a"), "one file");
  fs::create_directory(file("/data/y"));
  fs::create_hard_link(file("/data/x/a"), file("/data/y/a"));
  fs::create_symlink(file("/data/y/a"), file("/data/x/b"));
  fs::create_symlink(file("/data/y/a"), file("/data/y/b"));
  copy_log("/data/y/", "/data/x/");
  EXPECT_EQ("a=one file b@", tree("/data/y"));
}

TEST_F(CopyLog, NeitherWaitsForPipesNorTakesThem) {
  ASSERT_EQ(0, mkfifo(made("/data/from/pipe").c_str(), 0600));
  ASSERT_EQ(0, mknod(file("/data/from/socket").c_str(), S_IFSOCK | 0600, 0));
  write_file(made("/data/from/pipe2"), "text");
  fs::create_directory(file(kTo));
  ASSERT_EQ(0, mkfifo(file("/data/to/pipe2").c_str(), 0600));
  copy();
  EXPECT_EQ("pipe2|", out);
}

TEST_F(CopyLog, LeavesOutPathsThatDoNotFit) {
  // In "/data/from/", whichever of the two that is, a path of 255 characters has this name.
  const std::string fits(255 - (sizeof kFrom - 1), 'f');
  const std::string folder(fits.size() - 1, 'd');  // with its '/'
  const std::pair<const char*, const char*> ways[] = {{kFrom, kTo}, {kTo, kFrom}};
  for (const auto& [from, to] : ways) {
    fs::remove_all(file("/data"));
    for (const std::string& name : {fits, fits + "f", folder + "/f", folder + "d/f"}) {
      write_file(made(from + name), "1");
    }
    lines();
    copy_log(to, from);
    EXPECT_EQ(fits + "=1", tree(to).substr(folder.size() + 2));
    EXPECT_EQ(folder + "/", tree(to).substr(0, folder.size() + 1));
  }
}

TEST_F(CopyLog, GoesDeepOnASmallStackWithFewDescriptors) {
  rlimit files{};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &files));
  files.rlim_cur = 1024;
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &files));
  std::string path = kFrom;
  while (path.size() + 3 <= 255) path += "d/";
  write_file(made(path + "f"), "deep");
  pthread_attr_t small;
  ASSERT_EQ(0, pthread_attr_init(&small));
  ASSERT_EQ(0, pthread_attr_setstacksize(&small, 1 << 20));
  ASSERT_EQ(0, pthread_setattr_default_np(&small));
  std::thread([] { copy_log(kTo, kFrom); }).join();
  EXPECT_EQ("deep", read_file(file((kTo + path.substr(sizeof kFrom - 1) + "f").c_str())));
  EXPECT_EQ(0, Delete_Folder("/data/from"));
  EXPECT_FALSE(fs::exists(file(kFrom)));
}

}  // namespace
}  // namespace fcx_test
