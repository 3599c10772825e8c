// What the library starts on the bench finds the phone, and nothing of this machine's.

#include "virtual_phone/core/programs.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/device_home.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ExitedWithCode;

class Programs : public PhoneTest {
 protected:
  /// A phone whose own path is as awkward as a path can be.
  Programs() {
    const fs::path awkward = directory() / "it's a \"phone\" of $HOME; `ls` \\";
    vp::create(awkward, "blank", false);
    vp::select(awkward);
    fs::create_directories(file("/data/a b"));
    write_file(file("/data/in"), "the phone's\n");
  }

  void install(const char* device_path, const char* script) {
    fs::create_directories(file(device_path).parent_path());
    write_file(file(device_path), script);
    EXPECT_EQ(0, chmod(file(device_path).c_str(), 0755));
  }
};

/// Becomes the program, or ends with why it cannot.
void exec(const std::vector<const char*>& arguments) {
  fcx::platform_exec(arguments.data());
  _exit(100 + errno);
}

TEST_F(Programs, EveryPathOfACommandIsThePhones) {
  // Each writes to /data/out what is then expected there.
  const std::pair<const char*, const char*> cases[] = {
      {"cat</data/in>/data/out", "the phone's\n"},
      {"cat \"/data/\"'in' > /data/o'ut'", "the phone's\n"},
      {"cat \\/data/in > \\/data/out", "the phone's\n"},
      {"f=/data/out; cat /data/in >$f", "the phone's\n"},
      {"(cat /data/in)|cat - >/data/out", "the phone's\n"},
      {"cp /data/in '/data/a b/c'; mv \"/data/a b/c\" /data/out", "the phone's\n"},
      {"echo 1 2>/data/x >/data/out && cat /data/in >>/data/out", "1\nthe phone's\n"},
      {"echo \"a\\\"/b\" 'it'\\''s/x' >/data/out", "a\"/b it's/x\n"},
      // What leads above "/" stays there.
      {"cat /../data/in >/../../../../data/out", "the phone's\n"},
      {"cat /data/../../data/in >/data/a\\ b/../../../data/out", "the phone's\n"},
      {"cat '/..'/data/in \"/./..\"/data/in >/'.'./data/out", "the phone's\nthe phone's\n"},
      {"cat ../../data/in >../data/out", "the phone's\n"},
      {"sh -c 'cd data/..; cat ../data/in' >/data/out", "the phone's\n"},
      {"cd /.. && cat data/in >/data/out", "the phone's\n"},
  };
  for (const auto& [command, expected] : cases) {
    fs::remove(file("/data/out"));
    fcx::platform_shell(command);
    EXPECT_EQ(expected, read_file(file("/data/out"))) << command;
  }
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Programs, ACommandEndsAsItsProgramDoes) {
  install("/vendor/bin/tell", "#!/bin/sh\necho \"$FCX_PHONE|$FCX_ROOT|$*\"\nexit 7\n");
  const int status = fcx::platform_shell("/vendor/bin/../bin/tell /data x/y >/data/out");
  EXPECT_EQ(7, WEXITSTATUS(status));
  const std::string root = phone().root();
  EXPECT_EQ(phone().directory().string() + "|" + root + "|" + root + "/data x/y\n",
            read_file(file("/data/out")));
  EXPECT_EQ(127, WEXITSTATUS(fcx::platform_shell("/vendor/bin/none 2>/data/out")));
  fs::rename(file("/data"), file("/elsewhere"));
  fs::rename(file(""), directory() / "gone");
  EXPECT_NE(0, fcx::platform_shell("touch here 2>&1 | :; exit 0")) << "nowhere else";
}

TEST_F(Programs, AProgramIsFoundInThePhoneOnly) {
  install("/system/bin/first", "#!/bin/sh\ncat \"$1\" >\"$FCX_ROOT/data/out\"; exit 3\n");
  install("/vendor/bin/first", "#!/bin/sh\nexit 4\n");
  install("/vendor/bin/second", "#!/bin/sh\n[ \"$1 $3\" = \"in $2\" ]\n");
  EXPECT_EXIT(exec({"first", "/data/../../data/in", nullptr}), ExitedWithCode(3), "");
  EXPECT_EQ("the phone's\n", read_file(file("/data/out")));
  EXPECT_EXIT(exec({"second", "in", "-p", "-p", nullptr}), ExitedWithCode(0), "");
  EXPECT_EXIT(exec({"sh", "-c", "exit 0", nullptr}), ExitedWithCode(100 + ENOENT), "");
  EXPECT_EQ(0, chmod(file("/system/bin/first").c_str(), 0644));
  EXPECT_EXIT(exec({"first", nullptr}), ExitedWithCode(100 + EACCES), "")
      << "the first of the name counts";
}

TEST_F(Programs, ThePhoneHasSomeOfItsOwn) {
  set_property("z.b", "1 2");
  set_property("z.empty", "");
  const auto output = [&](const std::string& command) {
    const int status =
        fcx::platform_shell(("/vendor/bin/" + command + " >/data/out 2>/data/err").c_str());
    return read_file(file("/data/out")) + (read_file(file("/data/err")).empty() ? "" : "errors; ") +
           std::to_string(WEXITSTATUS(status));
  };
  EXPECT_THAT(output("getprop"), HasSubstr("]\n[z.b]: [1 2]\n[z.empty]: []\n0"));
  EXPECT_EQ("1 2\n0", output("getprop z.b other"));
  EXPECT_EQ("an other\n0", output("getprop z.empty 'an other'"));
  EXPECT_EQ("\n0", output("getprop z.none"));
  EXPECT_EQ("errors; 1", output("getprop a b c"));
  EXPECT_EQ(read_file(file("/proc/kmsg")) + "0", output("dmesg"));
  fs::remove(file("/proc/kmsg"));
  EXPECT_EQ("errors; 1", output("dmesg"));
}

}  // namespace
}  // namespace fcx_test
