// Work in a process of its own, and copies of a phone.
#include "exploration/apart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "exploration/image.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using exploration::apart;
using exploration::Ending;
using std::chrono::seconds;

struct Case {
  std::string (*work)();
  Ending ending;
  std::string bytes;
};

/// Generous: under an emulator a process begins late.
const exploration::Bounds kBounds{seconds(100), seconds(120)};

void sleeps(uint64_t us) { vp::sleep_us(us); }

TEST(Apart, TellsHowTheWorkHasEnded) {
  static const std::string all(300'000, '\0');  // more than a pipe holds
  const std::vector<Case> cases = {
      {[] { return all; }, Ending::ended, all},
      {[] { return ""s; }, Ending::ended, ""},
      {[]() -> std::string { throw vp::Error("no room"); }, Ending::error, "no room"},
      {[] { return raise(SIGKILL), ""s; }, Ending::crash, "SIGKILL"},
      {[]() -> std::string { _exit(3); }, Ending::crash, "exit status 3"},
      {[] { return sleeps(100'000'000), "slept"s; }, Ending::ended, "slept"},
      {[] { return sleeps(100'000'001), ""s; }, Ending::hang, "sleeps for more than 100 s"},
      {[] { return sleeps(60'000'000), sleeps(60'000'000), ""s; }, Ending::hang,
       "sleeps for more than 100 s"},
      // What it prints is nobody's.
      {[] { return std::to_string(puts("nowhere") + fflush(stdout) * 0 < 0); }, Ending::ended, "0"},
  };
  for (const Case& row : cases) {
    const auto told = apart(kBounds, row.work);
    EXPECT_EQ(row.ending, told.ending) << row.bytes.substr(0, 40);
    EXPECT_EQ(row.bytes, told.bytes);
  }
}

TEST(Apart, EndsWhatHangs) {
  const auto told = apart({seconds(100), seconds(1)}, [] { return pause(), ""s; });
  EXPECT_EQ(Ending::hang, told.ending);
  EXPECT_EQ("nothing for 1 s", told.bytes);
}

class CopiedPhone : public PhoneTest {
 protected:
  static struct stat stat_of(const fs::path& path) {
    struct stat found {};
    EXPECT_EQ(0, lstat(path.c_str(), &found)) << path;
    return found;
  }
};

TEST_F(CopiedPhone, HasAllButItsLog) {
  constexpr off_t kEnd = 64 << 20;
  const std::string data(5000, 'x');
  write_file(file("/data/f"), data);
  fs::resize_file(file("/data/f"), kEnd);  // a hole, and data in it
  {
    const int fd = open(file("/data/f").c_str(), O_WRONLY);
    EXPECT_EQ(3, pwrite(fd, "end", 3, kEnd - 3));
    EXPECT_EQ(0, close(fd));
  }
  write_file(file("/data/empty"), "");
  EXPECT_EQ(0, chmod(file("/data/f").c_str(), 0640));
  EXPECT_EQ(0, chmod(file("/data/empty").c_str(), 0400));
  fs::create_symlink("/nowhere", file("/data/link"));
  EXPECT_EQ(0, mkfifo(file("/data/pipe").c_str(), 0600));
  fs::create_directories(file("/data/a/b"));
  set_item(9, "serial");
  const fs::path copy = directory().string() + "-copy";
  exploration::PhoneImage(directory()).write_to(copy);

  const fs::path root = copy / "root/data";
  EXPECT_EQ(read_file(file("/data/f")), read_file(root / "f"));
  EXPECT_EQ(kEnd, stat_of(root / "f").st_size);
  EXPECT_LT(stat_of(root / "f").st_blocks * 512, kEnd / 8);
  EXPECT_EQ(0640U, stat_of(root / "f").st_mode & 07777U);
  EXPECT_EQ(0400U, stat_of(root / "empty").st_mode & 07777U);
  EXPECT_EQ("/nowhere", fs::read_symlink(root / "link"));
  EXPECT_FALSE(fs::exists(root / "pipe"));  // which nobody could read
  EXPECT_TRUE(fs::is_directory(root / "a/b"));
  EXPECT_TRUE(fs::is_empty(copy / "log"));
  // It is a phone, and has what was stored last.
  {
    vp::Phone copied(copy);
    EXPECT_EQ("serial", vp::read_items(copied, 9, 6));
  }
  fs::remove_all(copy);
}

}  // namespace
}  // namespace fcx_test
