// The collection of logs: where to, what, in which order, and what stops it.
#include <dlfcn.h>
#include <minizip/unzip.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/services/logs/collection.h"
#include "virtual_phone/core/sd_card.h"

namespace {
int syncs = 0;
}  // namespace

// In the place of the home's, which it calls: to see that it is.
__attribute__((visibility("default"))) void fcx::platform_sync() {
  ++syncs;
  static const auto real =
      reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "_ZN3fcx13platform_syncEv"));
  real();
}

namespace fcx_test {
namespace {

class Collect : public CollectionTest {
 protected:
  Collect() {
    let("given", understood(R"(${dbdump}a=1; ${nvdump}b/c=2; ${touch}d=3)"));
    let("begin", understood(R"(I saving date : DATE\n|I Save to INTERNAL SD\n|)"));
    let("dated", understood(R"(I logsave: dir=${root}DATE/|)"));
    let("db", understood(R"(I from $dbdump to ${root}DATE/dbdump/ copy done!!!\n|)"));
    let("nv", understood(R"(I from ${nvdump}b/ to ${root}DATE/nvdump/b/ copy done!!!\n|)"
                         R"(I from $nvdump to ${root}DATE/nvdump/ copy done!!!\n|)"));
    let("to", understood(R"(I from $touch to ${root}DATE/touch/ copy done!!!\n|)"));
    let("none", understood("I $last dst folder : ${root}DATE/|I $last RKF log copy(0) failed.|"
                           "I $last RKF log copy(1) failed.|"));
    let("kernel", understood(R"(I Save kernel log to ${root}DATE/kernel.log\n|)"));
    let("prop", understood(R"(I Save prop log to ${root}DATE/property.log\n|)"));
    let("zip", understood(R"(I LOGSAVE : szFilename = $archive szIncludeFolder = $root\n|)"));
    let("end", understood(R"(${zip}I LOGSAVE : creating $archive\n)"));
  }

  /// What is in the archive, by the entries' names.
  std::map<std::string, std::string> archived() {
    std::map<std::string, std::string> found;
    const std::unique_ptr<void, int (*)(unzFile)> archive(unzOpen64(file(kArchive).c_str()),
                                                          unzClose);
    if (archive == nullptr) return found;
    for (int code = unzGoToFirstFile(archive.get()); code == UNZ_OK;
         code = unzGoToNextFile(archive.get())) {
      unz_file_info64 info{};
      char name[1000];
      EXPECT_EQ(UNZ_OK, unzGetCurrentFileInfo64(archive.get(), &info, name, sizeof name, nullptr, 0,
                                                nullptr, 0));
      std::string content(info.uncompressed_size, '\0');
      EXPECT_EQ(UNZ_OK, unzOpenCurrentFile(archive.get()));
      EXPECT_EQ(
          static_cast<int>(content.size()),
          unzReadCurrentFile(archive.get(), content.data(), static_cast<unsigned>(content.size())));
      EXPECT_EQ(UNZ_OK, unzCloseCurrentFile(archive.get()));
      found[name] = content;
    }
    return found;
  }
  void put_logs() {
    for (const char* folder : {DBDUMP_DIR, NVDUMP_DIR, TOUCH_DIR}) {
      fs::create_directories(file(folder) / "below");
      write_file(file(folder) / "below" / "log", std::string(100'000, 'l') + folder);
    }
    put_programs();
  }
};

TEST_F(Collect, InternallyAllLogsGoIntoADatedFolderAndTheArchive) {
  TELL("logsave", collect(kRoot), R"(
$given -> $begin$dated$db$nv$to$none$kernel$prop$end
  => ${root}DATE/dbdump/a=1; ${root}DATE/nvdump/b/c=2; ${root}DATE/touch/d=3;
  ${root}DATE/kernel.log=kernel\n; ${root}DATE/property.log=[a]:\s[b]\n; asked=1006
)");
  EXPECT_THAT(vp::modem_requests(phone()).back().payload,
              testing::MatchesRegex("[0-9]{8}_[0-9]{6}"));
  fs::remove_all(file(kRoot));
  put_logs();
  syncs = 0;
  EXPECT_EQ(0, logsave(kRoot));
  EXPECT_EQ(1, syncs);
  const auto files = files_of(kRoot);
  EXPECT_EQ(files, archived());
  EXPECT_GE(files.size(), 6U) << "five, and the system side's";
}

TEST_F(Collect, InAMobileIdBootOnlyTheDumpIsCopied) {
  let("mid", "ro.boot.vendor.qve.rkf=MID");
  TELL("logsave", collect(kRoot), R"(
$given; $mid -> $begin$dated$db$none$kernel$prop$end
  => ${root}DATE/dbdump/a=1; ${root}DATE/nvdump/b/c=; ${root}DATE/touch/d=; asked=
$given; ro.boot.vendor.qve.rkf=MI -> $begin$dated$db$nv$to$none$kernel$prop$end => asked=1006
$given; $mid; $dbdump!open -> ${begin}I dbdump dir open fail. In mid booting, logsave is only
  supported dbdump dir.\n => ${root}DATE/kernel.log=; result=1
$mid -> ${begin}I dbdump dir open fail. In mid booting, logsave is only supported dbdump dir.\n
  => ${root}DATE/kernel.log=; result=1
)");
}

TEST_F(Collect, WhatFailsIsSaidAndStopsOnlyWhatItMust) {
  TELL("logsave", collect(kRoot), R"(
$given; 1006!refuse -> ${begin}I QVATCMDService log copy fail.\n
  => ${root}DATE/dbdump/a=; $archive=; result=1
$given; 1006! -> ${begin}I QVATCMDService log copy fail.\n => result=1
let no = E copy_log: do not open src file!!! :
-> $begin$dated$no $dbdump\n|$db$no $nvdump\n|I from $nvdump to ${root}DATE/nvdump/ copy done!!!\n|
  $no $touch\n|$to$none$kernel$prop$end => ${root}DATE/kernel.log=kernel\n
$given; ${dbdump}a!read -> $begin${dated}E copy_log: ${dbdump}a: Input/output error\n|
  $db$nv$to$none$kernel$prop$end => ${root}DATE/touch/d=3
$given; $archive!open 28 -> $begin$dated$db$nv$to$none$kernel$prop${zip}I
  LOGSAVE : error opening $archive\n|I logsave_makezip: Error Opening Zip file ($archive)
  => ${root}DATE/touch/d=3; $archive=; result=1
)");
  for (const auto& [script, status] : {std::pair("exit 3", "3"), {"kill -9 $$", "137"}}) {
    dmesg_ = script;
    TELL("logsave", collect(kRoot),
         R"($given -> $begin$dated$db$nv$to$none${kernel}E @:
      "/vendor/bin/dmesg > ${root}DATE/kernel.log" has ended with )"s +
             status + R"(\n|$prop$end)");
  }
}

TEST_F(Collect, AFullDiskLeavesNoArchive) {
  put_logs();
  int failures = syncs = 0;
  for (int64_t after = 1;; ++after) {
    SCOPED_TRACE(after);
    fault(Part::file, kArchive, Effect::fail, ENOSPC, Access::write, {}, after);
    const int result = logsave(kRoot);
    clear_faults();
    EXPECT_EQ(result == 0, fs::exists(file(kArchive)));
    EXPECT_EQ(result == 0, std::exchange(syncs, 0) == 1);
    if (result == 0) break;
    EXPECT_EQ(1, result);
    ++failures;
    ASSERT_LT(after, 1000);
  }
  EXPECT_GE(failures, 1);
  EXPECT_EQ(files_of(kRoot), archived());
  fault(Part::file, kArchive, Effect::fail, ENOSPC, Access::close);
  EXPECT_EQ(1, logsave(kRoot));
  EXPECT_FALSE(fs::exists(file(kArchive)));
}

TEST_F(Collect, ACollectionThatWasKilledIsRepeatedWhole) {
  put_logs();
  for (int fatal_line = 1;; ++fatal_line) {
    SCOPED_TRACE(fatal_line);
    const pid_t child = fork();
    if (child == 0) {
      vp::select(directory());
      int line = 0;
      vp::observe_log([&](const vp::LogEntry&) {
        if (++line == fatal_line) kill(getpid(), SIGKILL);
      });
      static_cast<void>(logsave(kRoot));
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, logsave(kRoot));
    EXPECT_EQ(files_of(kRoot), archived());
    if (WIFEXITED(status)) break;
    ASSERT_EQ(SIGKILL, WTERMSIG(status));
    ASSERT_LT(fatal_line, 100);
  }
}

TEST_F(Collect, OnTheCardLogsAreCopiedAndThatIsAll) {
  let("card", "/storage/card/logsave");
  let("begin", "I saving date : DATE\n|I Save to EXTERNAL SD\n|");
  let("three", understood(R"(I from $dbdump to $card/DATE/dbdump/ copy done!!!\n|)"
                          R"(I from ${nvdump}b/ to $card/DATE/nvdump/b/ copy done!!!\n|)"
                          R"(I from $nvdump to $card/DATE/nvdump/ copy done!!!\n|)"
                          R"(I from $touch to $card/DATE/touch/ copy done!!!\n)"));
  TELL("logsave", collect("/storage/card/logsave"), R"(
$given; /storage/card/x= -> $begin$three
  => $card/DATE/dbdump/a=1; $card/DATE/nvdump/b/c=2; $card/DATE/touch/d=3; $card/DATE/kernel.log=;
  $archive=; asked=
)");
  TELL("logsave", collect("/storage/card/logsave"), R"(
let no = No such file or directory\n
$given -> ${begin}E @: $card/DATE/: $no|
  E copy_log: $card/DATE/dbdump/: $no|I from $dbdump to $card/DATE/dbdump/ copy done!!!\n|
  E copy_log: $card/DATE/nvdump/: $no|I from $nvdump to $card/DATE/nvdump/ copy done!!!\n|
  E copy_log: $card/DATE/touch/: $no|I from $touch to $card/DATE/touch/ copy done!!!\n
)");
  // 255 characters, and none to spare for the longer two of the three; then none for the date.
  const std::string fits = "/storage/" + std::string(255 - 9 - 17 - 7, 'f');
  let("path", fits + "f");
  let("longest", fits + std::string(8, 'f'));
  TELL("logsave", collect((fits + "f").c_str()), R"(
$given; /storage/x= -> ${begin}E @: $path/DATE/dbdump/ is too long\n|
  E @: $path/DATE/nvdump/ is too long\n|I from $touch to $path/DATE/touch/ copy done!!!\n
  => $path/DATE/touch/d=
)");
  TELL("logsave", collect((fits + std::string(8, 'f')).c_str()), R"(
$given; /storage/x= -> ${begin}E @: $longest/DATE/ is too long\n
)");
}

TEST_F(Collect, ThePathSaysWhereTo) {
  let("date", "I saving date : DATE\n|");
  const std::tuple<const char*, const char*, int> cases[] = {
      {"/data/vendor/factory/logsave", "I unknown sdcard...\n", 1},
      {"/data/vendor/factory/logsave//", "I unknown sdcard...\n", 1},
      {"/stor", "I unknown sdcard...\n", 1},
      {"/storage", "I Save to EXTERNAL SD\n", 0},
      {"/storag", "I Save to EXTERNAL SD\n", 0},
      {"/a/storage/b", "I unknown sdcard...\n", 1},
      {"", "I unknown sdcard...\n", 1},
      {"/storage/nvdump", "I Save to NVDUMP SD\n", 0},
      {"/nvdumps/", "I Save to NVDUMP SD\n", 0}};
  for (const auto& [path, line, result] : cases) {
    SCOPED_TRACE(path);
    fresh_phone();
    EXPECT_EQ(result, logsave(path));
    const std::string lines = told();
    const std::string expected = understood("$date") + line;
    EXPECT_EQ(expected, lines.substr(0, expected.size()));
    EXPECT_EQ(result == 1, lines == expected);
  }
  for (const char* path : {"/mine/nvdump/", "/mine/nvdump"}) {
    let("path", path);
    const std::string slash = path[strlen(path) - 1] == '/' ? "" : "/";
    TELL("logsave", logsave(path),
         "$given; /mine/x= -> ${date}I Save to NVDUMP SD\\n|"
         "I from ${nvdump}b/ to ${path}" +
             slash +
             "b/ copy done!!!\\n|"
             "I from $nvdump to $path copy done!!!\\n => /mine/nvdump/b/c=2; asked=");
    struct stat found {};
    EXPECT_EQ(0, stat(file("/mine/nvdump").c_str(), &found));
    EXPECT_EQ(0755U, found.st_mode & 0777);
  }
  told();
  EXPECT_EQ(1, logsave(nullptr));
  set_directory_name(nullptr);
  EXPECT_EQ("", told());
}

TEST_F(Collect, WhatWasErasedIsDurable) {
  syncs = 0;
  logsave_erase();
  EXPECT_EQ(1, syncs);
}

TEST_F(Collect, ADateIsTheLocalTime) {
  char date[30];
  const time_t before = time(nullptr);
  setenv("TZ", "XXX-9", 1);
  tzset();
  set_directory_name(date);
  tm parsed{};
  ASSERT_EQ(date + 15, strptime(date, "%Y%m%d_%H%M%S", &parsed));
  EXPECT_NEAR(static_cast<double>(before + 9 * 3600), static_cast<double>(timegm(&parsed)), 60);
}

TEST_F(Collect, TheCardsFolderIsBelowItsMountPoint) {
  const auto find = [this] {
    const int result = get_external_logsave_path(memory());
    out = out.c_str();
    return result;
  };
  let("fits", "/storage/" + std::string(238, 'f'));
  TELL("get_external_logsave_path", find(), R"(
-> I [External sd log save] sdcard is not inserted => out=before; result=1
mounts=a /storage/1 vfat -> => out=/storage/1/logsave
mounts=a $fits vfat -> => out=$fits/logsave
mounts=a ${fits}f vfat -> E @: ${fits}f is too long\n => out=before; result=1
mounts=a /storage/1 vfat; mounts!read @2 -> E get_sdcard_path: /proc/mounts: Input/output error\n|
  I [External sd log save] get_sdcard_path fail => out=before; result=1
)");
  EXPECT_EQ(1, get_external_logsave_path(nullptr));
}

}  // namespace
}  // namespace fcx_test
