// Versions that one source tells: the hardware's, the platform's, the binary's.
#include <array>
#include <cstring>

#include "common/files.h"
#include "common/log.h"
#include "common/properties.h"
#include "fcx/version_info.h"

namespace {

using fcx::TextBuffer;

constexpr char kCommandLine[] = "/proc/cmdline";
constexpr size_t kLongestCommandLine = 4095;
constexpr std::string_view kReserved = "androidboot.vendor.qve.hw.revision=reserved";
constexpr std::string_view kRevision = "androidboot.vendor.qve.hw.revision=";
constexpr std::string_view kBoardRevision = "board_rev=";

/// The text from `offset` to the next space; empty without one.
std::string_view value_at(std::string_view line, size_t offset) {
  if (offset > line.size()) return {};
  const std::string_view rest = line.substr(offset);
  const size_t space = rest.find(' ');
  return space == std::string_view::npos ? std::string_view() : rest.substr(0, space);
}

/// The revision's value, "rev_10". @return false without one, which has been logged
bool find_revision(std::string_view line, std::string_view& value) {
  size_t offset = line.find(kRevision);
  if (offset == std::string_view::npos) {
    offset = line.find(kBoardRevision);
    if (offset == std::string_view::npos) {
      DOMAIN_INFO("No data : androidboot.vendor.qve.hw.revision or board_rev is nothing!");
      return false;
    }
    DOMAIN_INFO("data : board_rev....\n");
    // As far after the key as the other one is long, and two more, on purpose.
    offset += 2;
  }
  value = value_at(line, offset + kRevision.size());
  const bool is_board = value.substr(0, 3) == "evb";
  if (value.size() > 4 || (is_board && value.size() == 4)) return true;
  DOMAIN_INFO("No data : hw_rev_data\n");
  return false;
}

int copy_with_nul(std::string_view text, char* out, int* out_len) {
  out[text.copy(out, text.size())] = '\0';
  *out_len = static_cast<int>(text.size());
  return 0;
}

}  // namespace

int get_qve_hw_version(char* out, int* out_len) {
  if (out == nullptr || out_len == nullptr) return 1;
  TextBuffer<kLongestCommandLine> text;
  const fcx::ReadResult read = fcx::read_device_file(kCommandLine, text.data(), text.capacity());
  if (!read.has_content()) {
    DOMAIN_INFO("set_hw_revision : Can not read command line.\n");
    return 1;
  }
  std::string_view line = text.view();
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  if (line.find(kReserved) != std::string_view::npos) return 1;
  std::string_view value;
  if (!find_revision(line, value)) return 1;
  const TextBuffer<kLongestCommandLine> revision(value);
  DOMAIN_INFO("hw_rev : %s\n", revision.c_str());
  const char* v = revision.c_str();
  if (v[4] == '1') {
    const std::array<char, 3> major = {'1', '.', v[5]};
    memcpy(out, major.data(), major.size());
    *out_len = major.size();
    return 0;
  }
  if (value.substr(0, 3) == "evb") return copy_with_nul({v + 3, 1}, out, out_len);
  TextBuffer<5> minor("0.");
  minor.append(value.substr(4, 3));
  memcpy(out, minor.c_str(), minor.view().size());
  *out_len = static_cast<int>(minor.view().size());
  return 0;
}

int get_qve_android_sw_version(char* out, int* out_len) {
  if (out == nullptr || out_len == nullptr) return 1;
  const fcx::PropertyText release = fcx::read_property("ro.build.version.release");
  DOMAIN_INFO("[Version Info] Version :%s\n", release.c_str());
  if (!release.empty()) return copy_with_nul(release.view(), out, out_len);
  DOMAIN_INFO("Cannot get response. Return error!\n");
  return 1;
}

int get_qve_bynary_revision(char* out, int* out_len) {
  if (out == nullptr || out_len == nullptr) return 1;
  const fcx::PropertyText revision = fcx::read_property("ro.vendor.qve.swversion_rev");
  const size_t length = revision.view().size();
  if (length != 1 && length != 2) return copy_with_nul("0", out, out_len);
  DOMAIN_INFO("Binary Revision :%s\n", revision.c_str());
  return copy_with_nul(revision.view(), out, out_len);
}
