// What the library starts on the bench finds the phone, and nothing of this machine's.

#include "virtual_phone/core/programs.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/device_home.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

constexpr char kQuotedName[] = "it's a \"phone\" of $HOME; `ls` \\";

class Programs : public PhoneTest {
 protected:
  /// A phone whose own path is as awkward as a path can be.
  Programs() {
    const fs::path awkward = directory() / kQuotedName;
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

/// How a child ended that becomes the program, or cannot.
int exec_in_child(const std::vector<const char*>& arguments) {
  const pid_t child = fork();
  if (child == 0) {
    fcx::platform_exec(arguments.data());
    _exit(100 + errno);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Programs, EveryPathOfACommandIsThePhones) {
  // Each writes to /data/out what is then expected there.
  const std::pair<const char*, const char*> cases[] = {
      {"cat /data/in > /data/out", "the phone's\n"},
      {"cat</data/in>/data/out", "the phone's\n"},
      {"cat '/data/in' >\"/data/out\"", "the phone's\n"},
      {"cat \"/data/\"'in' > /data/o'ut'", "the phone's\n"},
      {"cat \\/data/in > \\/data/out", "the phone's\n"},
      {"cat data/in > ./data/out", "the phone's\n"},
      {"f=/data/out; cat /data/in >$f", "the phone's\n"},
      {"(cat /data/in)|cat - >/data/out", "the phone's\n"},
      {"cp /data/in '/data/a b/c'; mv \"/data/a b/c\" /data/out", "the phone's\n"},
      {"echo 1 2>/data/x >/data/out && cat /data/in >>/data/out", "1\nthe phone's\n"},
      {"echo \"a\\\"/b\" 'it'\\''s/x' >/data/out", "a\"/b it's/x\n"},
      {"echo a/b >/data/out", "a/b\n"},
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
  EXPECT_EQ(3, exec_in_child({"first", "/data/../../data/in", nullptr}));
  EXPECT_EQ("the phone's\n", read_file(file("/data/out")));
  EXPECT_EQ(0, exec_in_child({"second", "in", "-p", "-p", nullptr}));
  EXPECT_EQ(100 + ENOENT, exec_in_child({"sh", "-c", "exit 0", nullptr}));
  EXPECT_EQ(0, chmod(file("/system/bin/first").c_str(), 0644));
  EXPECT_EQ(100 + EACCES, exec_in_child({"first", nullptr})) << "the first of the name counts";
}

TEST_F(Programs, ThePhoneHasSomeOfItsOwn) {
  set_property("vendor.b", "1 2");
  set_property("vendor.empty", "");
  const auto output = [&](const char* command) {
    const int status = fcx::platform_shell((command + " >/data/out 2>/data/err"s).c_str());
    const std::string errors = read_file(file("/data/err"));
    return read_file(file("/data/out")) + (errors.empty() ? "" : "errors; ") +
           std::to_string(WEXITSTATUS(status));
  };
  std::string all;
  for (const auto& [name, value] : vp::properties(phone()))
    all += "[" + name + "]: [" + value + "]\n";
  EXPECT_THAT(all, HasSubstr("\n[vendor.b]: [1 2]\n[vendor.empty]: []\n"));
  const std::pair<const char*, std::string> cases[] = {
      {"/vendor/bin/getprop", all + "0"},
      {"/vendor/bin/getprop vendor.b other", "1 2\n0"},
      {"/vendor/bin/getprop vendor.empty 'an other'", "an other\n0"},
      {"/vendor/bin/getprop vendor.none", "\n0"},
      {"/vendor/bin/getprop a b c", "errors; 1"},
      {"/vendor/bin/dmesg", read_file(file("/proc/kmsg")) + "0"},
  };
  for (const auto& [command, expected] : cases) EXPECT_EQ(expected, output(command)) << command;
  fs::remove(file("/proc/kmsg"));
  EXPECT_EQ("errors; 1", output("/vendor/bin/dmesg"));
}

}  // namespace
}  // namespace fcx_test
