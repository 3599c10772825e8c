// The collection of logs: where to, what, in which order, and what stops it.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "tests/services/logs/logs.h"

namespace {
// Threads of other tests sync, too.
std::atomic<int> syncs = 0;
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
    TELL("parts", 0, R"(
let given = ${dbdump}a=1; ${nvdump}b/c=2; ${touch}d=3
let date = I saving date : DATE\n|
let begin = ${date}I Save to INTERNAL SD\n|
let dated = I logsave: dir=${root}DATE/|
let db = I from $dbdump to ${root}DATE/dbdump/ copy done!!!\n|
let nv = I from ${nvdump}b/ to ${root}DATE/nvdump/b/ copy done!!!\n|
  I from $nvdump to ${root}DATE/nvdump/ copy done!!!\n|
let to = I from $touch to ${root}DATE/touch/ copy done!!!\n|
let none = I $last dst folder : ${root}DATE/|I $last RKF log copy(0) failed.|
  I $last RKF log copy(1) failed.|
let kernel = I Save kernel log to ${root}DATE/kernel.log\n|
let prop = I Save prop log to ${root}DATE/property.log\n|
let zip = I LOGSAVE : szFilename = $archive szIncludeFolder = $root\n|
let end = ${zip}I LOGSAVE : creating $archive\n
)");
  }

  /// Collects, and leaves in `out` how often all files were made durable.
  int save(const char* path) {
    syncs = 0;
    const int result = collect(path);
    out = std::to_string(syncs);
    return result;
  }
};

TEST_F(Collect, InternallyAllLogsGoIntoADatedFolderAndTheArchive) {
  TELL("logsave", save(kRoot), R"(
let packed = $begin$dated$db$nv$to$none$kernel$prop
$given -> $packed$end
  => ${root}DATE/dbdump/a=1; ${root}DATE/nvdump/b/c=2; ${root}DATE/touch/d=3;
  ${root}DATE/kernel.log=kernel\n; ${root}DATE/property.log=[a]:\s[b]\n; asked=1006; out=1
let mid = ro.boot.vendor.qve.rkf=MID
let not_open = I dbdump dir open fail. In mid booting, logsave is only supported dbdump dir.\n
$given; $mid -> $begin$dated$db$none$kernel$prop$end
  => ${root}DATE/dbdump/a=1; ${root}DATE/nvdump/b/c=; ${root}DATE/touch/d=; asked=
$given; $mid; $dbdump!open -> $begin$not_open => ${root}DATE/kernel.log=; result=1
$mid -> $begin$not_open => ${root}DATE/kernel.log=; result=1
$given; ro.boot.vendor.qve.rkf=MI -> $packed$end => asked=1006
)");
  EXPECT_THAT(vp::modem_requests(phone()).back().payload,
              testing::MatchesRegex("[0-9]{8}_[0-9]{6}"));
}

TEST_F(Collect, WhatFailsIsSaidAndStopsOnlyWhatItMust) {
  TELL("logsave", save(kRoot), R"(
let refused = I QVATCMDService log copy fail.\n
let no = E copy_log: do not open src file!!! :
let packed = $begin$dated$db$nv$to$none$kernel$prop
$given; 1006!refuse -> $begin$refused => ${root}DATE/dbdump/a=; $archive=; result=1
$given; 1006! -> $begin$refused => result=1
-> $begin$dated$no $dbdump\n|$db$no $nvdump\n|I from $nvdump to ${root}DATE/nvdump/ copy done!!!\n|
  $no $touch\n|$to$none$kernel$prop$end => ${root}DATE/kernel.log=kernel\n
$given; ${dbdump}a!read -> $begin${dated}E copy_log: ${dbdump}a: Input/output error\n|
  $db$nv$to$none$kernel$prop$end => ${root}DATE/touch/d=3
$given; $archive!open 28 -> $packed${zip}I LOGSAVE : error opening $archive\n|
  I logsave_makezip: Error Opening Zip file ($archive)
  => ${root}DATE/touch/d=3; $archive=; result=1; out=0
$given; $archive!write 28 ->
  $packed$end|E logsave_makezip: $archive is not completed: No space left on device\n
  => ${root}DATE/touch/d=3; $archive=; result=1; out=0
)");
  dmesg_ = "exit 3";
  TELL("logsave", save(kRoot), R"(
$given -> $begin$dated$db$nv$to$none${kernel}E @: "/vendor/bin/dmesg > ${root}DATE/kernel.log" has
  ended with 3\n|$prop$end => out=1
)");
}

TEST_F(Collect, ACollectionThatWasKilledIsRepeatedWhole) {
  for (const char* each : {"${dbdump}a/b=", "${nvdump}a=", "${touch}a="}) {
    give(understood(each) + noise(100'000));
  }
  int status = SIGKILL;
  for (int fatal_line = 1; WIFSIGNALED(status); ++fatal_line) {
    SCOPED_TRACE(fatal_line);
    ASSERT_LT(fatal_line, 100);
    const pid_t child = fork();
    if (child == 0) {
      vp::select(directory());
      int line = 0;
      vp::observe_log([&](const vp::LogEntry&) {
        if (++line == fatal_line) kill(getpid(), SIGKILL);
      });
      _exit(logsave(kRoot));
    }
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, logsave(kRoot));
    run("cd data/vendor/factory && find logsave -type d -empty -delete && rm -rf out && "
        "unzip -qq logsave.zip -d out && diff -r logsave out");
  }
  EXPECT_EQ(0, status);
}

TEST_F(Collect, OnTheCardLogsAreCopiedAndThatIsAll) {
  let("begin", understood(R"(${date}I Save to EXTERNAL SD\n|)"));
  for (const char* card : {"/storage/card/logsave", "/storag"}) {
    let("card", card);
    TELL("logsave", save(card), R"(
$given; /storage/card/x= -> ${begin}I from $dbdump to $card/DATE/dbdump/ copy done!!!\n|
  I from ${nvdump}b/ to $card/DATE/nvdump/b/ copy done!!!\n|
  I from $nvdump to $card/DATE/nvdump/ copy done!!!\n|
  I from $touch to $card/DATE/touch/ copy done!!!\n
  => $card/DATE/dbdump/a=1; $card/DATE/nvdump/b/c=2; $card/DATE/touch/d=3; $card/DATE/kernel.log=;
  $archive=; asked=; out=0
)");
  }
  TELL("logsave", save("/storage/card/logsave"), R"(
let card = /storage/card/logsave
let no = No such file or directory\n
$given -> ${begin}E @: $card/DATE/: $no|
  E copy_log: $card/DATE/dbdump/: $no|I from $dbdump to $card/DATE/dbdump/ copy done!!!\n|
  E copy_log: $card/DATE/nvdump/: $no|I from $nvdump to $card/DATE/nvdump/ copy done!!!\n|
  E copy_log: $card/DATE/touch/: $no|I from $touch to $card/DATE/touch/ copy done!!!\n
)");
  // 255 characters, and none to spare for the longer two of the three; then none for the date.
  const std::string path = "/storage/" + std::string(255 - 9 - 17 - 7 + 1, 'f');
  const std::string longest = path + std::string(7, 'f');
  let("path", path);
  let("longest", longest);
  TELL("logsave", save(path.c_str()), R"(
$given; /storage/x= -> ${begin}E @: $path/DATE/dbdump/ is too long\n|
  E @: $path/DATE/nvdump/ is too long\n|I from $touch to $path/DATE/touch/ copy done!!!\n
  => $path/DATE/touch/d=
)");
  TELL("logsave", save(longest.c_str()), R"(
$given; /storage/x= -> ${begin}E @: $longest/DATE/ is too long\n
)");
}

TEST_F(Collect, ThePathSaysWhereTo) {
  for (const char* path : {"/data/vendor/factory/logsave", "/data/vendor/factory/logsave//",
                           "/stor", "/a/storage/b", ""}) {
    TELL(path, logsave(path), "-> ${date}I unknown sdcard...\\n => result=1");
  }
  for (const std::string path : {"/mine/nvdump/", "/mine/nvdump", "/nvdumps/", "/storage/nvdump"}) {
    let("path", path);
    let("below", path + (path.back() == '/' ? "b/" : "/b/"));
    TELL("logsave", save(path.c_str()), R"(
$given; /mine/x=; /storage/x= -> ${date}I Save to NVDUMP SD\n|
  I from ${nvdump}b/ to $below copy done!!!\n|I from $nvdump to $path copy done!!!\n
  => ${below}c=2; asked=; out=0
)");
    EXPECT_EQ(fs::perms(0755), fs::status(file(path.c_str())).permissions());
  }
  EXPECT_EQ(1, logsave(nullptr));
  EXPECT_EQ(1, get_external_logsave_path(nullptr));
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
  let("fits", "/storage/" + std::string(238, 'f'));
  TELL("get_external_logsave_path", get_external_logsave_path(memory()), R"(
-> I [External sd log save] sdcard is not inserted => out=before; result=1
mounts=a /storage/1 vfat -> => out=/storage/1/logsave
mounts=a $fits vfat -> => out=$fits/logsave
mounts=a ${fits}f vfat -> E @: ${fits}f is too long\n => out=before; result=1
mounts=a /storage/1 vfat; mounts!read @2 -> E get_sdcard_path: /proc/mounts: Input/output error\n|
  I [External sd log save] get_sdcard_path fail => out=before; result=1
)");
}

}  // namespace
}  // namespace fcx_test
