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

  /// Stories of reading `size` bytes, or the node's own size for -1.
  void tell_read(int size, const char* stories) {
    std::array<char, 64> text;
    tell(
        "read_sysfs",
        [&] {
          text.fill('#');
          const int result =
              size < 0 ? read_sysfs(kNode, text.data()) : read_sysfs(kNode, text.data(), size);
          out = std::string(text.data(), std::string_view(text.data(), text.size()).find('#'));
          return result;
        },
        stories);
  }
};

TEST_F(Sysfs, AnAttributeIsWrittenInPlace) {
  tell(
      "write_sysfs", [] { return write_sysfs(kNode, "mem", 3); }, R"(
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
  tell_read(0, "$node=12345\\n -> => out=");
  tell_read(3, "$node=12345\\n -> => out=123; result=3");
  tell_read(8, R"(
$node=12345\n -> => out=12345\n\0\0; result=8
$node=12345\n; $node!read -> E @: Read Error(Input/output error): $node
  => out=\0\0\0\0\0\0\0\0; result=8
$node=12345\n; $node!open 13 -> E @: Open Error(Permission denied): $node
  => out=\0\0\0\0\0\0\0\0; result=-1
-> E @: Open Error(No such file or directory): $node => result=-1
)");
  tell_read(-1, R"(
$node=12345\n -> => out=12345\n; result=6
$node= -> => out=
$node=12345\n; $node!size 4096 -> => out=12345\n; result=6
$node=12345\n; $node!size 3 -> => out=123; result=3
$node=12345\n; $node!size 0 -> => out=
$node=12345\n; $node!size 2147483648 -> E @: Open Error(File too large): $node => out=; result=-1
$node=12345\n; $node!open -> E @: Open Error(Input/output error): $node => out=; result=-1
$node=12345\n; $node!seek -> E @: Open Error(Input/output error): $node => out=; result=-1
$node=12345\n; $node!read -> E @: Open Error(Input/output error): $node => out=; result=-1
)");
}

TEST_F(Sysfs, WhatCanBeOpenedIsThere) {
  tell(
      "check_sysfs", [] { return check_sysfs(kNode); }, R"(
$node= ->
$node/inside= ->
-> => result=-1
$node=; $node!open 13 -> E @: Open Error(Permission denied): $node => result=-1
)");
}

TEST_F(Sysfs, EriDataIsWrittenIntoAFolderThatIsMadeForIt) {
  tell(
      "write_eri_sysfs", [] { return write_eri_sysfs(kEri, kDir, "new", 3); }, R"(
let moded = I ERI chmod success\n
let both = I ERI chown success\n|$moded
$eri=first; $eri!chown -> E ERI chwon failed\n|$moded => $eri=new
$eri=first; $eri!chmod -> I ERI chown success\n|E @: the mode of $eri: Input/output error\n|$moded
$eri=first; $eri!short 1 write -> E @: Write Error(No space left on device): $eri|$both
  => $eri=n; result=-1
$eri=first; $eri!open 13 -> E @: $dir: File exists\n|E @: Open Error(Permission denied): $eri
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
  char buffer[4];
  const int results[] = {check_sysfs(nullptr),
                         read_sysfs(nullptr, buffer, 1),
                         read_sysfs(kNode, nullptr, 1),
                         read_sysfs(kNode, buffer, -1),
                         read_sysfs(nullptr, buffer),
                         read_sysfs(kNode, nullptr),
                         write_sysfs(nullptr, "1", 1),
                         write_sysfs(kNode, nullptr, 1),
                         write_sysfs(kNode, "1", -1),
                         write_eri_sysfs(nullptr, kDir, "1", 1),
                         write_eri_sysfs(kEri, nullptr, "1", 1),
                         write_eri_sysfs(kEri, kDir, nullptr, 1),
                         write_eri_sysfs(kEri, kDir, "1", -1)};
  EXPECT_THAT(results, testing::Each(-1));
  const std::string read = "|E read_sysfs: no path, or nothing to read into\n";
  const std::string write = "|E write_sysfs: no path, or nothing to write\n";
  const std::string eri = "|E write_eri_sysfs: no path, or nothing to write\n";
  EXPECT_EQ("E check_sysfs: no path\n" + read + read + read + read + read + write + write + write +
                eri + eri + eri + eri,
            told());
  EXPECT_FALSE(fs::exists(file(kNode)));
}

}  // namespace
}  // namespace fcx_test
