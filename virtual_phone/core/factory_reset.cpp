#include "virtual_phone/core/factory_reset.h"

#include <filesystem>

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/sd_card.h"
#include "virtual_phone/profiles/profiles.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

constexpr char kNoteProperty[] = "persist.vendor.qve.factory.reset";
constexpr char kData[] = "/data";
constexpr std::string_view kWithCard = "sdcard";

/// Empties a directory that is reached without a link; anything else is left alone.
void empty_directory(const Phone& phone, std::string_view device_path) {
  fs::path directory = phone.root();
  for (const fs::path& part : fs::path(device_path).relative_path()) {
    directory /= part;
    if (fs::symlink_status(directory).type() != fs::file_type::directory) return;
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    fs::remove_all(entry.path());
  }
}

/// What every phone has of a directory from the start.
void make_again(const Phone& phone, std::string_view device_path) {
  for (const std::string_view each : device_directories()) {
    if (each.substr(0, device_path.size() + 1) != std::string(device_path) + "/") continue;
    fs::create_directories(phone.root() + std::string(each));
  }
}

}  // namespace

std::string noted_factory_reset(Phone& phone) {
  return get_property(phone, kNoteProperty).value_or("");
}

void erase_files_for(const std::string& reset, const Phone& phone) {
  try {
    if (reset.compare(0, kWithCard.size(), kWithCard) == 0) empty_directory(phone, kCardMount);
    empty_directory(phone, kData);
    make_again(phone, kData);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

}  // namespace virtual_phone
