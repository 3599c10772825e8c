// Ready-made phones.
#pragma once

#include <string_view>
#include <vector>

namespace virtual_phone {

struct ProfileProperty {
  const char* name;
  const char* value;  ///< "ro." values come back with every restart
};
struct ProfileItem {
  int number;
  std::string_view bytes;
};
struct ProfileFile {
  const char* device_path;
  const char* content;
};

struct Profile {
  const char* name;
  const char* meaning;
  std::vector<ProfileProperty> properties;
  std::vector<ProfileItem> items;
  std::vector<ProfileFile> files;
};

const std::vector<Profile>& profiles();

/// Directories that every phone has from the start.
const std::vector<const char*>& device_directories();

}  // namespace virtual_phone
