// Kernel attribute files.
#include "fcx/sysfs.h"

#include <sys/stat.h>

#include "tests/services/service_test.h"

namespace fcx_test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

constexpr char kAttribute[] = "/data/vendor/factory/attribute";
constexpr char kFolder[] = "/data/vendor/factory/eri";
constexpr char kEri[] = "/data/vendor/factory/eri/eri.bin";

class Sysfs : public ServiceTest {
 protected:
  void expect_error(const std::string& text, const char* path) {
    EXPECT_THAT(lines(), ElementsAre("E Fcx: " + text + path));
  }
};

TEST_F(Sysfs, AnAttributeIsWrittenInPlace) {
  for (const std::string text : {"mem", "on"}) {
    EXPECT_EQ(0, write_sysfs(kAttribute, text.c_str(), static_cast<int>(text.size())));
    EXPECT_EQ(text, node(kAttribute));
  }
  EXPECT_EQ(-1, write_sysfs("/no/such/attribute", "1", 1));
  expect_error("write_sysfs: Open Error(No such file or directory): ", "/no/such/attribute");
  fault(Part::file, kAttribute, Effect::shorter, 1, Access::write);
  EXPECT_EQ(-1, write_sysfs(kAttribute, "mem", 3));
  expect_error("write_sysfs: Write Error(No space left on device): ", kAttribute);
  for (const char* outside : {"/../../fcx-out", "../fcx-out", "/data/./../..//../fcx-out", "/.."}) {
    write_sysfs(outside, "1", 1);
    EXPECT_FALSE(fs::exists(directory().parent_path() / "fcx-out")) << outside;
    EXPECT_FALSE(fs::exists(directory() / "fcx-out")) << outside;
  }
  EXPECT_EQ("1", node("/fcx-out")) << "the device's root has no parent";
}

TEST_F(Sysfs, AnAttributeIsReadUpToTheCallersSize) {
  set_node(kAttribute, "1800000\n");
  char buffer[16];
  for (const auto& [size, text] :
       {std::pair{0, ""}, {3, "180"}, {8, "1800000\n"}, {15, "1800000\n"}}) {
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(size, read_sysfs(kAttribute, buffer, size)) << "also when the file is shorter";
    std::string expected = text;
    expected.resize(static_cast<size_t>(size), '\0');
    expected.resize(sizeof buffer, '#');
    EXPECT_EQ(expected, std::string(buffer, sizeof buffer));
  }
  EXPECT_THAT(lines(), IsEmpty());
  fault(Part::file, kAttribute, Effect::fail, EIO, Access::read);
  EXPECT_EQ(4, read_sysfs(kAttribute, buffer, 4)) << "it could be opened";
  EXPECT_EQ(std::string(4, '\0'), std::string(buffer, 4));
  expect_error("read_sysfs: Read Error(Input/output error): ", kAttribute);
  fault(Part::file, kAttribute, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, read_sysfs(kAttribute, buffer, 4));
  expect_error("read_sysfs: Open Error(Permission denied): ", kAttribute);
}

TEST_F(Sysfs, AnAttributeIsReadInTheSizeThatSeekingTells) {
  const std::tuple<std::string, int64_t, int, const char*> cases[] = {
      {"1800000\n", -1, 8, ""},
      {"1800000\n", 4096, 8, ""},
      {"1800000\n", 3, 3, ""},
      {"1800000\n", 0, 0, ""},
      {"", -1, 0, ""},
      {"1", INT32_MAX, 1, ""},
      {"1", int64_t{INT32_MAX} + 1, -1, "File too large"}};
  for (const auto& [content, told, result, reason] : cases) {
    SCOPED_TRACE(content + std::to_string(told));
    set_node(kAttribute, content);
    if (told >= 0) fault(Part::file, kAttribute, Effect::size, told, Access::seek);
    char buffer[16] = "###############";
    EXPECT_EQ(result, read_sysfs(kAttribute, buffer));
    const size_t size = static_cast<size_t>(std::max(result, 0));
    EXPECT_EQ(content.substr(0, size) + "#", std::string(buffer, size + 1));
    if (result < 0)
      expect_error(std::string("read_sysfs: Open Error(") + reason + "): ", kAttribute);
    EXPECT_THAT(lines(), IsEmpty());
    clear_faults();
  }
  char buffer[1];
  for (const Access access : {Access::open, Access::seek, Access::read}) {
    fault(Part::file, kAttribute, Effect::fail, EIO, access);
    EXPECT_EQ(-1, read_sysfs(kAttribute, buffer));
    expect_error("read_sysfs: Open Error(Input/output error): ", kAttribute);
    clear_faults();
  }
}

TEST_F(Sysfs, WhatCanBeOpenedIsThere) {
  set_node(kAttribute, "");
  EXPECT_EQ(0, check_sysfs(kAttribute));
  EXPECT_EQ(0, check_sysfs("/data/vendor/factory")) << "a folder, too";
  EXPECT_EQ(-1, check_sysfs("/data/vendor/none"));
  EXPECT_THAT(lines(), IsEmpty());
  fault(Part::file, kAttribute, Effect::fail, EACCES, Access::open);
  EXPECT_EQ(-1, check_sysfs(kAttribute));
  expect_error("check_sysfs: Open Error(Permission denied): ", kAttribute);
}

TEST_F(Sysfs, EriDataIsWrittenIntoAFolderThatIsMadeForIt) {
  const char* owned = "I Fcx: ERI chown success\n";
  const char* moded = "I Fcx: ERI chmod success\n";
  EXPECT_EQ(0, write_eri_sysfs(kEri, kFolder, "first", 5));
  EXPECT_THAT(lines(), ElementsAre(owned, moded));
  EXPECT_EQ("first", node(kEri));
  for (const char* path : {kFolder, kEri}) {
    EXPECT_EQ(fs::perms(0755), fs::status(file(path)).permissions()) << path;
  }
  const struct {
    const char* path;
    Effect effect;
    int error;
    Access access;
    int result;
    std::vector<std::string> lines;
    const char* content;
  } cases[] = {
      {kEri, Effect::fail, EPERM, Access::chown, 0, {"E Fcx: ERI chwon failed\n", moded}, "new"},
      {kEri,
       Effect::fail,
       EPERM,
       Access::chmod,
       0,
       {owned,
        "E Fcx: write_eri_sysfs: the mode of " + std::string(kEri) + ": Operation not permitted\n",
        moded},
       "new"},
      {kEri,
       Effect::shorter,
       1,
       Access::write,
       -1,
       {"E Fcx: write_eri_sysfs: Write Error(No space left on device): " + std::string(kEri), owned,
        moded},
       "n"},
      {kEri,
       Effect::fail,
       EACCES,
       Access::open,
       -1,
       {"E Fcx: write_eri_sysfs: " + std::string(kFolder) + ": File exists\n",
        "E Fcx: write_eri_sysfs: Open Error(Permission denied): " + std::string(kEri)},
       "first"},
      {kFolder,
       Effect::fail,
       EROFS,
       Access::mkdir,
       -1,
       {"E Fcx: write_eri_sysfs: " + std::string(kFolder) + ": Read-only file system\n",
        "E Fcx: write_eri_sysfs: Open Error(No such file or directory): " + std::string(kEri)},
       ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(virtual_phone::name_of(c.access));
    write_file(file(kEri), "first");
    if (c.access == Access::mkdir) fs::remove_all(file(kFolder));
    fault(Part::file, c.path, c.effect, c.error, c.access);
    EXPECT_EQ(c.result, write_eri_sysfs(kEri, kFolder, "new", 3));
    EXPECT_THAT(lines(), ElementsAreArray(c.lines));
    EXPECT_EQ(c.content, node(kEri));
    clear_faults();
  }
}

TEST_F(Sysfs, NullsAndNegativeSizesAreRefused) {
  char buffer[4];
  const std::pair<int, const char*> cases[] = {
      {check_sysfs(nullptr), "check_sysfs: no path\n"},
      {read_sysfs(nullptr, buffer, 1), "read_sysfs: no path, or nothing to read into\n"},
      {read_sysfs(kAttribute, nullptr, 1), "read_sysfs: no path, or nothing to read into\n"},
      {read_sysfs(kAttribute, buffer, -1), "read_sysfs: no path, or nothing to read into\n"},
      {read_sysfs(nullptr, buffer), "read_sysfs: no path, or nothing to read into\n"},
      {read_sysfs(kAttribute, nullptr), "read_sysfs: no path, or nothing to read into\n"},
      {write_sysfs(nullptr, "1", 1), "write_sysfs: no path, or nothing to write\n"},
      {write_sysfs(kAttribute, nullptr, 1), "write_sysfs: no path, or nothing to write\n"},
      {write_sysfs(kAttribute, "1", -1), "write_sysfs: no path, or nothing to write\n"},
      {write_eri_sysfs(nullptr, kFolder, "1", 1),
       "write_eri_sysfs: no path, or nothing to write\n"},
      {write_eri_sysfs(kEri, nullptr, "1", 1), "write_eri_sysfs: no path, or nothing to write\n"},
      {write_eri_sysfs(kEri, kFolder, nullptr, 1),
       "write_eri_sysfs: no path, or nothing to write\n"},
      {write_eri_sysfs(kEri, kFolder, "1", -1), "write_eri_sysfs: no path, or nothing to write\n"}};
  const auto written = lines();
  ASSERT_EQ(std::size(cases), written.size());
  for (size_t i = 0; i < written.size(); ++i) {
    EXPECT_EQ(-1, cases[i].first) << i;
    EXPECT_EQ(std::string("E Fcx: ") + cases[i].second, written[i]);
  }
  EXPECT_FALSE(fs::exists(file(kAttribute)));
}

}  // namespace
}  // namespace fcx_test
