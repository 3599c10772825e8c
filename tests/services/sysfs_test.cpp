// Kernel attribute files.
#include "fcx/sysfs.h"

#include <array>

#include "tests/story_test.h"

namespace fcx_test {
namespace {

namespace fs = std::filesystem;

constexpr char kNode[] = "/data/vendor/factory/node";
constexpr char kDir[] = "/data/vendor/factory/eri";
constexpr char kEri[] = "/data/vendor/factory/eri/bin";

class Sysfs : public StoryTest {
 protected:
  Sysfs() {
    let("node", kNode);
    let("dir", kDir);
    let("eri", kEri);
  }
};

TEST_F(Sysfs, AnAttributeIsWrittenInPlace) {
  TELL("write_sysfs", write_sysfs(kNode, "mem", 3), R"(
$node=longer -> => $node=mem
-> => $node=mem
$node=old; $node!short 1 write -> E @: Write Error(No space left on device): $node
  => $node=m; result=-1
$node=old; $node!open 13 -> E @: Open Error(Permission denied): $node => $node=old; result=-1
-/data/vendor/factory -> E @: Open Error(No such file or directory): $node => result=-1
)");
  for (const char* outside : {"/../../fcx-out", "../fcx-out", "/data/./../..//../fcx-out", "/.."}) {
    write_sysfs(outside, "1", 1);
    EXPECT_FALSE(fs::exists(directory().parent_path() / "fcx-out")) << outside;
    EXPECT_FALSE(fs::exists(directory() / "fcx-out")) << outside;
  }
  EXPECT_EQ("1", left("/fcx-out")) << "the device's root has no parent";
}

TEST_F(Sysfs, AnAttributeIsReadInTheCallersSizeOrInItsOwn) {
  TELL("read_sysfs", read_sysfs(kNode, memory(), 0), "$node=12345\\n -> => out=before");
  TELL("read_sysfs", read_sysfs(kNode, memory(), 3), "$node=12345\\n -> => out=123ore; result=3");
  TELL("read_sysfs", read_sysfs(kNode, memory(), 4), R"(
$node=12 -> => out=12; result=4
$node=12345\n; $node!read -> E @: Read Error(Input/output error): $node => out=; result=4
$node=12345\n; $node!open 13 -> E @: Open Error(Permission denied): $node => out=; result=-1
-> E @: Open Error(No such file or directory): $node => out=; result=-1
)");
  TELL("read_sysfs", read_sysfs(kNode, memory()), R"(
$node=12345 -> => out=12345e; result=5
$node= -> => out=before
$node=12345; $node!size 4096 -> => out=12345e; result=5
$node=12345; $node!size 2147483647 -> => out=12345e; result=5
$node=12345; $node!size 3 -> => out=123ore; result=3
$node=12345; $node!size 0 -> => out=before
$node=12345; $node!size 2147483648 -> E @: Open Error(File too large): $node
  => out=before; result=-1
$node=12345; $node!open -> E @: Open Error(Input/output error): $node => out=before; result=-1
$node=12345; $node!seek -> E @: Open Error(Input/output error): $node => out=before; result=-1
$node=12345; $node!read -> E @: Open Error(Input/output error): $node => out=before; result=-1
)");
}

TEST_F(Sysfs, WhatCanBeOpenedIsThere) {
  TELL("check_sysfs", check_sysfs(kNode), R"(
$node= ->
$node/inside= ->
-> => result=-1
$node=; $node!open 13 -> E @: Open Error(Permission denied): $node => result=-1
)");
  char byte = 0;
  EXPECT_EQ(-1, check_sysfs("")) << "no name of the root folder";
  EXPECT_EQ(-1, read_sysfs("", &byte, 1));
}

TEST_F(Sysfs, EriDataIsWrittenIntoAFolderThatIsMadeForIt) {
  TELL("write_eri_sysfs", write_eri_sysfs(kEri, kDir, "new", 3), R"(
let moded = I ERI chmod success\n
let both = I ERI chown success\n|$moded
$eri=first; $eri!chown -> E ERI chwon failed\n|$moded => $eri=new
$eri=first; $eri!chmod -> I ERI chown success\n|E @: the mode of $eri: Input/output error\n|$moded
$eri=first; $eri!short 1 write -> E @: Write Error(No space left on device): $eri|$both
  => $eri=n; result=-1
$eri=first; $eri!open 13 -> E @: Open Error(Permission denied): $eri
  => $eri=first; result=-1
$dir!mkdir 30 -> E @: $dir: Read-only file system\n|
  E @: Open Error(No such file or directory): $eri => result=-1
-> $both => $eri=new
)");
  for (const char* path : {kDir, kEri}) {
    EXPECT_EQ(fs::perms(0755), fs::status(file(path)).permissions()) << path;
  }
}

TEST_F(Sysfs, NullsAndNegativeSizesAreRefused) {
  const std::string read = "-> E @: no path, or nothing to read into\\n => result=-1";
  const std::string write = "-> E @: no path, or nothing to write\\n => result=-1";
  TELL("check_sysfs", check_sysfs(nullptr), "-> E @: no path\\n => result=-1");
  TELL("read_sysfs", read_sysfs(nullptr, memory(), 1), read);
  TELL("read_sysfs", read_sysfs(kNode, nullptr, 1), read);
  TELL("read_sysfs", read_sysfs(kNode, memory(), -1), read);
  TELL("read_sysfs", read_sysfs(nullptr, memory()), read);
  TELL("read_sysfs", read_sysfs(kNode, nullptr), read);
  TELL("write_sysfs", write_sysfs(nullptr, "1", 1), write);
  TELL("write_sysfs", write_sysfs(kNode, nullptr, 1), write);
  TELL("write_sysfs", write_sysfs(kNode, "1", -1), write);
  TELL("write_eri_sysfs", write_eri_sysfs(nullptr, kDir, "1", 1), write);
  TELL("write_eri_sysfs", write_eri_sysfs(kEri, nullptr, "1", 1), write);
  TELL("write_eri_sysfs", write_eri_sysfs(kEri, kDir, nullptr, 1), write);
  TELL("write_eri_sysfs", write_eri_sysfs(kEri, kDir, "1", -1), write);
}

}  // namespace
}  // namespace fcx_test
