// What is in a folder of the phone.
#pragma once

#include <map>
#include <string>

#include "tests/story_test.h"

namespace fcx_test {

class LogTest : public StoryTest {
 protected:
  /// The contents of a folder's regular files, by their paths below it.
  std::map<std::string, std::string> files_of(const char* folder) {
    std::map<std::string, std::string> found;
    for_each_in(folder, [&](const std::string& path, const fs::directory_entry& entry) {
      if (entry.symlink_status().type() == fs::file_type::regular) {
        found[path] = read_file(entry.path());
      }
    });
    return found;
  }

  /// All that is in a folder, by their names: "a=content b/ b/c=content link@ pipe|".
  std::string tree(const char* folder) {
    std::map<std::string, std::string> found;
    for_each_in(folder, [&](const std::string& path, const fs::directory_entry& entry) {
      switch (entry.symlink_status().type()) {
        case fs::file_type::regular:
          found[path] = "=" + read_file(entry.path());
          break;
        case fs::file_type::directory:
          found[path] = "/";
          break;
        case fs::file_type::symlink:
          found[path] = "@";
          break;
        default:
          found[path] = "|";
      }
    });
    std::string text;
    for (const auto& [path, what] : found) text += (text.empty() ? "" : " ") + path + what;
    return text;
  }

 private:
  template <typename Work>
  void for_each_in(const char* folder, Work work) {
    const fs::path root = file(folder);
    if (!fs::is_directory(root)) return;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      work(entry.path().lexically_relative(root).string(), entry);
    }
  }
};

}  // namespace fcx_test
