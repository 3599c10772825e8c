#include "virtual_phone/core/phone_state.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/core/sd_card.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

std::map<int, std::string> items_of(Phone& phone) {
  std::map<int, std::string> items;
  for (auto& [number, bytes] : written_items(phone)) {
    const size_t used = bytes.find_last_not_of('\0');
    if (used != std::string::npos) items.emplace(number, bytes.substr(0, used + 1));
  }
  return items;
}

/// FNV-1a.
void add_to_hash(uint64_t& hash, std::string_view bytes) {
  for (const char byte : bytes) hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001b3;
}

std::string content_of(const fs::directory_entry& entry) {
  if (entry.is_symlink()) return "link to " + fs::read_symlink(entry.path()).string();
  if (!entry.is_regular_file()) return "no file";
  const unique_fd file(open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  const auto size = static_cast<off_t>(entry.file_size());
  uint64_t hash = 0xcbf29ce484222325;
  // What is not written is left out: the partition of the items is nearly all of that.
  for (off_t data = 0; data < size;) {
    data = lseek(file.get(), data, SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;
    const off_t hole = lseek(file.get(), data, SEEK_HOLE);
    if (!file.ok() || data < 0 || hole < 0) return "cannot be read";
    add_to_hash(hash, std::to_string(data));
    std::string bytes(static_cast<size_t>(hole - data), '\0');
    if (pread(file.get(), bytes.data(), bytes.size(), data) != hole - data) return "cannot be read";
    add_to_hash(hash, bytes);
    data = hole;
  }
  std::array<char, 17> digits;
  snprintf(digits.data(), digits.size(), "%016" PRIx64, hash);
  return std::to_string(size) + " bytes, " + digits.data();
}

void add_tree(const Phone& phone, const std::string& name, PhoneState& state) {
  const fs::path top = phone.directory() / name;
  if (!fs::is_directory(top)) return;
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    const std::string path = "/" + entry.path().lexically_relative(top).string();
    state.files.emplace(std::pair(name, path), content_of(entry));
  }
}

}  // namespace

PhoneState state_of(Phone& phone) {
  PhoneState state;
  state.items = items_of(phone);
  for (auto& [name, value] : properties(phone)) state.properties.emplace(name, value);
  state.modem_values = modem_values(phone);
  state.nv_items = nv_items(phone);
  state.sim = sim(phone);
  state.is_card_inserted = is_card_inserted(phone);
  for (const char* tree : {"root", kOverlayName, kEfsName}) add_tree(phone, tree, state);
  return state;
}

}  // namespace virtual_phone
