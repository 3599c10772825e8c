// Erasing logs: what is removed, what is left, and what is said.
#include <sys/stat.h>

#include "fcx/log_collection.h"
#include "tests/services/logs/tree.h"

namespace fcx_test {
namespace {

class Erase : public LogTest {
 protected:
  int erase(const char* path = "/a/logs") {
    const int result = Delete_Folder(path);
    out = tree("/a");
    return result;
  }
};

TEST_F(Erase, AFolderGoesWithAllThatCanBeRemoved) {
  TELL("Delete_Folder", erase(), R"(
let given = /a/logs/a=1; /a/logs/b/c/d=2; /a/other=3
let all = logs/ logs/a=1 logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given -> => out=other=3
-> => result=-1
/a/logs=1 -> => out=logs=1; result=-1
$given; /a/logs!open 13 -> E @: /a/logs: Permission denied\n => out=$all; result=-1
$given; /a/logs!read -> E @: /a/logs: Input/output error\n => out=$all
$given; /a/logs/b!open -> E @: /a/logs/b/: Input/output error\n
  => out=logs/ logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given; /a/logs/b!stat -> E @: /a/logs/b: Input/output error\n
  => out=logs/ logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given; /a/logs/b!stat 2 -> => out=logs/ logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given; /a/logs/b/c/d!remove 1 -> E @: /a/logs/b/c/d: Operation not permitted\n
  => out=logs/ logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given; /a/logs/b/c!remove 16 -> E @: /a/logs/b/c/: Device or resource busy\n
  => out=logs/ logs/b/ logs/b/c/ other=3
)");
  for (const char* path : {"/a/logs/", "a/logs"}) {
    TELL("Delete_Folder", erase(path), "/a/logs/b/c=1 -> => out=");
  }
  TELL("Delete_Folder", erase(""), "/a/logs/a=1 -> => out=logs/ logs/a=1; result=-1");
  TELL("Delete_Folder", erase(nullptr), "/a/logs/a=1 -> => out=logs/ logs/a=1; result=-1");
  const std::string over = "/data/" + std::string(250, 'f');
  TELL("Delete_Folder", erase(over.c_str()), R"(
-> E @: the path has more than 255 characters\n => result=-1
)");
}

TEST_F(Erase, LinksAndDevicesAreLeftAndWhatLinksLeadToIsNotTouched) {
  fs::create_directories(file("/a/logs/b"));
  write_file(file("/a/kept"), "kept");
  fs::create_symlink(file("/a/kept"), file("/a/logs/b/link"));
  fs::create_directory_symlink(file("/a"), file("/a/logs/up"));
  ASSERT_EQ(0, mkfifo(file("/a/logs/pipe").c_str(), 0600));
  write_file(file("/a/logs/b/log"), "log");
  lines();
  EXPECT_EQ(0, erase());
  EXPECT_EQ("kept=kept logs/ logs/b/ logs/b/link@ logs/pipe| logs/up@", out);
  fs::create_directory_symlink(file("/a/logs/b"), file("/a/given"));
  write_file(file("/a/logs/b/log"), "log");
  EXPECT_EQ(0, erase("/a/given"));
  EXPECT_EQ("given@ kept=kept logs/ logs/b/ logs/b/link@ logs/pipe| logs/up@", out);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Erase, PathsThatDoNotFitAreLeft) {
  const std::string fits(255 - strlen("/a/logs/"), 'f');
  const std::string folder(fits.size() - 1, 'd');
  const std::string given = "/a/logs/" + fits + "=1; /a/logs/" + fits + "f=2; /a/logs/" + folder +
                            "d/e=3; /a/logs/" + folder.substr(2) + "/a=4 -> => out=";
  const std::string left =
      "logs/ logs/" + folder + "d/ logs/" + folder + "d/e=3 logs/" + fits + "f=2";
  TELL("Delete_Folder", erase(), given + left);
  TELL("Delete_Folder", erase("/a/logs/"), given + left);
}

TEST_F(Erase, AllLogsGoWhileTheLogServicesAreOff) {
  fs::create_directories(file("/data/logger"));
  TELL("logsave_erase", logsave_erase(), R"(
let kernel = persist.vendor.qve.service.kernel.enable
let dbdump = /data/vendor/factory/dbdump/
let nvdump = /data/vendor/factory/nvdump/
let saved = /data/vendor/factory/logsave
let given = $kernel=1; ${dbdump}a=1; ${nvdump}a=2; $saved/20260101_000000/dbdump/a=3; $saved.zip=4
let off = I system_set_logservice, onoff value is 0\n|
let on = I system_set_logservice, onoff value is 1\n|
let one = I delete $dbdump\n|
let two = I delete $nvdump.\n|
let three = I delete $saved/\n|
let four = I delete $saved.zip \n
let none = ${dbdump}a=; ${nvdump}a=; $saved/20260101_000000/dbdump/a=; $saved.zip=
$given -> $off$on$one$two$three$four => $none; $kernel=1; asked=1008
-> $off$on$one$two$three$four => $kernel=1
$given; 1008!refuse -> ${off}I QVATCMDService log erase fail.\n
  => $kernel=0; ${dbdump}a=1; $saved.zip=4
$given; 1008! -> ${off}I QVATCMDService log erase fail.\n => $kernel=0; ${dbdump}a=1
$given; ro.boot.vendor.qve.rkf=MID_BOOT -> I can't use logerase in MID.\n
  => asked=; ${dbdump}a=1; ${nvdump}a=2; $saved.zip=4
$given; ro.boot.vendor.qve.rkf=MI -> $off$on$one$two$three$four => $none
$given; $kernel!write -> ${off}E system_set_logservice: $kernel cannot be set\n|
  ${on}E system_set_logservice: $kernel cannot be set\n|$one$two$three$four => $none
$given; ${dbdump}a!remove; $saved.zip!remove 16 -> $off${on}E Delete_Folder: ${dbdump}a:
  Input/output error\n|$one$two${three}E @: $saved.zip: Device or resource busy\n|$four
  => ${dbdump}a=1; ${nvdump}a=; $saved.zip=4
)");
}

}  // namespace
}  // namespace fcx_test
