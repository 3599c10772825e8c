#include "virtual_phone/core/factory_reset.h"

#include <filesystem>

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/own_directory.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/power/unflushed.h"
#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

constexpr char kNoteProperty[] = "persist.vendor.qve.factory.reset";
constexpr char kData[] = "/data";
constexpr std::string_view kWithCard = "sdcard";

/// Empties a directory of the phone's own; anything else is left alone. Every phone has some
/// directories in it from the start, which are made again.
void empty_directory(Phone& phone, const std::string& device_path) {
  const auto directory = own_directory(phone, device_path);
  if (!directory.has_value()) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(*directory)) {
    fs::remove_all(entry.path());
  }
  for (const std::string_view each : device_directories()) {
    if (each.substr(0, device_path.size() + 1) == device_path + "/")
      make_own_directory(phone, each);
  }
  // The recovery system leaves nothing unflushed.
  note_tree_flushed(phone, "root" + device_path);
}

}  // namespace

std::string noted_factory_reset(Phone& phone) {
  return get_property(phone, kNoteProperty).value_or("");
}

void erase_files_for(const std::string& reset, Phone& phone) {
  try {
    if (reset.compare(0, kWithCard.size(), kWithCard) == 0) empty_directory(phone, kCardMount);
    empty_directory(phone, kData);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
