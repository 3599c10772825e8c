// The SD card: how it is found, put in, taken out, and what a factory reset empties.
#include "virtual_phone/core/sd_card.h"

#include "fcx/device_functions.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

class SdCard : public StoryTest {
 protected:
  int find() {
    char text[2] = {'?', '?'};
    EXPECT_EQ(mmc_emt(nullptr), mmc_emt(text));
    out = std::string(text) + " ";
    char path[256] = "before";
    const int result = get_sdcard_path(path);
    out += path;
    return result;
  }
};

TEST_F(SdCard, IsTheFirstMountPointOfStorageThatIsNotThePhonesOwn) {
  let("longest", "/storage/" + std::string(246, 'a'));
  let("none", "out=0 before; result=-1");
  let("b", "\\");  // octal, of the kernel's
  TELL("card", find(), R"(
mounts=a /storage/1A2B-3C4D vfat rw 0 0\n -> => out=1 /storage/1A2B-3C4D
mounts=a /data x\nb /storage/one/ vfat\nc /storage/two vfat\n -> => out=1 /storage/one
mounts=a /storage/my${b}0404${b}134K vfat -> => out=1 /storage/my\s4\K
mounts=a /storage/my${b}089${b}04 vfat -> => out=1 /storage/my${b}089${b}04
mounts=a /storage/emulated x\nb /storage/emulated/0 x\nc /storage/self/primary x\n -> => $none
mounts=a /storage/my${b}000 x\nb /storage/b x -> => out=1 /storage/b
mounts=a /storage/emulated2 x -> => out=1 /storage/emulated2
mounts=a $longest x -> => out=1 $longest
mounts=a ${longest}a x\nb /storage/b x\n -> => out=1 /storage/b
mounts=a /storage x\nb /storage/ x\nc /mnt/storage/1 x\n/storage/d\n -> => $none
mounts=/storage/1 /data x\n -> => $none
)");
  let("no", ": /proc/mounts: Input/output error\n");
  TELL("mounts", find(),
       "mounts!open -> E mmc_emt$no|E mmc_emt$no|E get_sdcard_path$no => $none\n"
       "mounts!read -> E mmc_emt$no|E mmc_emt$no|E get_sdcard_path$no => $none");
  EXPECT_EQ(-1, get_sdcard_path(nullptr));
}

TEST_F(SdCard, KeepsItsFilesWhileItIsOut) {
  const fs::path photo = file(vp::kCardMount) / "photo";
  // Longer than a page, and without an end of its last line.
  std::string mounts = read_file(file("/proc/mounts"));
  for (int i = 0; i < 200; ++i)
    mounts += "/dev/block/dm-" + std::to_string(i) + " /a ext4 ro 0 0\n";
  write_file(file("/proc/mounts"), mounts.substr(0, mounts.size() - 1));
  for (int i = 0; i < 2; ++i) {
    vp::insert_card(phone());
    vp::insert_card(phone());
    find();
    EXPECT_EQ(std::string("1 ") + vp::kCardMount, out);
    if (i == 0) write_file(photo, "kept");
    EXPECT_EQ("kept", read_file(photo));
    vp::remove_card(phone());
    vp::remove_card(phone());
    EXPECT_EQ(-1, find());
    EXPECT_FALSE(fs::exists(photo));
    EXPECT_EQ(mounts, read_file(file("/proc/mounts")));
  }
}

TEST_F(SdCard, IsNotMovedOverWhatIsInItsPlace) {
  fs::create_directory(directory() / vp::kCardName);
  write_file(directory() / vp::kCardName / "photo", "the card's");
  fs::create_directory(file(vp::kCardMount));
  write_file(file(vp::kCardMount) / "photo", "somebody's");
  EXPECT_THROW(vp::insert_card(phone()), vp::Error);
  EXPECT_THROW(vp::remove_card(phone()), vp::Error);
  EXPECT_EQ("somebody's", read_file(file(vp::kCardMount) / "photo"));
  fs::remove_all(file("/storage"));
  fs::create_directory(file("/outside"));
  fs::create_directory_symlink(file("/outside"), file("/storage"));
  EXPECT_THROW(vp::insert_card(phone()), vp::Error);
  vp::remove_card(phone());
  EXPECT_TRUE(fs::is_empty(file("/outside"))) << "no link is followed";
  EXPECT_FALSE(vp::is_card_inserted(phone()));
}

TEST_F(SdCard, AFactoryResetEmptiesWhatItNamesAndFollowsNoLink) {
  const fs::path outside = file("/outside");
  const fs::path photo = file(vp::kCardMount) / "photo";
  for (const std::string mode : {"", "1", "sdcard"}) {
    fresh_phone();
    vp::insert_card(phone());
    write_file(photo, "photo");
    fs::create_directories(outside / "folder");
    write_file(outside / "folder" / "file", "untouched");
    write_file(file("/data/vendor/factory/log"), "log");
    fs::create_directory_symlink(outside, file("/data/link"));
    fs::create_directory_symlink(outside, file(vp::kCardMount) / "link");
    set_item(item::frst_running, "\1");
    set_build_property("persist.of.the.image", "yes");
    set_property("persist.of.the.image", "changed");
    set_property("persist.of.the.user", "yes");
    set_property("persist.vendor.qve.factory.reset", mode);
    restart();
    const bool is_reset = !mode.empty();
    EXPECT_EQ(is_reset ? "yes" : "changed", property("persist.of.the.image"));
    EXPECT_EQ(is_reset ? "(not set)" : "yes", property("persist.of.the.user"));
    EXPECT_EQ(!is_reset, fs::exists(fs::symlink_status(file("/data/link"))));
    EXPECT_EQ(!is_reset, fs::exists(file("/data/vendor/factory/log")));
    EXPECT_TRUE(fs::exists(file("/data/vendor/factory")));
    EXPECT_EQ(mode != "sdcard", fs::exists(photo));
    EXPECT_EQ("untouched", read_file(outside / "folder" / "file"));
    EXPECT_EQ("\1", item(item::frst_running, 1));
    const auto seen = events();
    EXPECT_EQ(is_reset ? "factory_reset: " + mode : "restart: test", seen.back());
  }
  fs::rename(file("/data"), file("/moved"));
  fs::create_directory_symlink(outside, file("/data"));
  set_property("persist.vendor.qve.factory.reset", "100");
  restart();
  EXPECT_EQ("untouched", read_file(outside / "folder" / "file")) << "/data itself is a link";
  EXPECT_FALSE(fs::exists(outside / "vendor"));
}

}  // namespace
}  // namespace fcx_test
