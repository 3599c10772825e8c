#include "virtual_phone/core/sd_card.h"

#include "virtual_phone/core/error.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/own_directory.h"
#include "virtual_phone/power/unflushed.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;

constexpr char kMounts[] = "/proc/mounts";

/// The card's line of the node.
std::string card_line() {
  return std::string("/dev/block/vold/public:179,1 ") + kCardMount +
         " vfat rw,nosuid,nodev,noexec,noatime 0 0\n";
}

std::string mounts(const Phone& phone) {
  const auto content = read_node(phone, kMounts);
  if (!content.has_value()) throw Error(std::string(kMounts) + " is not there");
  return *content;
}

/// Where the line of a card begins at its mount point.
size_t find_mount(const std::string& mounts) {
  return mounts.find(std::string(" ") + kCardMount + " ");
}

fs::path kept(const Phone& phone) { return phone.directory() / kCardName; }

/// Moves the card's directory, at most over an empty one.
void move_card(const fs::path& from, const fs::path& to) {
  try {
    fs::rename(from, to);
  } catch (const fs::filesystem_error& error) {
    throw Error(error.path1().string() + ": " + error.code().message());
  }
}

/// Who takes a card out waits until all is on it.
void note_card_flushed(Phone& phone) { note_tree_flushed(phone, std::string("root") + kCardMount); }

}  // namespace

bool is_card_inserted(const Phone& phone) { return find_mount(mounts(phone)) != std::string::npos; }

void insert_card(Phone& phone) {
  std::string all = mounts(phone);
  const fs::path mounted = make_own_directory(phone, kCardMount);
  if (fs::exists(fs::symlink_status(kept(phone)))) {
    move_card(kept(phone), mounted);
    note_card_flushed(phone);
  }
  if (find_mount(all) != std::string::npos) return;
  if (!all.empty() && all.back() != '\n') all += '\n';
  write_node(phone, kMounts, all + card_line());
}

void remove_card(Phone& phone) {
  std::string left = mounts(phone);
  for (size_t at = find_mount(left); at != std::string::npos; at = find_mount(left)) {
    const size_t begin = left.rfind('\n', at) + 1;  // 0 of the first line
    const size_t end = left.find('\n', at);
    left.erase(begin, end == std::string::npos ? end : end + 1 - begin);
  }
  if (const auto mounted = own_directory(phone, kCardMount)) {
    move_card(*mounted, kept(phone));
    note_card_flushed(phone);
  }
  write_node(phone, kMounts, left);
}

}  // namespace virtual_phone
