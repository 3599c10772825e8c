// Extraction of archives.
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <set>

#include "fcx/make_zip_file.h"
#include "tests/memory.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

constexpr size_t kPiece = 16384;

/// What people type, and then nothing more.
void type(std::string_view text) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
  ASSERT_EQ(STDIN_FILENO, dup2(ends[0], STDIN_FILENO));
  close(ends[0]);
  close(ends[1]);
  __fpurge(stdin);
  clearerr(stdin);
}

struct Wish {
  int without_path = 0;
  int overwrite = 0;
  const char* password = nullptr;
};

class Unzip : public StoryTest {
 protected:
  Unzip() : archives_(directory().string() + "-archives") {
    let("opened", "I LOGSAVE : OpenUnZip creating /z.zip\n");
    let("out", "I TAVRIN_UNZIP : extracting:");
    let("first", "I LOGSAVE : OpenUnZip creating /z.zip\n|I TAVRIN_UNZIP : extracting: a\n");
    let("leads", "E do_extract_currentfile:");
    fs::create_directory(archives_);
  }
  ~Unzip() override { fs::remove_all(archives_); }

  /// Runs a command where the archives are.
  void run(const std::string& command) {
    ASSERT_EQ(0, system(("cd " + archives_.string() + " && " + command).c_str())) << command;
  }

  std::string made(const char* name) { return archives_ / (name + ".zip"s); }

  std::set<std::string> files() {
    std::set<std::string> found;
    const fs::path root = file("/");
    for (const auto& each : fs::recursive_directory_iterator(root)) {
      const std::string name = each.path().lexically_relative(root).string();
      if (!each.is_directory()) found.insert(name);
    }
    return found;
  }

  /// Extracts an archive, odd unless its path is whole, as "/z.zip", and puts the names of the
  /// files that this makes into `out`.
  /// @return as FolderFromZip(); 9 when it cannot be opened
  int extract(const std::string& name, Wish wish = {}) {
    if (!name.empty()) fs::copy_file(fs::path(FCX_ODD_ARCHIVES) / name, file("/z.zip"));
    const std::set<std::string> before = files();
    char path[] = "/z.zip";
    MakeZipFile zip;
    if (!zip.OpenUnZip(path)) return 9;
    const int result = zip.FolderFromZip(wish.without_path, wish.overwrite, wish.password);
    EXPECT_EQ(0, zip.CloseUnZip());
    out.clear();
    for (const std::string& each : files()) {
      if (before.count(each) == 0) out += (out.empty() ? "" : " ") + each.substr(0, 20);
    }
    for (const fs::path& outside : {directory(), directory().parent_path()}) {
      EXPECT_FALSE(fs::exists(outside / "out")) << name;
    }
    return result;
  }

 private:
  fs::path archives_;
};

TEST_F(Unzip, EntriesAreExtractedIntoFoldersThatAreMadeForThem) {
  TELL("whole", extract("whole"), R"(
-> $first|$out d/b\n => /a=first; /d/b=second second second; out=a d/b
/d/c= -> $first|$out d/b\n => /d/c=; out=a d/b
)");
  TELL("folders", extract("folders"), R"(
let made = I TAVRIN_UNZIP : creating directory:
-> $opened|$made d/\n|$made d/e/\n|$out d/e/f\n|$made g\\n|$out g\h\n
  => /d/e/f=deep; /g\h=flat; out=d/e/f g\h
)");
  TELL("folders", extract("folders", {1, 0, nullptr}),
       "-> $opened|$out f\\n|$out h\\n => /f=deep; /h=flat; out=f h");
  TELL("dots", extract("dots"), "-> $opened|$out ..a/b../...\\n => out=..a/b../...");
  TELL("parent", extract("parent", {1, 0, nullptr}), "-> $opened|$out out\\n => out=out");
}

TEST_F(Unzip, WhatIsNoArchiveIsNotOpened) {
  let("no", "E LOGSAVE : OpenUnZip error /z.zip :");
  for (const char* name : {"cut_in_half", "garbage", "no_entries", "nothing"}) {
    TELL(name, extract(name), "-> $no (Invalid argument)\\n => result=9");
  }
  TELL("none", extract(""), "-> $no (No such file or directory)\\n => result=9");
  TELL("whole", extract("whole"), R"(
/z.zip!open 13 -> $no (Permission denied)\n => result=9
/z.zip!read -> $no (Input/output error)\n => result=9
/z.zip!stat -> $no (Input/output error)\n => result=9
)");
}

TEST_F(Unzip, WhatIsWrongWithAnEntryIsTold) {
  let("error", "TAVRIN_UNZIP : error");
  const std::map<const char*, const char*> stories = {
      {"absolute", "$opened|$leads /out leads out of the folder\\n => out="},
      {"absolute_backslash", "$opened|$leads \\out leads out of the folder\\n => out="},
      {"parent", "$opened|$leads d/../../out leads out of the folder\\n => out="},
      {"parent_backslash", "$opened|$leads d\\..\\out leads out of the folder\\n => out="},
      {"parent_folder", "$opened|$leads ../ leads out of the folder\\n => out="},
      {"parent_last", "$opened|$leads d/.. leads out of the folder\\n => out="},
      {"name_of_256", "$opened|$leads a name of 256 characters\\n => out="},
      {"unknown_method",
       "$opened|E $error -103 with zipfile in unzOpenCurrentFilePassword\\n"
       " => out="},
      {"wrong_checksum", "$first|I $error -105 with zipfile in unzCloseCurrentFile\\n => out=a"},
      {"declares_less", "$first|I $error -105 with zipfile in unzCloseCurrentFile\\n => /a=xxx"},
      {"declares_more_and_wrong_checksum", "$first|$leads a is not what was packed\\n => /a=x"},
      {"cut_at_its_end", "$opened|E $error -103 with zipfile in unzGetCurrentFileInfo\\n => out="},
      {"stored_past_the_end", "$first|I $error -1 with zipfile in unzReadCurrentFile\\n => /a="},
      {"wrong_deflate", "$first|I $error -3 with zipfile in unzReadCurrentFile\\n => /a="},
      {"entries_missing",
       "$first|E FolderFromZip: error -103 with zipfile in unzGoToNextFile\\n"
       " => /a=first"},
      {"link", "$opened|$out l\\n|I TAVRIN_UNZIP : error opening l/x\\n => /l=/etc; out=l"},
  };
  for (const auto& [name, story] : stories) {
    TELL(name, extract(name), "-> " + std::string(story) + "; result=1");
  }
  TELL("name_of_255", extract("name_of_255"),
       "-> $opened|$out " + std::string(255, 'n') + "\\n => out=" + std::string(20, 'n'));
  TELL("empty_name", extract("empty_name"),
       "-> $opened|I TAVRIN_UNZIP : creating directory: \\n => out=");
  TELL("parent_last", extract("parent_last", {1, 1, nullptr}),
       "-> $opened|I TAVRIN_UNZIP : error opening ..\\n => result=1");
  TELL("declares_more", extract("declares_more"), "-> $first => /a=x");
  TELL("declares_terabyte", extract("declares_terabyte"), "-> $first => /a=x");
  TELL("twice", extract("twice", {0, 1, nullptr}), "-> $first|$out a\\n => /a=second");
}

TEST_F(Unzip, TheCodeOfAnEntryIsMinizipsOrItsOwn) {
  const std::map<const char*, int> codes = {
      {"absolute", -1},         {"declares_more_and_wrong_checksum", -105},
      {"name_of_256", -1},      {"cut_at_its_end", -103},
      {"unknown_method", -103}, {"whole", 0},
      {"wrong_checksum", -105}, {"stored_past_the_end", -1},
      {"wrong_deflate", -3}};
  int without_path = 0, overwrite = 1;
  for (const auto& [name, code] : codes) {
    const unzFile opened = unzOpen64((FCX_ODD_ARCHIVES "/"s + name).c_str());
    EXPECT_EQ(code, do_extract_currentfile(opened, &without_path, &overwrite, nullptr)) << name;
    if (name == "cut_at_its_end"s) {
      EXPECT_EQ("E TAVRIN_UNZIP : error -103 with zipfile in unzGetCurrentFileInfo\n", told());
    }
    told();
    if (code == 0) {
      refuse_memory(kPiece);
      EXPECT_EQ(-104, do_extract_currentfile(opened, &without_path, &overwrite, nullptr));
      refuse_memory(0);
      EXPECT_EQ("I TAVRIN_UNZIP : Error allocating memory\n", told());
      EXPECT_EQ(-102, do_extract_currentfile(opened, nullptr, &overwrite, nullptr));
      EXPECT_EQ(-102, do_extract_currentfile(opened, &without_path, nullptr, nullptr));
    }
    EXPECT_EQ(0, unzClose(opened));
  }
  EXPECT_EQ(-102, do_extract_currentfile(nullptr, &without_path, &overwrite, nullptr));
  MakeZipFile zip;
  EXPECT_FALSE(zip.OpenUnZip(nullptr));
  EXPECT_EQ("", told());
  EXPECT_EQ(2, zip.FolderFromZip(0, 0, nullptr));
  EXPECT_EQ("E FolderFromZip: error -102 with zipfile in unzGetGlobalInfo64\n", told());
}

TEST_F(Unzip, WhatIsInTheTargetsPlaceIsReplacedInPlaceOrKeepsIt) {
  const Wish overwriting{0, 1, nullptr};
  let("unopened", "I TAVRIN_UNZIP : error opening a\n");
  let("unwritten", "I TAVRIN_UNZIP : error in writing extracted file\n");
  TELL("whole", extract("whole", overwriting), R"(
/a=old and longer -> $first|$out d/b\n => /a=first; out=d/b
/a/inside=1 -> $opened|$unopened => /a/inside=1; result=1
/a!open -> $opened|$unopened => out=; result=1
/a!short 2 write -> $first|$unwritten => /a=fi; result=1
/a!close -> $first|$unwritten => /a=first; result=1
/d/!mkdir 30; /d!mkdir 30 -> $first|E makedir: d: Read-only file system\n|
  I TAVRIN_UNZIP : error opening d/b\n => out=a; result=1
)");
  const auto through_link = [&](Wish wish) {
    fs::create_symlink("data/target", file("/a"));
    return extract("whole", wish);
  };
  TELL("link", through_link(overwriting),
       "/data/target=kept -> $opened|$unopened => /data/target=kept; result=1");
  TELL("link", through_link({}), "-> $opened|$unopened => out=; result=1");
}

TEST_F(Unzip, WhetherToReplaceIsAskedOnStandardInput) {
  const auto answer = [&](const char* typed) {
    type(typed);
    return extract("whole");
  };
  let("old", "/a=old; /d/b=old");
  let("ask", "I TAVRIN_UNZIP : The file a exists. Overwrite ? [y]es, [n]o, [A]ll: ");
  let("ask_b", "I TAVRIN_UNZIP : The file d/b exists. Overwrite ? [y]es, [n]o, [A]ll: ");
  TELL("y n", answer("y\nn\n"), "$old -> $opened|$ask|$out a\\n|$ask_b => /a=first; /d/b=old");
  TELL("Never YES", answer(" Never\t\n\n YES"),
       "$old -> $opened|$ask|$ask_b|$out d/b\\n => /a=old; /d/b=second second second");
  TELL("x 1 all", answer("x 1y all"), R"(
$old -> $opened|$ask|$ask|$ask|$out a\n|$out d/b\n => /a=first; /d/b=second second second
)");
  TELL("a", answer("a"), "/a=old; /a!stat -> $opened|$ask|$out a\\n|$out d/b\\n => /a=first");
  for (const char* typed : {"", " \n", "maybe\n", "y\n"}) {
    fresh_phone();
    write_file(file("/a"), "old");
    fs::create_directory(file("/d"));
    write_file(file("/d/b"), "old");
    EXPECT_EXIT(answer(typed), testing::ExitedWithCode(1), "") << typed;
    EXPECT_EQ(typed[0] == 'y' ? "first" : "old", read_file(file("/a"))) << typed;
    EXPECT_EQ("old", read_file(file("/d/b"))) << typed;
  }
}

TEST_F(Unzip, OtherProgramsArchivesAreExtracted) {
  run("mkdir -p tree/deep/deeper tree/empty && cp /bin/sh tree/deep/deeper/sh && seq 99999 >tree/n "
      "&& : >tree/none && echo text >'tree/a name' && chmod -R u+rw tree");
  for (const char* packer : {"zip -qr", "zip -qr0", "zip -qrD", "zip -qrfz", "7z a -bso0",
                             "7z a -bso0 -mx9", "python3 -m zipfile -c"}) {
    fresh_phone();
    run("rm -f z.zip && " + std::string(packer) + " z.zip tree");
    ASSERT_EQ(0, extract(made("z"))) << packer;
    run("mkdir -p " + file("/tree/empty").string() + " && diff -r tree " + file("/tree").string());
  }
  run("python3 -c 'import zipfile; z = zipfile.ZipFile(\"many.zip\", \"w\"); "
      "[z.writestr(\"many/%d\" % i, str(i)) for i in range(10000)]; z.close()'");
  fresh_phone();
  EXPECT_EQ(0, extract(made("many")));
  EXPECT_EQ("9999", read_file(file("/many/9999")));
  EXPECT_EQ(10000, std::distance(fs::directory_iterator(file("/many")), {}));
}

TEST_F(Unzip, EncryptedEntriesStayShut) {
  run("seq 999 >a && seq 9999 >secret && zip -q z.zip a && zip -qP right z.zip secret");
  let("refused", "E TAVRIN_UNZIP : error -102 with zipfile in unzOpenCurrentFilePassword\n");
  for (const char* password : {"right", "wrong", ""}) {
    TELL(password, extract(made("z"), {0, 0, password}), "-> $first|$refused => out=a; result=1");
    run("cmp a " + file("/a").string());
  }
  TELL("none", extract(made("z")), R"(
-> $first|$out secret\n|I TAVRIN_UNZIP : error -3 with zipfile in unzReadCurrentFile\n
  => result=1
)");
}

TEST_F(Unzip, FoldersAreMadeWithThoseThatTheyAreIn) {
  const auto make = [&](const char* path) {
    const int made = makedir(path);
    std::set<std::string> found;
    for (const auto& each : fs::recursive_directory_iterator(file("/made"))) {
      found.insert(each.path().lexically_relative(file("/made")).string());
    }
    out.clear();
    for (const std::string& each : found) out += each + " ";
    return made;
  };
  TELL("makedir", make("made/x/y"), R"(
/made/x/y/z= -> => out=x x/y x/y/z ; result=1
/made/n= -> => out=n x x/y ; result=1
/made/x=file -> E @: made/x/y: Not a directory\n => out=x ; result=1
/made/n=; /made/x!mkdir 2 -> E TAVRIN_UNZIP : couldn't makedir directory made/x\n => out=n\s
/made/x/n=; /made/x/y!mkdir 30 -> E @: made/x/y: Read-only file system\n => out=x x/n ; result=1
)");
  TELL("makedir", make("made/x\\y/z/"), "-> => out=x x\\y x\\y/z ; result=1");
  EXPECT_EQ(0704u, static_cast<unsigned>(fs::status(file("/made/x")).permissions()) & 0777)
      << "decimal 644, and what the bench gives the owner";
  refuse_memory(7);
  TELL("makedir", make("made/x"),
       "/made/n= -> E TAVRIN_UNZIP : Error allocating memory\\n => out=n\\s; result=-104");
  refuse_memory(0);
  const std::map<const char*, int> odd = {{"", 0}, {"/", 1}, {"//", 1}, {"data", 1}, {"../..", 1}};
  for (const auto& [path, made] : odd) EXPECT_EQ(made, makedir(path)) << path;
  EXPECT_EQ(0, makedir(nullptr));
  EXPECT_EQ("", told());
}

}  // namespace
}  // namespace fcx_test
