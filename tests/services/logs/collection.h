// A phone that has logs to collect.
#pragma once

#include <regex>

#include "fcx/log_collection.h"
#include "tests/services/logs/tree.h"

namespace fcx_test {

/// Dates are "DATE" in what is told, and $root is where dated folders are.
class CollectionTest : public LogTest {
 protected:
  static constexpr char kRoot[] = "/data/vendor/factory/logsave/";
  static constexpr char kArchive[] = "/data/vendor/factory/logsave.zip";

  CollectionTest() {
    let("root", kRoot);
    let("archive", kArchive);
    let("dbdump", DBDUMP_DIR);
    let("nvdump", NVDUMP_DIR);
    let("touch", TOUCH_DIR);
    let("last", "[get_rkf_last_log_if_exist]");
  }

  static std::string undated(const std::string& text) {
    static const std::regex kDate("[0-9]{8}_[0-9]{6}");
    return std::regex_replace(text, kDate, "DATE");
  }

  std::string plain(const std::string& text) const override { return undated(text); }

  void put_program(const char* path, const std::string& script) {
    fs::create_directories(file(path).parent_path());
    write_file(file(path), "#!/bin/sh\n" + script + "\n");
    fs::permissions(file(path), fs::perms::owner_all);
  }
  void put_programs() {
    put_program("/vendor/bin/dmesg", dmesg_);
    put_program("/vendor/bin/getprop", "echo '[a]: [b]'");
  }
  /// Collects, by whatever path, and gives the dated folders there the name DATE.
  int collect(const char* path) {
    put_programs();
    const int result = logsave(path);
    const fs::path root = file(path);
    if (!fs::is_directory(root)) return result;
    for (const auto& entry : fs::directory_iterator(root)) {
      const std::string name = entry.path().filename();
      if (undated(name) != name) fs::rename(entry.path(), root / undated(name));
    }
    return result;
  }

  std::string dmesg_ = "echo kernel";
};

}  // namespace fcx_test
