#include "virtual_phone/core/phone_state.h"

#include <android-base/unique_fd.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "virtual_phone/core/content_hash.h"
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

struct CloseDirectory {
  // Of a directory that is only read, nothing can be lost.
  void operator()(DIR* directory) const { static_cast<void>(closedir(directory)); }
};

std::string content_of_link(const std::string& path) {
  return "link to " + fs::read_symlink(path).string();
}

std::string content_of_file(const std::string& path) {
  const unique_fd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  struct stat found {};
  if (!file.ok() || fstat(file.get(), &found) != 0) return "cannot be read";
  ContentHash hash;
  // What is not written is left out: the partition of the items is nearly all of that.
  for (off_t data = 0; data < found.st_size;) {
    data = lseek(file.get(), data, SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;
    const off_t hole = lseek(file.get(), data, SEEK_HOLE);
    if (data < 0 || hole < 0) return "cannot be read";
    hash.add(std::to_string(data));
    std::string bytes(static_cast<size_t>(hole - data), '\0');
    if (pread(file.get(), bytes.data(), bytes.size(), data) != hole - data) return "cannot be read";
    hash.add(bytes);
    data = hole;
  }
  std::array<char, 17> digits;
  snprintf(digits.data(), digits.size(), "%016" PRIx64, hash.value());
  return std::to_string(found.st_size) + " bytes, " + digits.data();
}

[[noreturn]] void fail(const std::string& path) {
  throw fs::filesystem_error("look at", path, std::error_code(errno, std::generic_category()));
}

/// Null after the last one. One that cannot be read must not pass for that.
const dirent* next_entry(DIR* directory, const std::string& path) {
  errno = 0;
  const dirent* entry = readdir(directory);
  if (entry == nullptr && errno != 0) fail(path);
  return entry;
}

unsigned char type_of(const std::string& directory, const dirent& entry) {
  // Not every file system says it with the name.
  if (entry.d_type != DT_UNKNOWN) return entry.d_type;
  struct stat found {};
  const std::string path = directory + "/" + entry.d_name;
  if (lstat(path.c_str(), &found) != 0) fail(path);
  return static_cast<unsigned char>(IFTODT(found.st_mode));
}

/// All that is below `top` and no directory. A look at a phone takes as long as this: so it is
/// written with what the system has at hand.
void add_tree(const std::string& top, const std::string& name, const std::string& path,
              PhoneState& state) {
  const std::string at = top + path;
  const std::unique_ptr<DIR, CloseDirectory> directory(opendir(at.c_str()));
  if (directory == nullptr) fail(at);
  while (const dirent* entry = next_entry(directory.get(), at)) {
    const std::string_view last = entry->d_name;
    if (last == "." || last == "..") continue;
    const std::string inner = path + "/" + entry->d_name;
    const auto keep = [&](std::string content) {
      state.files.emplace(std::pair(name, inner), std::move(content));
    };
    switch (type_of(at, *entry)) {
      case DT_DIR:
        add_tree(top, name, inner, state);
        break;
      case DT_REG:
        keep(content_of_file(top + inner));
        break;
      case DT_LNK:
        keep(content_of_link(top + inner));
        break;
      default:
        keep("no file");
    }
  }
}

void add_tree(const Phone& phone, const std::string& name, PhoneState& state) {
  const fs::path top = phone.directory() / name;
  if (fs::is_directory(top)) add_tree(top.string(), name, "", state);
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
