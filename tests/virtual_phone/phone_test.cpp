// The bench's phone: what a real one enforces, and what it must outlive.

#include <cutils/android_reboot.h>
#include <cutils/properties.h>
#include <hardware_legacy/power.h>
#include <log/log.h>
#include <selinux/android.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>

#include "platform/factory_item_library.h"
#include "tests/phone_fixture.h"
#include "virtual_phone/core/log_file.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/core/schema.h"

namespace fcx_test {
namespace {

using vp::Error;

class VirtualPhone : public PhoneTest {
 protected:
  std::string get(const char* name, const char* default_value = nullptr) {
    char value[PROPERTY_VALUE_MAX];
    const int length = property_get(name, value, default_value);
    EXPECT_EQ(static_cast<size_t>(length), strlen(value));
    return value;
  }
};

TEST_F(VirtualPhone, PropertiesEnforceWhatAPhoneDoes) {
  const std::string longest(91, 'v');
  EXPECT_EQ("", get("a.b"));
  EXPECT_EQ("d", get("a.b", "d"));
  EXPECT_EQ(0, property_set("a.b", longest.c_str()));
  EXPECT_EQ(-1, property_set("a.b", (longest + "v").c_str()));
  EXPECT_EQ(longest, get("a.b", "d")) << "a refused value leaves the old one";
  EXPECT_EQ(0, property_set("a.b", ""));
  EXPECT_EQ("d", get("a.b", "d")) << "the default stands in for an empty value too";
  EXPECT_EQ(longest, get("a.b", (longest + "cut").c_str()));
  EXPECT_EQ(0, property_set("ro.x", "1"));
  EXPECT_EQ(-1, property_set("ro.x", "2"));
  EXPECT_EQ(-1, property_set("ro.build.type", "user"));
  EXPECT_EQ("1", get("ro.x"));
  fault(Part::property, "ro.x", Effect::garbage, 0);
  EXPECT_EQ(std::string(91, '\xFF'), get("ro.x", "d"));
  for (const char* name : {"", ".a", "a.", "a..b", "a b", "a=b"}) {
    EXPECT_EQ(-1, property_set(name, "1")) << name;
  }
}

TEST_F(VirtualPhone, ARestartKeepsWhatPersists) {
  for (const char* name : {"persist.a", "persisted.a", "vendor.a", "ro.a"}) property_set(name, "1");
  android_reboot(ANDROID_RB_RESTART2, 0, "fcx");
  EXPECT_EQ("1", get("persist.a"));
  EXPECT_EQ("", get("persisted.a"));
  EXPECT_EQ("", get("vendor.a"));
  EXPECT_EQ("userdebug", get("ro.build.type"));
  EXPECT_EQ(0, property_set("ro.a", "2"));
  selinux_android_restorecon("/data/vendor", 0);
  EXPECT_EQ("restorecon: /data/vendor flags 0", events().back());
}

TEST_F(VirtualPhone, ItsEventsSayHowItIsPowered) {
  const auto state = [&] {
    const vp::PowerState now = vp::power_state(phone());
    std::string text = now.is_off ? "off" : "on";
    if (now.last_end) text += ", " + now.last_end->kind + ": " + now.last_end->detail;
    for (const vp::WakeLock& lock : now.wake_locks) text += ", " + lock.name;
    return text;
  };
  EXPECT_EQ("on", state());
  for (const char* lock : {"a", "b", "b", "c"}) acquire_wake_lock(PARTIAL_WAKE_LOCK, lock);
  release_wake_lock("b");
  release_wake_lock("d");
  EXPECT_EQ("on, a, c", state());
  const std::tuple<unsigned, const char*, const char*> cases[] = {
      {ANDROID_RB_RESTART, nullptr, "on, reboot: restart"},
      {ANDROID_RB_RESTART2, "dload", "on, reboot: restart, reason dload"},
      {ANDROID_RB_RESTART2, "oem-11", "off, reboot: restart, reason oem-11"},
      {ANDROID_RB_RESTART2, "oem-112", "on, reboot: restart, reason oem-112"},
      {ANDROID_RB_POWEROFF, nullptr, "off, reboot: power off"},
      {ANDROID_RB_THERMOFF, "hot", "off, reboot: thermal power off, reason hot"}};
  for (const auto& [command, reason, expected] : cases) {
    EXPECT_EQ(0, android_reboot(command, 0, reason));
    EXPECT_EQ(expected, state());
  }
  acquire_wake_lock(PARTIAL_WAKE_LOCK, "a");
  EXPECT_EQ("off, reboot: thermal power off, reason hot, a", state());
  vp::restart(phone(), "power off");
  EXPECT_EQ("on, restart: power off", state());
}

/// Makes a phone what the version before nodes and single reboot events would have left.
void make_old(const fs::path& directory, const char* more_sql) {
  vp::create(directory, "open", true);
  for (const char* gone : {"proc/qve_power", "proc/cmdline", "sys/power", "oem", "system/bin"}) {
    fs::remove_all(directory / "root" / gone);
  }
  vp::Database database(directory / "phone.db", vp::Database::Survives::kill);
  for (const char* table : {"property", "build_property"}) {
    database.execute((std::string("DELETE FROM ") + table +
                      " WHERE name LIKE 'ro.boot.%' OR name = 'ro.vendor.qve.kelp'")
                         .c_str());
  }
  database.execute(R"(
INSERT INTO event VALUES(1, 1, 'restart', 'boot'), (2, 2, 'reboot', 'restart fcx'),
  (3, 3, 'restart', 'restart fcx'), (4, 4, 'reboot', 'restart'), (5, 5, 'restart', 'restart'),
  (6, 6, 'restart', 'restart'), (7, 7, 'reboot', 'power off'), (8, 8, 'restart', 'power off');
DROP TABLE unflushed;
ALTER TABLE sim DROP COLUMN imsi;
PRAGMA user_version=4;
)");
  database.execute(more_sql);
}

TEST_F(VirtualPhone, AnOlderOneIsGivenWhatItLacksAndKeepsWhatItHas) {
  const auto old = directory() / "old";
  const fs::path root = old / "root";
  make_old(old,
           "INSERT INTO property VALUES('ro.boot.vendor.qve.model.name', 'mine');"
           "INSERT INTO build_property VALUES('ro.boot.vendor.qve.model.factory', 'old')");
  write_file(root / "proc/meminfo", "mine");
  fs::create_symlink("nowhere", root / "proc/cmdline");
  write_file(root / "sys/power", "no directory");
  fs::remove(root / "mnt/vendor/persist-qv/startday/date");
  // A raise that cannot be completed changes no version, and leaves half of what it makes nowhere.
  const fs::path begun = root / "proc/qve_power/lcd/.brightness.raised";
  fs::create_directories(begun);
  EXPECT_THAT([&] { vp::Phone{old}; }, ThrowsMessage<Error>(HasSubstr("Is a directory")));
  EXPECT_TRUE(fs::exists(root / "proc/qve_power/adc/usb_in")) << "what came before it";
  write_file(root / "proc/qve_power/adc/usb_in", "7");
  fs::remove(begun);
  write_file(begun, "what a killed process has left, and is longer than the node");

  vp::select(old);
  EXPECT_EQ("183\n", read_file(root / "proc/qve_power/lcd/brightness"));
  EXPECT_EQ("7", read_file(root / "proc/qve_power/adc/usb_in"));
  EXPECT_EQ("mine", read_file(root / "proc/meminfo"));
  EXPECT_EQ("nowhere", fs::read_symlink(root / "proc/cmdline"));
  EXPECT_EQ("no directory", read_file(root / "sys/power"));
  EXPECT_TRUE(fs::is_directory(root / "oem"));
  for (const fs::path& each : {root, directory() / "root"}) {
    const fs::path program = each / "system/bin/screencap";
    EXPECT_EQ("#!/bin/sh\nexec $FCX_EMULATOR \"$FCX_PROGRAMS/screencap\" \"$@\"\n",
              read_file(program));
    EXPECT_EQ(fs::perms{0755}, fs::status(program).permissions());
  }
  for (const char* path :
       {"mnt/vendor/persist-qv/startday/date", "oem/OP", "proc/qve_power/lcd/.brightness.raised"}) {
    EXPECT_FALSE(fs::exists(root / path)) << path << " is no node";
  }
  EXPECT_EQ("mine", property("ro.boot.vendor.qve.model.name"));
  EXPECT_EQ("1", property("ro.vendor.qve.kelp")) << "of its own profile";
  restart();
  EXPECT_EQ("QV-100", property("ro.boot.vendor.qve.model.name"));
  EXPECT_EQ("old", property("ro.boot.vendor.qve.model.factory"));
  EXPECT_THAT(events(),
              ElementsAre("restart: boot", "reboot: restart, reason fcx", "reboot: restart",
                          "restart: restart", "reboot: power off", "restart: test"));
  fs::remove(root / "proc/qve_power/lcd/brightness");
  vp::Phone{old};
  EXPECT_FALSE(fs::exists(root / "proc/qve_power/lcd/brightness"))
      << "somebody has removed it since";

  make_old(old, "UPDATE phone SET value = 'forgotten'");
  vp::Phone forgotten(old);
  EXPECT_TRUE(fs::exists(root / "proc/qve_power/lcd/brightness"));
  EXPECT_EQ(std::nullopt, vp::get_property(forgotten, "ro.vendor.qve.kelp"));
}

TEST_F(VirtualPhone, ItemsAreBlocksThatKeepWhatIsNotWritten) {
  char buffer[2049];
  EXPECT_EQ(0, set_ftm_item(5, 6, "abcdef"));
  EXPECT_EQ(0, set_ftm_item(5, 2, "XY"));
  EXPECT_EQ(0, get_ftm_item(5, 8, buffer));
  EXPECT_EQ(std::string("XYcdef\0\0", 8), std::string(buffer, 8));
  const std::string block(2048, 'b');
  EXPECT_EQ(0, set_ftm_item(231, 2048, block.data()));
  EXPECT_EQ(0, set_ftm_item(232, 1, "c"));
  std::string many(4098, '#');
  EXPECT_EQ(0, get_ftm_multi_item(231, 4098, many.data()));
  EXPECT_EQ(block + "c" + std::string(2049, '\0'), many);
  for (const auto& [index, length] : {std::pair(-1, 1), {5, 0}, {5, -1}, {5, 2049}}) {
    EXPECT_LT(get_ftm_item(index, length, buffer), 0) << index << " " << length;
    EXPECT_LT(set_ftm_item(index, length, buffer), 0) << index << " " << length;
  }
  EXPECT_LT(get_ftm_item(5, 1, nullptr), 0);
}

TEST_F(VirtualPhone, TheLogIsOneLineAnEntry) {
  __android_log_buf_write(3, 6, "Fcx", "two\nlines\n");
  __android_log_buf_write(3, 4, "", "no tag");
  const std::string text = read_file(phone().log_file());
  EXPECT_THAT(text, testing::ContainsRegex(
                        "^[0-9-]{5} [0-9:]{8}[.][0-9]{3} +[0-9]+ +[0-9]+ E Fcx     : two.nlines\n"
                        "[^\n]* I         : no tag\n$"));
  EXPECT_EQ("two\nlines\n", entries().front().message) << "observers see it letter for letter";
}

TEST_F(VirtualPhone, AFullLogIsTakenOverFromAtOnceAndWhileAProcessRuns) {
  const auto log = phone().log_file();
  const std::string full(8 << 20, 'x');
  const std::string much(64 << 10, '.');
  const auto fill = [&](const char* last) {
    std::ofstream(log, std::ios::app) << full << "\n" << last << "\n";
  };
  const auto write = [](vp::Phone& writer, const std::string& line) {
    writer.log().append(line + "\n");
  };
  vp::LogReader reader(log);
  vp::Phone older(directory());
  write(older, "1");
  fill("2");
  vp::Phone newer(directory());
  write(newer, "3");
  EXPECT_THAT(reader.appended(), testing::EndsWith("\n2\n3\n"));
  EXPECT_THAT(vp::LogReader(log).last_lines(2), ElementsAre("2", "3"));
  write(older, much);
  write(older, "4");
  EXPECT_THAT(vp::LogReader(log).last_lines(4), ElementsAre("2", much, "3", "4"));

  fill("5");
  write(newer, much);
  write(newer, "6");
  EXPECT_EQ("6\n", read_file(log));
  EXPECT_THAT(vp::LogReader(log).last_lines(7), ElementsAre("3", "4", full, "5", much, "6"));

  // Two are put away between two entries of a process.
  for (const char* last : {"7", "8"}) {
    fill(last);
    vp::Phone another(directory());
  }
  write(older, "9");
  EXPECT_THAT(vp::LogReader(log).last_lines(2), ElementsAre("8", "9"));

  vp::create(directory(), "blank", true);
  write(newer, much);
  EXPECT_EQ("", read_file(log)) << "another phone's log";
}

TEST_F(VirtualPhone, OnlyFilesAreTheLogAndTheDatabaseAndNobodyWaits) {
  const auto log = phone().log_file();
  const auto is_refused = ThrowsMessage<Error>(HasSubstr("is no regular file"));
  ASSERT_EQ(0, mkfifo((log.string() + ".1").c_str(), 0600));
  EXPECT_THAT([&] { vp::LogReader(log).last_lines(1); }, is_refused);
  fs::remove(log);
  ASSERT_EQ(0, mkfifo(log.c_str(), 0600));
  EXPECT_THAT([&] { vp::Phone{directory()}; }, is_refused);
  EXPECT_THAT([&] { vp::LogReader{log}; }, is_refused);
  fs::remove(log);
  ASSERT_EQ(0, mkfifo((directory() / "phone.db-journal").c_str(), 0600));
  EXPECT_THAT([&] { vp::Phone{directory()}; }, is_refused);
}

TEST_F(VirtualPhone, ADirectoryThatIsNoUsablePhoneSaysWhatToDo) {
  const auto other = directory() / "other";
  vp::create(other, "single", false);
  for (const auto& [version, why] :
       {std::pair(vp::kPhoneVersion + 1, "newer"), {0, "damaged"}, {-1, "damaged"}}) {
    vp::Database database(other / "phone.db", vp::Database::Survives::kill);
    database.execute(("PRAGMA user_version=" + std::to_string(version)).c_str());
    EXPECT_THAT([&] { vp::select(other); }, ThrowsMessage<Error>(HasSubstr(why))) << version;
  }
  write_file(other / "phone.db", std::string(8192, 'x'));
  EXPECT_THAT([&] { vp::select(other); }, ThrowsMessage<Error>(HasSubstr("damaged")));
  write_file(other / "phone.db", "");
  EXPECT_THAT([&] { vp::select(other); }, ThrowsMessage<Error>(HasSubstr("not made to its end")));
}

TEST_F(VirtualPhone, OnlyAPhoneIsReplaced) {
  const auto other = directory() / "other";
  const auto fails = [&](bool force, const char* why) {
    EXPECT_THAT([&] { vp::create(other, "single", force); }, ThrowsMessage<Error>(HasSubstr(why)));
  };
  for (const auto& [sql, why] : {std::pair("CREATE TABLE a(b)", "left alone"),
                                 {"PRAGMA application_id=7", "left alone"},
                                 {"VACUUM", "fcx init --force"}}) {
    fs::create_directories(other);
    vp::Database(other / "phone.db", vp::Database::Survives::kill, true).execute(sql);
    fails(false, why);
    fs::remove_all(other);
  }
  vp::create(directory() / "real", "blank", false);
  fs::create_directory_symlink(directory() / "real", other);
  vp::create(other, "single", true);
  EXPECT_TRUE(fs::is_symlink(other)) << "the phone that it leads to";
  EXPECT_EQ("single", vp::Phone(directory() / "real").profile());
  fs::current_path(directory() / "real" / "root");
  fails(true, "current directory");
}

TEST_F(VirtualPhone, AValueThatADatabaseDoesNotTakeIsAnError) {
  const std::lock_guard lock(phone().mutex());
  EXPECT_THROW(phone().fleeting().query("SELECT ?").bind(1).bind(2), Error);
}

TEST_F(VirtualPhone, AWriteToAPhoneThatIsGoneFails) {
  vp::create(directory(), "blank", true);
  EXPECT_LT(set_ftm_item(9, 1, "b"), 0);
  EXPECT_EQ(-1, property_set("persist.a", "b"));
  fs::remove_all(directory());
  EXPECT_LT(set_ftm_item(9, 1, "b"), 0);
}

TEST_F(VirtualPhone, AFullDiskFailsAWriteAndChangesNothing) {
  set_item(9, "before");
  // Files cannot grow any more; what SQLite would append is refused.
  signal(SIGXFSZ, SIG_IGN);
  const rlimit full{1, RLIM_INFINITY};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &full));
  const std::string large(2048, 'x');
  EXPECT_LT(set_ftm_item(9, 2048, large.data()), 0);
  EXPECT_EQ(-1, property_set("persist.a", "1"));
  EXPECT_EQ("before", item_text(9));
  const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &unlimited));
  EXPECT_EQ(0, set_ftm_item(9, 2048, large.data()));
}

TEST_F(VirtualPhone, TwoConnectionsWriteOneItem) {
  // The other one writes the item's first half, this one both: nobody else changes the second half.
  std::atomic<bool> is_done = false;
  std::thread other([&] {
    vp::Phone same(directory());
    while (!is_done) vp::write_item(same, 9, "aaaa");
  });
  for (int count = 1000; count < 1100 && !HasFailure(); ++count) {
    const std::string half = std::to_string(count);
    set_item(9, "bbbb" + half);
    // Once the other has written too, its copy of the second half must have been this one.
    EXPECT_TRUE(eventually([&] { return item_text(9).substr(0, 4) == "aaaa"; }));
    EXPECT_EQ("aaaa" + half, item_text(9));
  }
  is_done = true;
  other.join();
}

}  // namespace
}  // namespace fcx_test
