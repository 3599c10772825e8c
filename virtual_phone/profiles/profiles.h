// Ready-made phones.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_phone {

struct ProfileProperty {
  const char* name;
  std::string value;  ///< comes back with every restart
};
struct ProfileItem {
  int number;
  std::string_view bytes;
};
struct ProfileFile {
  std::string path;  ///< on the device, on its overlay, or in the modem's file system
  std::string content;
};
struct ProfileModemValue {
  const char* name;  ///< one of known_modem_values()
  std::string_view bytes;
};

/// What lies in the partition of the factory items beside them, from a block on.
struct ProfileRecord {
  size_t block;
  std::string bytes;
};

struct Profile {
  const char* name;
  const char* meaning;
  std::vector<ProfileProperty> properties;
  std::vector<ProfileItem> items;
  std::vector<ProfileFile> files;
  std::vector<ProfileModemValue> modem_values;
  std::vector<ProfileItem> nv_items;
  std::vector<ProfileFile> efs_files;
  std::vector<ProfileFile> overlay_files = {};  ///< which only the file-handle service reads
  std::string_view sim_iccid = {};              ///< of the SIM that is inserted; empty: none is
  std::string_view sim_imsi = {};               ///< of the same SIM
  std::vector<ProfileFile> nodes = {};          ///< files that show what the kernel has to say
  std::vector<ProfileRecord> records = {};
};

const std::vector<Profile>& profiles();
/// The profile of that name, or null.
const Profile* find_profile(std::string_view name);

/// Directories that every phone has from the start.
const std::vector<const char*>& device_directories();

/// Programs that every phone has from the start, scripts that launch the bench's own.
const std::vector<ProfileFile>& device_programs();
/// Who may run them: everybody.
constexpr mode_t kProgramMode = 0755;

}  // namespace virtual_phone
