// Packing of folders: archives are read by other programs.
#include <pthread.h>

#include <random>

#include "fcx/make_zip_file.h"
#include "tests/memory.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

constexpr size_t kPiece = 16384;

/// Bytes that nobody can shorten.
std::string noise(size_t size) {
  std::string bytes(size, '\0');
  std::mt19937 random(1);
  for (char& each : bytes) each = static_cast<char>(random());
  return bytes;
}

class ZipFile : public StoryTest {
 protected:
  ZipFile() {
    let("called", "I LOGSAVE : szFilename = /z.zip szIncludeFolder = /logs/\n");
    let("begun",
        "I LOGSAVE : szFilename = /z.zip szIncludeFolder = /logs/\n|I LOGSAVE : creating /z.zip\n");
    let("unopened", "I LOGSAVE : [FolderToZip] Directory Open ERROR!!!!\n");
  }

  /// Runs a command in the phone's root folder. @return what it prints
  std::string run(const std::string& command) {
    std::array<char, 4096> text{};
    FILE* const pipe = popen(("cd " + phone().root() + " && " + command).c_str(), "r");
    std::string printed;
    while (const size_t size = fread(text.data(), 1, text.size(), pipe)) {
      printed.append(text.data(), size);
    }
    EXPECT_EQ(0, pclose(pipe)) << command << printed;
    return printed;
  }
  /// The entries of an archive, whose names come sorted, as a program that looks at all of them
  /// finds them.
  std::string entries(const std::string& code = "'%s=%s' % (i.filename, z.read(i).decode())") {
    if (!fs::exists(file("/z.zip"))) return "no archive";
    return run(
        "python3 -c \"import zipfile\nz = zipfile.ZipFile('z.zip')\n"
        "print(*sorted(str(" +
        code + ") for i in z.infolist()), end='')\"");
  }
  int pack(const char* folder = "/logs/") {
    std::string zip = "/z.zip", name = folder;
    const int result = logsave_makezip(zip.data(), name.data());
    EXPECT_EQ(folder, name) << "it is the caller's";
    return result;
  }
  int pack_and_look() {
    const int result = pack();
    out = entries();
    return result;
  }
};

TEST_F(ZipFile, WhatIsPackedIsWhatOtherProgramsUnpack) {
  const std::string longest(255, 'n');
  run("mkdir -p logs/deep/er logs/empty && cd logs && seq 99999 >numbers && : >none && "
      "printf 'a\\0b' >nul && head -c 1000000 /dev/zero >deep/er/line && ln -s ../none deep/link "
      "&& "
      "ln -s nowhere dangling && ln -s self self && ln -s .. deep/loop && ln -s /dev/null device "
      "&& "
      "mkfifo pipe && echo >'a name' && echo text >'deep/\\name' && echo x >" +
      longest + " && touch -d '2020-02-03 04:05:06' numbers");
  for (const size_t size : {kPiece - 1, kPiece, kPiece + 1, 300'001ul}) {
    write_file(file(("/logs/" + std::to_string(size)).c_str()), noise(size));
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
      "logs/deep/loop logs/device logs/pipe logs/empty");
  for (const char* unpacked : {"py", "7z", "unzip"}) run("diff -r logs "s + unpacked);
  EXPECT_EQ("(2020, 2, 3, 4, 5, 6)", entries("z.getinfo('numbers').date_time").substr(0, 21));
  EXPECT_EQ("8 8 8 8 8 8 8 8 8 8 8 8", entries("i.compress_type"));
}

TEST_F(ZipFile, WhatCannotBeReadIsToldAndTheRestIsPacked) {
  TELL("logsave_makezip", pack_and_look(), R"(
/logs/a=first; /logs/d/b=second -> $begun => out=a=first d/b=second
/z.zip=old; /logs/d/b=second -> $begun => out=d/b=second
/logs/a=first; /logs/b=second; /logs/a!open 13 ->
  $begun|I LOGSAVE : error in opening /logs/a for reading\n => out=a= b=second
/logs/a=first; /logs/a!read -> $begun|I LOGSAVE : error in reading /logs/a\n => out=a=
/logs/a=first; /logs/a!stat -> $begun => out=a=first
/logs/a=first; /logs/a!stat 2 -> $begun => out=
/logs/a=first; /logs/d/b=second; /logs/d!open -> $begun|$unopened => out=a=first
/logs/a=first; /logs/d/b=second; /logs/d!read ->
  $begun|E FolderToZip: /logs/d: Input/output error\n => out=a=first
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
/logs/a=first; /z.zip!short 99 write -> $incomplete No space left on device\n
  => /z.zip=; result=1
/logs/a=first; /z.zip!close -> $incomplete Input/output error\n => /z.zip=; result=1
/logs/a=first; /z.zip!short 3 write; /z.zip!remove 30 -> $incomplete No space left on device\n|
  E @: /z.zip stays: Read-only file system\n => /z.zip=PK\3; result=1
)");
  const auto pack_noise = [&](size_t size) {
    fs::create_directory(file("/logs"));
    write_file(file("/logs/a"), noise(size));
    return pack_and_look();
  };
  TELL("logsave_makezip", pack_noise(200'000),
       "/z.zip!write -> $begun|I LOGSAVE : error in writing /logs/a in the zipfile\\n|"
       "E @: /z.zip is not completed: Input/output error\\n => out=no archive; result=1");
  TELL("logsave_makezip", pack_noise(65'520),
       "/z.zip!write -> $begun|I LOGSAVE : error in closing /logs/a in the zipfile\\n|"
       "E @: /z.zip is not completed: Input/output error\\n => out=no archive; result=1");
}

TEST_F(ZipFile, AFullDiskAtAnyMomentLeavesNoArchive) {
  for (const Access access : {Access::write, Access::seek, Access::close}) {
    int64_t after = 1;
    for (bool is_packed = false; !is_packed; ++after) {
      ASSERT_LT(after, 99);
      fresh_phone();
      fs::create_directories(file("/logs/d"));
      for (const char* each : {"/logs/a", "/logs/b", "/logs/d/c"}) {
        write_file(file(each), noise(80'000));
      }
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

TEST_F(ZipFile, AKilledProcessLeavesNoArchiveAndTheNextPacksAnew) {
  fs::create_directory(file("/logs"));
  for (const char* each : {"/logs/a", "/logs/b", "/logs/c"}) {
    write_file(file(each), noise(300'000));
  }
  fault(Part::file, "/logs/b", Effect::fail, EIO, Access::open);
  const auto pack_until_killed = [&] {
    vp::observe_log([](const vp::LogEntry& entry) {
      if (entry.message.find("for reading") != std::string::npos) raise(SIGKILL);
    });
    pack();
  };
  EXPECT_EXIT(pack_until_killed(), testing::KilledBySignal(SIGKILL), "");
  run("test -f z.zip && ! unzip -tqq z.zip >log 2>&1");
  clear_faults();
  EXPECT_EQ(0, pack());
  run("unzip -tqq z.zip");
  EXPECT_EQ("300000 300000 300000", entries("i.file_size"));
}

TEST_F(ZipFile, AFileOfFourGigabytesIsLeftOut) {
  const auto pack_large = [&] {
    fs::resize_file(file("/logs/big"), uint64_t{1} << 32);
    return pack_and_look();
  };
  TELL("logsave_makezip", pack_large(), R"(
/logs/big=; /logs/a=first -> $begun|I LOGSAVE : error in writing /logs/big in the zipfile\n
  => out=a=first
)");
}

TEST_F(ZipFile, APathIsPackedWholeOrNotAtAll) {
  // Folders of one letter, down to where a file's path has 999 characters, and 1,000.
  std::string folder = "/logs";
  while (folder.size() + 2 <= 994) folder += "/d";
  fs::create_directories(file(folder.c_str()));
  const std::string room(998 - folder.size(), 'f');
  write_file(file((folder + "/" + room).c_str()), "fits");
  write_file(file((folder + "/" + room + "f").c_str()), "does not");
  // On a thread of which a daemon may have many.
  const auto body = [](void* pack) -> void* {
    (*static_cast<std::function<void()>*>(pack))();
    return nullptr;
  };
  std::function<void()> packing = [&] { EXPECT_EQ(0, pack()); };
  pthread_attr_t attributes;
  pthread_t thread;
  EXPECT_EQ(0, pthread_attr_init(&attributes));
  EXPECT_EQ(0, pthread_attr_setstacksize(&attributes, 1 << 20));
  ASSERT_EQ(0, pthread_create(&thread, &attributes, body, &packing));
  EXPECT_EQ(0, pthread_join(thread, nullptr));
  EXPECT_EQ(folder.substr(6) + "/" + room + "=fits", entries());
}

TEST_F(ZipFile, AnEntryIsNamedFromWhereTheRootFolderEnds) {
  fs::create_directories(file("/logs/d"));
  write_file(file("/logs/d/a"), "");
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
  write_file(file("/a"), "text");
  EXPECT_FALSE(zip.OpenZip(nullptr));
  EXPECT_EQ(1, zip.FolderToZip(nullptr, true));
  EXPECT_EQ(-104, zip.FileToZip(nullptr));
  EXPECT_EQ(1, logsave_makezip(nullptr, archive));
  EXPECT_EQ(1, logsave_makezip(archive, nullptr));
  EXPECT_EQ("", told());
  EXPECT_EQ(0, zip.FileToZip("/a"));
  EXPECT_EQ("I LOGSAVE : error in opening /a in zipfile\n", told());
  ASSERT_TRUE(zip.OpenZip(archive));
  refuse_memory(kPiece);
  EXPECT_EQ(-104, zip.FileToZip("/a"));
  refuse_memory(0);
  fault(Part::file, "/z.zip", Effect::fail, ENOSPC, Access::write);
  EXPECT_TRUE(zip.OpenZip(archive)) << "which closes the other";
  EXPECT_EQ(
      "I LOGSAVE : creating /z.zip\n|I LOGSAVE : Error allocating memory\n|"
      "E CloseZip: not completed: No space left on device\n|I LOGSAVE : creating /z.zip\n",
      told());
  clear_faults();
  zip.CloseZip();
  EXPECT_EQ("", entries());
}

TEST_F(ZipFile, AFilesTimeIsThatOfItsLastChange) {
  const std::string longest = "/" + std::string(254, 'n');
  ASSERT_EQ(0, setenv("TZ", "UTC", 1));
  run("mkdir d && touch -d '2020-02-03 04:05:06' d ." + longest);
  MakeZipFile zip;
  const auto time = [&](const std::string& name) {
    tm_zip at{};
    std::string text = std::to_string(zip.filetime(nullptr, name.c_str(), &at)) + ":";
    for (const uInt each : {at.tm_year, at.tm_mon, at.tm_mday, at.tm_hour, at.tm_min, at.tm_sec}) {
      text += " " + std::to_string(each);
    }
    return text;
  };
  for (const std::string& name : {"/d"s, "/d/"s, "d"s, "/d//"s, longest}) {
    EXPECT_EQ("1: 120 1 3 4 5 6", time(name)) << name;
  }
  for (const std::string& name : {"-"s, "/none"s, "/"s, ""s, longest + "n"}) {
    EXPECT_EQ("0: 70 0 1 0 0 0", time(name)) << name;
  }
  tm_zip at{};
  EXPECT_EQ(0, zip.filetime(nullptr, nullptr, &at));
  EXPECT_EQ(0, zip.filetime(nullptr, "/d", nullptr));
}

}  // namespace
}  // namespace fcx_test
