// Phones that have logs, and what is in their folders.
#pragma once

#include <pthread.h>

#include <array>
#include <map>
#include <random>
#include <regex>

#include "fcx/log_collection.h"
#include "tests/story_test.h"

namespace fcx_test {

/// Bytes that nobody can shorten.
inline std::string noise(size_t size) {
  std::string bytes(size, '\0');
  std::mt19937 random(1);
  for (char& each : bytes) each = static_cast<char>(random());
  return bytes;
}

/// Works on the small stack of a thread of which a daemon may have many.
inline void on_small_stack(const std::function<void()>& work) {
  pthread_attr_t small;
  ASSERT_EQ(0, pthread_attr_init(&small));
  ASSERT_EQ(0, pthread_attr_setstacksize(&small, 1 << 20));
  ASSERT_EQ(0, pthread_setattr_default_np(&small));
  std::thread(work).join();
}

class LogTest : public StoryTest {
 protected:
  /// Runs a command in the phone's root folder. @return what it prints
  std::string run(const std::string& command) {
    std::array<char, 4096> text{};
    FILE* const pipe = popen(("cd " + phone().root() + " && " + command).c_str(), "r");
    std::string printed;
    while (const size_t size = fread(text.data(), 1, text.size(), pipe)) {
      printed.append(text.data(), size);
    }
    EXPECT_EQ(0, pclose(pipe)) << command << printed;
    return printed;
  }

  /// What a story gives a property, which says something to the test alone; else what is usual.
  std::string given(const char* name, const std::string& usual) {
    return vp::get_property(phone(), name).value_or(usual);
  }
  /// Runs what a story gives the property "do".
  void prepare() { run(given("do", ":")); }

  /// All that is in a folder, by their names: "a=content b/ b/c=content link@ pipe|".
  std::string tree(const char* folder) {
    std::map<std::string, std::string> found;
    const fs::path root = file(folder);
    if (!fs::is_directory(root)) return "";
    for (const auto& each : fs::recursive_directory_iterator(root)) {
      const fs::file_type type = each.symlink_status().type();
      found[each.path().lexically_relative(root)] = type == fs::file_type::regular
                                                        ? "=" + read_file(each.path())
                                                    : type == fs::file_type::directory ? "/"
                                                    : type == fs::file_type::symlink   ? "@"
                                                                                       : "|";
    }
    std::string text;
    for (const auto& [path, what] : found) text += (text.empty() ? "" : " ") + path + what;
    return text;
  }
};

/// Dates are "DATE" in what is told, and $root is where dated folders are.
class CollectionTest : public LogTest {
 protected:
  static constexpr char kRoot[] = "/data/vendor/factory/logsave/";

  CollectionTest() {
    TELL("names", 0, R"(
let root = /data/vendor/factory/logsave/
let archive = /data/vendor/factory/logsave.zip
let dbdump = /data/vendor/factory/dbdump/
let nvdump = /data/vendor/factory/nvdump/
let touch = /data/vendor/touch/
let last = [get_rkf_last_log_if_exist]
)");
  }

  static std::string undated(const std::string& text) {
    static const std::regex kDate("[0-9]{8}_[0-9]{6}");
    return std::regex_replace(text, kDate, "DATE");
  }
  std::string plain(const std::string& text) const override { return undated(text); }

  /// Collects, by whatever path, and gives the dated folders there the name DATE.
  int collect(const char* path) {
    fs::create_directories(file("/vendor/bin"));
    const std::map<const char*, std::string> programs = {
        {"/vendor/bin/dmesg", dmesg_}, {"/vendor/bin/getprop", "echo '[a]: [b]'"}};
    for (const auto& [program, script] : programs) {
      write_file(file(program), "#!/bin/sh\n" + script + "\n");
      fs::permissions(file(program), fs::perms::owner_all);
    }
    const int result = logsave(path);
    if (!fs::is_directory(file(path))) return result;
    for (const auto& entry : fs::directory_iterator(file(path))) {
      const std::string name = entry.path().filename();
      if (undated(name) != name) fs::rename(entry.path(), file(path) / undated(name));
    }
    return result;
  }

  std::string dmesg_ = "echo kernel";
};

}  // namespace fcx_test
