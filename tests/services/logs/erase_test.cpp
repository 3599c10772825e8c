// Erasing logs: what is removed, what is left, and what is said.
#include "tests/services/logs/logs.h"

namespace fcx_test {
namespace {

class Erase : public LogTest {
 protected:
  /// Erases the property "path".
  int erase() {
    prepare();
    const int result = Delete_Folder(given("path", "/a/logs").c_str());
    out = tree("/a");
    return result;
  }
};

TEST_F(Erase, AFolderGoesWithAllThatCanBeRemoved) {
  TELL("Delete_Folder", erase(), R"(
let given = /a/logs/a=1; /a/logs/b/c/d=2; /a/other=3
let b = logs/ logs/b/ logs/b/c/ logs/b/c/d=2 other=3
let all = logs/ logs/a=1 logs/b/ logs/b/c/ logs/b/c/d=2 other=3
$given -> => out=other=3
-> => result=-1
/a/logs=1 -> => out=logs=1; result=-1
$given; /a/logs!open 13 -> E @: /a/logs: Permission denied\n => out=$all; result=-1
$given; /a/logs!read -> E @: /a/logs: Input/output error\n => out=$all
$given; /a/logs/b!open -> E @: /a/logs/b/: Input/output error\n => out=$b
$given; /a/logs/b!stat -> E @: /a/logs/b: Input/output error\n => out=$b
$given; /a/logs/b!stat 2 -> => out=$b
$given; /a/logs/b/c/d!remove 1 -> E @: /a/logs/b/c/d: Operation not permitted\n => out=$b
$given; /a/logs/b/c!remove 16 -> E @: /a/logs/b/c/: Device or resource busy\n
  => out=logs/ logs/b/ logs/b/c/ other=3
path=/a/logs/; /a/logs/b/c=1 -> => out=
path=a/logs; /a/logs/b/c=1 -> => out=
path=; /a/logs/b/c=1 -> => out=logs/ logs/b/ logs/b/c=1; result=-1
)");
  EXPECT_EQ(-1, Delete_Folder(nullptr));
  TELL("Delete_Folder", Delete_Folder(("/data/" + std::string(250, 'f')).c_str()),
       "-> E @: the path has more than 255 characters\\n => result=-1");
}

TEST_F(Erase, LinksDevicesAndPathsThatDoNotFitAreLeft) {
  let("fits", "logs/" + std::string(255 - strlen("/a/logs/"), 'f'));
  let("folder", "logs/" + std::string(255 - strlen("/a/logs/"), 'd'));
  let("shorter", "logs/" + std::string(255 - strlen("/a/logs//a"), 'd'));
  TELL("Delete_Folder", erase(), R"(
/a/kept=1; /a/logs/a=2; do=cd a/logs && ln -s ../kept b && ln -s .. c && mkfifo d ->
  => out=kept=1 logs/ logs/b@ logs/c@ logs/d|
path=/a/given; /a/logs/b/a=1; do=ln -s logs a/given -> => out=given@ logs/
let given = /a/$fits=1; /a/${fits}f=2; /a/$folder/e=3; /a/$shorter/a=4
let left = logs/ $folder/ $folder/e=3 ${fits}f=2
$given -> => out=$left
path=/a/logs/; $given -> => out=$left
)");
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
