// Extraction of archives.
#include <set>

#include "fcx/make_zip_file.h"
#include "tests/memory.h"
#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

constexpr size_t kPiece = 16384;

class Unzip : public LogTest {
 protected:
  Unzip() {
    TELL("parts", 0, R"(
let opened = I LOGSAVE : OpenUnZip creating /z.zip\n
let out = I TAVRIN_UNZIP : extracting:
let first = $opened|$out a\n
let error = TAVRIN_UNZIP : error
)");
  }

  std::set<std::string> files() {
    std::set<std::string> found;
    const fs::path root = file("/");
    for (const auto& each : fs::recursive_directory_iterator(root)) {
      if (!each.is_directory()) found.insert(each.path().lexically_relative(root));
    }
    return found;
  }

  /// Extracts "/z.zip", or the odd archive that the property "zip" names, with "/typed" on standard
  /// input, and puts the names of the files that this makes into `out`. The properties
  /// "without_path", "overwrite" and "password" are the arguments.
  /// @return as FolderFromZip(); 9 when it cannot be opened
  int extract() {
    prepare();
    const fs::path odd = fs::path(FCX_ODD_ARCHIVES) / given("zip", "none");
    if (fs::exists(odd)) fs::copy_file(odd, file("/z.zip"));
    EXPECT_TRUE(freopen(fs::exists(file("/typed")) ? file("/typed").c_str() : "/dev/null", "r",
                        stdin) != nullptr);
    const std::set<std::string> before = files();
    char path[] = "/z.zip";
    MakeZipFile zip;
    if (!zip.OpenUnZip(path)) return 9;
    const std::string password = given("password", "none");
    const int result =
        zip.FolderFromZip(given("without_path", "") == "1", given("overwrite", "") == "1",
                          password == "none" ? nullptr : password.c_str());
    EXPECT_EQ(0, zip.CloseUnZip());
    out.clear();
    for (const std::string& each : files()) {
      if (before.count(each) == 0) out += (out.empty() ? "" : " ") + each;
    }
    EXPECT_FALSE(fs::exists(directory() / "out"));
    return result;
  }
};

TEST_F(Unzip, EntriesAreExtractedIntoFoldersThatAreMadeForThem) {
  let("n255", std::string(255, 'n'));
  TELL("FolderFromZip", extract(), R"(
let made = I TAVRIN_UNZIP : creating directory:
zip=whole -> $first|$out d/b\n => /a=first; /d/b=second second second; out=a d/b
zip=whole; /d/c= -> $first|$out d/b\n => /d/c=; out=a d/b
zip=folders -> $opened|$made d/\n|$made d/e/\n|$out d/e/f\n|$made g\\n|$out g\h\n
  => /d/e/f=deep; /g\h=flat; out=d/e/f g\h
zip=folders; without_path=1 -> $opened|$out f\n|$out h\n => /f=deep; /h=flat; out=f h
zip=dots -> $opened|$out ..a/b../...\n => out=..a/b../...
zip=parent; without_path=1 -> $opened|$out out\n => out=out
zip=name_of_255 -> $opened|$out $n255\n => out=$n255
zip=empty_name -> $opened|$made\s\n => out=
zip=declares_terabyte -> $first => /a=x
zip=twice; overwrite=1 -> $first|$out a\n => /a=second
)");
}

TEST_F(Unzip, WhatIsWrongIsTold) {
  TELL("FolderFromZip", extract(), R"(
let no = E LOGSAVE : OpenUnZip error /z.zip :
zip=cut_in_half -> $no (Invalid argument)\n => result=9
zip=garbage -> $no (Invalid argument)\n => result=9
zip=no_entries -> $no (Invalid argument)\n => result=9
zip=nothing -> $no (Invalid argument)\n => result=9
-> $no (No such file or directory)\n => result=9
zip=whole; /z.zip!open 13 -> $no (Permission denied)\n => result=9
zip=whole; /z.zip!read -> $no (Input/output error)\n => result=9
zip=whole; /z.zip!stat -> $no (Input/output error)\n => result=9
let entry = $opened|E do_extract_currentfile:
zip=absolute -> $entry /out leads out of the folder\n => out=; result=1
zip=absolute_backslash -> $entry \out leads out of the folder\n => out=; result=1
zip=parent -> $entry d/../../out leads out of the folder\n => out=; result=1
zip=parent_backslash -> $entry d\..\out leads out of the folder\n => out=; result=1
zip=parent_folder -> $entry ../ leads out of the folder\n => out=; result=1
zip=parent_last -> $entry d/.. leads out of the folder\n => out=; result=1
zip=parent_last; without_path=1; overwrite=1 -> $opened|I $error opening ..\n => result=1
zip=name_of_256 -> $entry a name of 256 characters\n => out=; result=1
zip=unknown_method -> $opened|E $error -103 with zipfile in unzOpenCurrentFilePassword\n
  => out=; result=1
let wrong = $first|I $error -105 with zipfile in unzCloseCurrentFile\n
zip=wrong_checksum -> $wrong => out=a; result=1
zip=declares_less -> $wrong => /a=xxx; result=1
let other = $first|E do_extract_currentfile: a is not what was packed\n
zip=declares_more_and_wrong_checksum -> $other => /a=x; result=1
zip=cut_at_its_end -> $opened|E $error -103 with zipfile in unzGetCurrentFileInfo\n
  => out=; result=1
zip=stored_past_the_end -> $first|I $error -1 with zipfile in unzReadCurrentFile\n
  => /a=; result=1
zip=wrong_deflate -> $first|I $error -3 with zipfile in unzReadCurrentFile\n => /a=; result=1
zip=entries_missing -> $first|E @: error -103 with zipfile in unzGoToNextFile\n
  => /a=first; result=1
zip=link -> $opened|$out l\n|I $error opening l/x\n => /l=/etc; out=l; result=1
)");
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
  TELL("FolderFromZip", extract(), R"(
let given = zip=whole; overwrite=1
let unopened = $opened|I $error opening a\n
let unwritten = $first|I $error in writing extracted file\n
$given; /a=old and longer -> $first|$out d/b\n => /a=first; out=d/b
$given; /a/inside=1 -> $unopened => /a/inside=1; result=1
$given; /a!open -> $unopened => out=; result=1
$given; /a!short 2 write -> $unwritten => /a=; result=1
$given; /a!close -> $unwritten => /a=; result=1
do=echo >z.zip && zip -q x z.zip && mv x.zip z.zip; overwrite=1 -> $opened|I $error opening z.zip\n => result=1
$given; /d/!mkdir 30; /d!mkdir 30 -> $first|E makedir: d: Read-only file system\n|
  I $error opening d/b\n => out=a; result=1
$given; /data/target=kept; do=ln -s data/target a -> $unopened => /data/target=kept; result=1
zip=whole; do=ln -s data/target a -> $unopened => out=; result=1
)");
}

TEST_F(Unzip, WhetherToReplaceIsAskedOnStandardInput) {
  TELL("FolderFromZip", extract(), R"(
let given = zip=whole; /a=old; /d/b=old
let ask = I TAVRIN_UNZIP : The file a exists. Overwrite ? [y]es, [n]o, [A]ll:\s
let ask_b = I TAVRIN_UNZIP : The file d/b exists. Overwrite ? [y]es, [n]o, [A]ll:\s
let second = /d/b=second second second
$given; /typed=y\nn\n -> $opened|$ask|$out a\n|$ask_b => /a=first; /d/b=old
$given; /typed=\sNever\x09\n\n YES -> $opened|$ask|$ask_b|$out d/b\n => /a=old; $second
$given; /typed=x 1y all -> $opened|$ask|$ask|$ask|$out a\n|$out d/b\n => /a=first; $second
zip=whole; /a=old; /a!stat; /typed=a -> $opened|$ask|$out a\n|$out d/b\n => /a=first
)");
  for (const char* typed : {"", " \n", "maybe\n", "y\n"}) {
    SCOPED_TRACE(typed);
    fresh_phone();
    for (const char* each : {"zip=whole", "/a=old", "/d/b=old"}) give(each);
    give("/typed="s + typed);
    EXPECT_EXIT(extract(), testing::ExitedWithCode(1), "");
    EXPECT_EQ(typed[0] == 'y' ? "first" : "old", read_file(file("/a")));
    EXPECT_EQ("old", read_file(file("/d/b")));
  }
}

TEST_F(Unzip, OtherProgramsArchivesAreExtracted) {
  for (const std::string packer : {"zip -qr", "zip -qr0", "zip -qrD", "zip -qrfz", "7z a -bso0",
                                   "7z a -bso0 -mx9", "python3 -m zipfile -c"}) {
    fresh_phone();
    run("mkdir -p tree/deep/deeper tree/empty && cp /bin/sh tree/deep/deeper/sh && chmod u+rw "
        "tree/deep/deeper/sh && seq 99999 >tree/n && : >tree/none && echo text >'tree/a name' && " +
        packer + " z.zip tree && mv tree packed");
    ASSERT_EQ(0, extract()) << packer;
    run("mkdir -p tree/empty && diff -r packed tree");
  }
  fresh_phone();
  run("python3 -c 'import zipfile; z = zipfile.ZipFile(\"z.zip\", \"w\"); "
      "[z.writestr(\"many/%d\" % i, str(i)) for i in range(10000)]; z.close()'");
  EXPECT_EQ(0, extract());
  EXPECT_EQ("9999", read_file(file("/many/9999")));
  EXPECT_EQ(10000, std::distance(fs::directory_iterator(file("/many")), {}));
}

TEST_F(Unzip, EncryptedEntriesStayShut) {
  TELL("FolderFromZip", extract(), R"(
let pack = do=echo 1 >a && seq 9999 >b && zip -q z.zip a && zip -qP right z.zip b && rm a b
let refused = $first|E $error -102 with zipfile in unzOpenCurrentFilePassword\n
$pack; password=right -> $refused => /a=1\n; out=a; result=1
$pack; password=wrong -> $refused => /a=1\n; out=a; result=1
$pack; password= -> $refused => /a=1\n; out=a; result=1
$pack -> $first|$out b\n|I $error -3 with zipfile in unzReadCurrentFile\n => /a=1\n; result=1
)");
}

TEST_F(Unzip, FoldersAreMadeWithThoseThatTheyAreIn) {
  const auto make = [&] {
    const int made = makedir(given("path", "made/x/y").c_str());
    out = tree("/made");
    return made;
  };
  TELL("makedir", make(), R"(
/made/x/y/z= -> => out=x/ x/y/ x/y/z=; result=1
/made/n= -> => out=n= x/ x/y/; result=1
/made/x=file -> E @: made/x/y: Not a directory\n => out=x=file; result=1
/made/n=; /made/x!mkdir 2 -> E TAVRIN_UNZIP : couldn't makedir directory made/x\n => out=n=
/made/x/n=; /made/x/y!mkdir 30 -> E @: made/x/y: Read-only file system\n => out=x/ x/n=; result=1
path=made/x\y/z/ -> => out=x/ x\y/ x\y/z/; result=1
)");
  EXPECT_EQ(0704u, static_cast<unsigned>(fs::status(file("/made/x")).permissions()) & 0777)
      << "decimal 644, and what the bench gives the owner";
  refuse_memory(7);
  EXPECT_EQ(-104, makedir("made/z"));
  EXPECT_EQ("E TAVRIN_UNZIP : Error allocating memory\n", told());
  refuse_memory(0);
  const std::map<const char*, int> odd = {{"", 0}, {"/", 1}, {"//", 1}, {"data", 1}, {"../..", 1}};
  for (const auto& [path, made] : odd) EXPECT_EQ(made, makedir(path)) << path;
  EXPECT_EQ(0, makedir(nullptr));
  EXPECT_EQ("", told());
}

}  // namespace
}  // namespace fcx_test
