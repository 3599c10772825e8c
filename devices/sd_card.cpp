#include "devices/sd_card.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include "common/lines.h"
#include "common/log.h"
#include "fcx/device_functions.h"

namespace {

using fcx::CardPath;
using fcx::Presence;

constexpr char kMounts[] = "/proc/mounts";
constexpr std::string_view kStorage = "/storage/";
/// The phone's own storage, which is mounted there too.
constexpr std::string_view kOwn[] = {"/storage/emulated", "/storage/self"};

bool is_at_or_below(std::string_view path, std::string_view directory) {
  return path.substr(0, directory.size()) == directory &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

bool is_card(std::string_view path) {
  if (path.substr(0, kStorage.size()) != kStorage || path.size() == kStorage.size()) return false;
  return std::none_of(std::begin(kOwn), std::end(kOwn),
                      [&](std::string_view own) { return is_at_or_below(path, own); });
}

/// A character that the kernel has written as \OOO.
std::optional<char> escaped(std::string_view text) {
  if (text.size() < 4 || text[0] != '\\') return std::nullopt;
  int value = 0;
  for (const char digit : text.substr(1, 3)) {
    if (digit < '0' || digit > '7') return std::nullopt;
    value = value * 8 + (digit - '0');
  }
  return static_cast<char>(value);
}

/// A mount point as the kernel shows it, in plain; nothing for one too long.
std::optional<CardPath> plain(std::string_view shown) {
  std::array<char, CardPath::capacity()> path;
  size_t length = 0;
  while (!shown.empty()) {
    if (length == path.size()) return std::nullopt;
    const auto character = escaped(shown);
    if (character == '\0') return std::nullopt;  // no path has one
    path[length++] = character.value_or(shown[0]);
    shown.remove_prefix(character.has_value() ? 4 : 1);
  }
  while (length > 0 && path[length - 1] == '/') --length;
  return CardPath({path.data(), length});
}

/// The second word of a line: where something is mounted.
std::string_view mount_point(std::string_view line) {
  static_cast<void>(fcx::take_token(line, ' '));  // what is mounted
  return fcx::take_token(line, ' ').value_or("");
}

}  // namespace

namespace fcx {

Presence find_card(const char* function, CardPath& path) {
  DeviceFileLines mounts(kMounts, DeviceFileLines::kLongest);
  while (const auto line = mounts.next()) {
    const auto point = plain(mount_point(*line));
    if (!point.has_value() || !is_card(point->view())) continue;
    path = *point;
    return Presence::present;
  }
  if (mounts.error() == 0) return Presence::absent;
  DOMAIN_ERROR("%s: %s: %s\n", function, kMounts, strerror(mounts.error()));
  return Presence::unknown;
}

}  // namespace fcx

int mmc_emt(char* buf) {
  CardPath path;
  const bool is_mounted = fcx::find_card(__func__, path) == Presence::present;
  if (buf != nullptr) {
    buf[0] = is_mounted ? '1' : '0';
    buf[1] = '\0';
  }
  return is_mounted ? 0 : 1;
}

int get_sdcard_path(char* out) {
  CardPath path;
  if (out == nullptr || fcx::find_card(__func__, path) != Presence::present) return -1;
  memcpy(out, path.c_str(), path.view().size() + 1);
  return 0;
}
