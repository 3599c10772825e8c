// Checksums beside zlib's own of what they are of.
#include <sys/stat.h>
#include <zlib.h>

#include "fcx/customisation.h"
#include "fcx/device_functions.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr char kDirectory[] = "/vendor/etc";
constexpr char kAp[] = "/vendor/etc/ap.ubid";
constexpr char kCust[] = "/cust/cust.ubid";
constexpr char kUser[] = "/data/.OP/userdata.ubid";
constexpr char kProduct[] = "/product/etc/op.ubid";
constexpr char kUntold[] = "(untouched)";

/// The text and all lines.
using Told = std::pair<std::string, std::vector<std::string>>;

class Checksums : public PhoneTest {
 protected:
  void put(const char* path, std::string_view content) {
    fs::create_directories(file(path).parent_path());
    write_file(file(path), content);
  }

  Told checksum(int kind) {
    char out[20] = "(untouched)";
    const int result = crc_command(kind, out);
    EXPECT_EQ(out == std::string(kUntold) ? -1 : 0, result);
    return {out, lines()};
  }
};

/// What is told of these bytes.
Told of(std::string_view bytes) {
  const auto crc =
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
  char text[20];
  snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(crc));
  return {text, {}};
}

Told none(const std::string& why) { return {kUntold, {"E Fcx: crc_command: " + why + "\n"}}; }

TEST_F(Checksums, TheCodesIsOfTheBuildIdentifierFilesThatAreThere) {
  EXPECT_EQ(none(kAp + ": No such file or directory"s), checksum(2)) << "this one must be";
  put(kAp, "A1\nnot the first line alone");
  put(kUser, "U3");
  EXPECT_EQ(of("A1\nnot the first line aloneU3"), checksum(2));
  const std::string large(100'000, 'A');
  put(kAp, large);
  put(kCust, "C2");
  EXPECT_EQ(of(large + "C2U3"), checksum(2));
  put(kAp, "");
  EXPECT_EQ(of("C2U3"), checksum(2)) << "an empty file is one";
  for (const char* path : {kAp, kCust, kUser}) {
    fault(Part::file, path, Effect::fail, EACCES);
    EXPECT_EQ(none(path + ": Permission denied"s), checksum(2));
    clear_faults();
  }
  put("/oem/OP/_COMMON/op.ubid", "O3");
  EXPECT_EQ(of("C2O3"), checksum(2)) << "an operator image has its own";
  e_is_overlayfs = true;
  EXPECT_EQ(of("C2"), checksum(2));
  put(kProduct, "P3");
  EXPECT_EQ(of("C2P3"), checksum(2));
  fault(Part::file, kProduct, Effect::fail, EACCES);
  EXPECT_EQ(none(kProduct + ": Input/output error"s), checksum(2)) << "whatever the service met";
  e_is_overlayfs = false;
}

TEST_F(Checksums, TheFilesIsOfOneDirectorysInByteOrder) {
  EXPECT_EQ(none(kDirectory + ": No such file or directory"s), checksum(5));
  put("/vendor/etc/init/a", "deeper");
  fs::create_symlink("init/a", file("/vendor/etc/link"));
  ASSERT_EQ(0, mkfifo(file("/vendor/etc/pipe").c_str(), 0666));
  EXPECT_EQ(of(""), checksum(5)) << "only regular files count";
  // In passes: the last name of one is the first that the next must leave out.
  std::map<std::string, std::string> files = {{"B", "B"}, {"\xC3\xA4", "umlaut"}, {".h", "."}};
  for (const size_t count : {3U, 124U, 125U, 126U, 253U, 300U}) {
    while (files.size() < count) {
      const std::string name = std::to_string(files.size() * 7919 % 1000);
      files[name] = name + std::string(files.size(), '\n');
    }
    std::string all;
    for (const auto& [name, content] : files) {
      put((kDirectory + ("/" + name)).c_str(), content);
      all += content;
    }
    EXPECT_EQ(of(all), checksum(5)) << count;
  }
  const char* b = "/vendor/etc/B";
  const std::tuple<const char*, Access, int> faults[] = {{kDirectory, Access::read, EIO},
                                                         {kDirectory, Access::open, EACCES},
                                                         {b, Access::stat, ENOENT},
                                                         {b, Access::open, EACCES},
                                                         {b, Access::read, EIO}};
  for (const auto& [path, access, error] : faults) {
    // The directory's reading fails in the third pass.
    fault(Part::file, path, Effect::fail, error, access, {},
          access == Access::read && path != b ? 3 : 1);
    EXPECT_EQ(none(path + ": "s + strerror(error)), checksum(5)) << vp::name_of(access);
    clear_faults();
  }
}

TEST_F(Checksums, TheNvItemsIsTheSystemSides) {
  // After the link's own lines.
  const auto told = [this] { return std::pair(checksum(6).first, checksum(6).second.back()); };
  const std::string done = "I Fcx: Response Status: 0\n";
  EXPECT_EQ(std::pair(of("").first, done), told());
  vp::set_nv_item(phone(), 453, {NvState::active, "\1\2"s});
  vp::set_nv_item(phone(), 10, {NvState::active, "\0"s});
  vp::set_nv_item(phone(), 11, {NvState::inactive, ""});
  const std::string crc = of("\x0A\0\0\xC5\x01\1\2"sv).first;
  EXPECT_EQ(std::pair(crc, done), told());
  const std::tuple<Effect, int, std::string, std::string> faults[] = {
      {Effect::longer, 20, crc + "XXXXXXXXX", done},
      {Effect::empty, 0, kUntold, "E Fcx: crc_command: request 4059 has no answer\n"},
      {Effect::fail, 7, kUntold, "E Fcx: crc_command: request 4059 failed with 7\n"}};
  for (const auto& [effect, value, text, line] : faults) {
    request_fault(4059, effect, value);
    EXPECT_EQ(std::pair(text, line), told());
    clear_faults();
  }
  EXPECT_EQ(-1, crc_command(2, nullptr));
  for (const int other : {0, 1, 3, 4, 7}) {
    EXPECT_EQ(none("there is no checksum " + std::to_string(other)), checksum(other));
  }
}

}  // namespace
}  // namespace fcx_test
