// Packing of folders: archives are read by other programs.
#include "fcx/make_zip_file.h"
#include "tests/memory.h"
#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

constexpr size_t kPiece = 16384;

class ZipFile : public LogTest {
 protected:
  ZipFile() {
    TELL("parts", 0, R"(
let called = I LOGSAVE : szFilename = /z.zip szIncludeFolder = /logs/\n
let begun = $called|I LOGSAVE : creating /z.zip\n
let unopened = I LOGSAVE : [FolderToZip] Directory Open ERROR!!!!\n
)");
  }

  /// The entries of an archive, whose names come sorted, as a program that looks at all of them
  /// finds them.
  std::string entries(const std::string& code = "'%s=%s' % (i.filename, z.read(i).decode())") {
    return run(
        "python3 -c \"import zipfile\nz = zipfile.ZipFile('z.zip')\n"
        "print(*sorted(str(" +
        code + ") for i in z.infolist()), end='')\"");
  }
  int pack(const char* folder = "/logs/") {
    prepare();
    std::string zip = "/z.zip", name = folder;
    const int result = logsave_makezip(zip.data(), name.data());
    EXPECT_EQ(folder, name) << "it is the caller's";
    return result;
  }
  int pack_and_look() {
    const int result = pack();
    out = fs::exists(file("/z.zip")) ? entries() : "no archive";
    return result;
  }
};

TEST_F(ZipFile, WhatIsPackedIsWhatOtherProgramsUnpack) {
  run(R"(mkdir -p logs/deep/er logs/empty && cd logs && seq 99999 >numbers && : >none &&
      printf 'a\0b' >nul && head -c 1000000 /dev/zero >deep/er/line && ln -s ../none deep/link &&
      ln -s nowhere dangling && ln -s self self && ln -s .. deep/up && ln -s . deep/here &&
      ln -s /dev/null device && mkfifo pipe && echo >'a name' && echo text >'deep/\name' &&
      touch -d '2020-02-03 04:05:06' numbers && echo x >)" +
      std::string(255, 'n'));
  for (const size_t size : {kPiece - 1, kPiece, kPiece + 1, size_t{300'001}}) {
    give("/logs/" + std::to_string(size) + "=" + noise(size));
  }
  char archive[] = "/logs/z.zip", folder[] = "/logs";
  for (const bool is_repeated : {false, true}) {
    EXPECT_EQ(0, logsave_makezip(archive, folder)) << is_repeated;
    EXPECT_EQ(
        "I LOGSAVE : szFilename = /logs/z.zip szIncludeFolder = /logs\n|"
        "I LOGSAVE : creating /logs/z.zip\n",
        told());
  }
  fs::rename(file("/logs/z.zip"), file("/z.zip"));
  run("unzip -tqq z.zip && 7z t -bso0 z.zip && mkdir py && python3 -m zipfile -e z.zip py && "
      "unzip -qq z.zip -d unzip && 7z x -bso0 -o7z z.zip && rm -r logs/dangling logs/self "
      "logs/deep/up logs/deep/here logs/device logs/pipe logs/empty");
  for (const char* unpacked : {"py", "7z", "unzip"}) run("diff -r logs "s + unpacked);
  EXPECT_EQ("(2020, 2, 3, 4, 5, 6)", entries("z.getinfo('numbers').date_time").substr(0, 21));
  EXPECT_EQ("8 8 8 8 8 8 8 8 8 8 8 8", entries("i.compress_type"));
}

TEST_F(ZipFile, WhatCannotBeReadIsToldAndTheRestIsPacked) {
  TELL("logsave_makezip", pack_and_look(), R"(
/logs/a=first; /logs/d/b=second -> $begun => out=a=first d/b=second
/logs/d/b=second; do=truncate -s 99999 z.zip -> $begun => out=d/b=second
/logs/a=first; /logs/b=second; /logs/a!open 13 ->
  $begun|I LOGSAVE : error in opening /logs/a for reading\n => out=a= b=second
/logs/a=first; /logs/a!read -> $begun|I LOGSAVE : error in reading /logs/a\n => out=a=
/logs/a=first; /logs/a!stat -> $begun => out=a=first
/logs/a=first; /logs/a!stat 2 -> $begun => out=
/logs/a=first; /logs/d/b=second; /logs/d!open -> $begun|$unopened => out=a=first
/logs/a=first; /logs/d/b=second; /logs/d!read ->
  $begun|E FolderToZip: /logs/d: Input/output error\n => out=a=first
/logs/a=first; do=truncate -s 4G logs/big ->
  $begun|I LOGSAVE : error in writing /logs/big in the zipfile\n => out=a=first
)");
}

TEST_F(ZipFile, AnArchiveThatIsNotCompletedIsRemoved) {
  TELL("logsave_makezip", pack(), R"(
let unopened = $unopened|I @: Error Opening Directory (/logs/)
let incomplete = $begun|E @: /z.zip is not completed:
/z.zip=old; /z.zip!open 13 ->
  $called|I LOGSAVE : error opening /z.zip\n|I @: Error Opening Zip file (/z.zip)
  => /z.zip=old; result=1
-> $begun|$unopened => /z.zip=; result=1
/logs=file -> $begun|$unopened => /z.zip=; result=1
/logs/a=; /logs!open -> $begun|$unopened => /z.zip=; result=1
/logs/a=; /logs!stat -> $begun|$unopened => /z.zip=; result=1
/logs/a=first; /z.zip!write -> $incomplete Input/output error\n => /z.zip=; result=1
/logs/a=first; /z.zip!close -> $incomplete Input/output error\n => /z.zip=; result=1
/logs/a=first; /z.zip!short 3 write; /z.zip!remove 30 -> $incomplete No space left on device\n|
  E @: /z.zip stays: Read-only file system\n => /z.zip=PK\3; result=1
let noise = do=mkdir logs && head /dev/urandom >logs/a -c
$noise 200000; /z.zip!write ->
  $begun|I LOGSAVE : error in writing /logs/a in the zipfile\n|E @: /z.zip is not completed:
  Input/output error\n => /z.zip=; result=1
$noise 65520; /z.zip!write ->
  $begun|I LOGSAVE : error in closing /logs/a in the zipfile\n|E @: /z.zip is not completed:
  Input/output error\n => /z.zip=; result=1
)");
}

TEST_F(ZipFile, AFullDiskAtAnyMomentLeavesNoArchive) {
  for (const Access access : {Access::write, Access::seek, Access::close}) {
    int64_t after = 1;
    for (bool is_packed = false; !is_packed; ++after) {
      ASSERT_LT(after, 99);
      fresh_phone();
      for (const char* each : {"a=", "b=", "d/c="}) give("/logs/"s + each + noise(80'000));
      fault(Part::file, "/z.zip", Effect::fail, ENOSPC, access, 1, after);
      const int result = pack();
      is_packed = vp::faults(phone()).size() == 1;
      EXPECT_EQ(is_packed ? 0 : 1, result) << after;
      EXPECT_EQ(is_packed, fs::exists(file("/z.zip"))) << after;
    }
    EXPECT_GT(after, access == Access::close ? 2 : 5) << "accesses that failed";
  }
  EXPECT_EQ("80000 80000 80000", entries("i.file_size"));
}

TEST_F(ZipFile, APathIsPackedWholeOrNotAtAll) {
  // Folders of one letter, down to where a file's path has 999 characters, and 1,000.
  std::string folder = "/logs";
  while (folder.size() + 2 <= 994) folder += "/d";
  const std::string room = folder.substr(6) + "/" + std::string(998 - folder.size(), 'f');
  give("/logs/" + room + "=fits");
  give("/logs/" + room + "f=does not");
  on_small_stack([&] { EXPECT_EQ(0, pack()); });
  EXPECT_EQ(room + "=fits", entries());
}

TEST_F(ZipFile, AnEntryIsNamedFromWhereTheRootFolderEnds) {
  give("/logs/d/a=");
  MakeZipFile zip;
  char archive[] = "/z.zip", logs[] = "/logs/", deep[] = "/logs/d", root[] = "/logs//",
       empty[] = "", none[] = "/none";
  ASSERT_TRUE(zip.OpenZip(archive));
  EXPECT_EQ(0, zip.FolderToZip(deep, false));
  EXPECT_EQ(0, zip.FolderToZip(logs, true));
  EXPECT_EQ(0, zip.FolderToZip(deep, false));
  EXPECT_EQ(0, zip.FileToZip("/logs/d/a"));
  EXPECT_EQ(0, zip.FolderToZip(root, true));
  EXPECT_EQ(1, zip.FolderToZip(none, true));
  EXPECT_EQ(1, zip.FolderToZip(empty, true));
  for (const char* path : {"", "/none", "/logs", "/logs/d/../d/a"}) {
    EXPECT_EQ(0, zip.FileToZip(path)) << path;
  }
  zip.CloseZip();
  zip.CloseZip();
  EXPECT_EQ("d/a d/a d/a d/a logs/d/../d/a logs/d/a", entries("i.filename"));
  EXPECT_EQ(understood("I LOGSAVE : creating /z.zip\n|$unopened|$unopened"), told());
}

TEST_F(ZipFile, WhatIsWrongWithACallIsItsResult) {
  MakeZipFile zip;
  char archive[] = "/z.zip";
  give("/a=text");
  EXPECT_FALSE(zip.OpenZip(nullptr));
  EXPECT_EQ(1, zip.FolderToZip(nullptr, true));
  EXPECT_EQ(-104, zip.FileToZip(nullptr));
  EXPECT_EQ(1, logsave_makezip(nullptr, archive));
  EXPECT_EQ(1, logsave_makezip(archive, nullptr));
  EXPECT_EQ("", told());
  EXPECT_EQ(0, zip.FileToZip("/a"));
  ASSERT_TRUE(zip.OpenZip(archive));
  refuse_memory(kPiece);
  EXPECT_EQ(-104, zip.FileToZip("/a"));
  refuse_memory(0);
  fault(Part::file, "/z.zip", Effect::fail, ENOSPC, Access::write);
  EXPECT_TRUE(zip.OpenZip(archive)) << "which closes the other";
  EXPECT_EQ(
      "I LOGSAVE : error in opening /a in zipfile\n|I LOGSAVE : creating /z.zip\n|"
      "I LOGSAVE : Error allocating memory\n|"
      "E CloseZip: not completed: No space left on device\n|I LOGSAVE : creating /z.zip\n",
      told());
  clear_faults();
  zip.CloseZip();
  EXPECT_EQ("", entries());
}

TEST_F(ZipFile, HasNoMoreEntriesThanItsListHolds) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
  GTEST_SKIP() << "so many entries would take minutes";
#endif
  give("/a=");
  for (const int count : {65'535, 65'536}) {
    MakeZipFile zip;
    char archive[] = "/z.zip";
    ASSERT_TRUE(zip.OpenZip(archive));
    for (int i = 0; i < count; ++i) ASSERT_EQ(0, zip.FileToZip("/a"));
    zip.CloseZip();
    EXPECT_EQ(count == 65'535
                  ? "I LOGSAVE : creating /z.zip\n"
                  : "I LOGSAVE : creating /z.zip\n|"
                    "I LOGSAVE : error in opening /a in zipfile\n|"
                    "E CloseZip: not completed: Value too large for defined data type\n",
              told());
    if (count == 65'535) {
      EXPECT_EQ("65535", run("python3 -c 'import zipfile as "
                             "z;print(len(z.ZipFile(\"z.zip\").filelist),end=\"\")'"));
    }
  }
}

TEST_F(ZipFile, AFilesTimeIsThatOfItsLastChange) {
  const std::string longest = "/" + std::string(254, 'n');
  ASSERT_EQ(0, setenv("TZ", "UTC", 1));
  run("mkdir d && touch -d '2020-02-03 04:05:06' d ." + longest);
  MakeZipFile zip;
  const auto time = [&](const std::string& name) {
    tm_zip at{};
    const int is_found = zip.filetime(nullptr, name.c_str(), &at);
    return std::vector<uInt>{static_cast<uInt>(is_found),
                             at.tm_year,
                             at.tm_mon,
                             at.tm_mday,
                             at.tm_hour,
                             at.tm_min,
                             at.tm_sec};
  };
  for (const std::string& name : {"/d"s, "/d/"s, "d"s, "/d//"s, longest}) {
    EXPECT_THAT(time(name), ElementsAre(1, 120, 1, 3, 4, 5, 6)) << name;
  }
  for (const std::string& name : {"-"s, "/none"s, "/"s, ""s, longest + "n"}) {
    EXPECT_THAT(time(name), ElementsAre(0, 70, 0, 1, 0, 0, 0)) << name;
  }
  tm_zip at{};
  EXPECT_EQ(0, zip.filetime(nullptr, nullptr, &at));
  EXPECT_EQ(0, zip.filetime(nullptr, "/d", nullptr));
}

}  // namespace
}  // namespace fcx_test
