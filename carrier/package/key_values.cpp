// Values in the text files of the customisation package: KEY=VALUE, and MCCMNC,SUBSET=PATH.
#include <optional>
#include <sstream>

#include "carrier/package/cache.h"
#include "carrier/package/paths.h"
#include "carrier/package/state.h"
#include "fcx/customisation.h"

namespace {

constexpr size_t kLongestKeyLine = 127;
constexpr size_t kLongestValue = 127;
constexpr size_t kLongestMappingLine = 2047;
constexpr size_t kLongestMccMncList = 127;
constexpr size_t kLongestSubsetList = 63;
constexpr size_t kLongestDirectory = 91;
constexpr size_t kOverlaySubset = 2;

constexpr char kMappingFile[] = "/cust_path_mapping.cfg";
constexpr char kOverlayBase[] = "/mnt/product/OP";
constexpr char kOverlayMappingFile[] = "/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg";

/// Copies a text with its NUL, cut at `longest` characters.
void copy_text(std::string_view text, size_t longest, char* out) {
  out[text.copy(out, longest)] = '\0';
}

/// The value when the line has that key. @return whether it has
bool find_value(std::string_view line, std::string_view key, char* value) {
  if (line.find('=') == std::string_view::npos || fcx::take_until(line, '=') != key) return false;
  copy_text(fcx::without_return(line), kLongestValue, value);
  return true;
}

/// The beginning of a list: as many whole entries as `longest` characters hold.
std::string_view whole_entries(std::string_view list, size_t longest) {
  if (list.size() <= longest) return list;
  const size_t comma = list.rfind(',', longest);
  return list.substr(0, comma == std::string_view::npos ? 0 : comma);
}

/// Calls `use(mccmnc, subset)` for each entry of the network code that both lists hold, until it
/// returns true.
template <typename Use>
void any_entry(const char* mccmnc_list, const char* subset_list, Use use) {
  std::string_view mccmncs = whole_entries(mccmnc_list, kLongestMccMncList);
  std::string_view subsets = whole_entries(subset_list, kLongestSubsetList);
  for (int i = fcx::package_state().network_code_count; i > 0; --i) {
    const std::string_view mccmnc = fcx::take_until(mccmncs, ',');
    const std::string_view subset = fcx::take_until(subsets, ',');
    if (mccmnc.empty() || subset.empty() || use(mccmnc, subset)) return;
  }
}

/// Where a line of the mapping file leads when it is for that entry.
std::optional<std::string_view> mapped_path(std::string_view line, std::string_view mccmnc,
                                            std::string_view subset) {
  if (line.find('=') == std::string_view::npos) return std::nullopt;
  std::string_view entry = fcx::take_until(line, '=');
  if (fcx::take_until(entry, ',') != mccmnc || entry != subset) return std::nullopt;
  return fcx::without_return(line);
}

void parse_directly(const char* mccmnc_list, const char* subset_list, char* out) {
  fcx::LongText mapping;
  qve_get_tamra_file_path(kMappingFile, mapping.data());
  any_entry(mccmnc_list, subset_list, [&](std::string_view mccmnc, std::string_view subset) {
    return fcx::any_line(mapping.c_str(), kLongestMappingLine, [&](std::string_view line) {
      const auto path = mapped_path(line, mccmnc, subset);
      if (path.has_value()) copy_text(*path, kLongestDirectory, out);
      return path.has_value();
    });
  });
}

void parse_overlay(std::string& path, const char* mccmnc_list, const char* subset_list, char* out,
                   std::vector<std::string>& pieces) {
  std::istringstream mapping(get_halData_from_file(kOverlayMappingFile));
  any_entry(mccmnc_list, subset_list, [&](std::string_view mccmnc, std::string_view subset) {
    mapping.clear();
    mapping.seekg(0);
    return find_matching_path(path, pieces, mapping, std::string(mccmnc), std::string(subset)) != 0;
  });
  if (path.empty()) return;
  copy_text(path, kLongestDirectory, out);
  SBP_LOG("[QVE][SBP] adjusted match_cust_rootDir: %s", out);
}

}  // namespace

int qve_get_value_from_file(const char* path, const char* key, char* value) {
  if (path == nullptr) return 1;
  return e_is_overlayfs && is_system_path(path) != 0
             ? qve_get_value_from_file_hal(path, key, value)
             : qve_get_value_from_file_direct(path, key, value);
}

int qve_get_value_from_file_direct(const char* path, const char* key, char* value) {
  if (path == nullptr || key == nullptr || value == nullptr) return 1;
  const auto has_key = [&](std::string_view line) { return find_value(line, key, value); };
  return fcx::any_line(path, kLongestKeyLine, has_key) ? 0 : 1;
}

int qve_get_value_from_file_hal(const char* path, const char* key, char* value) {
  if (path == nullptr || key == nullptr || value == nullptr) return 1;
  const std::string contents = get_halData_from_file(path);
  std::string_view unread = contents;
  while (const auto line = fcx::take_line(unread)) {
    if (!find_value(*line, key, value)) continue;
    SBP_LOG("[QVE][SBP] Get value from file: key= %s, value= %s", key, value);
    return 0;
  }
  return 1;
}

void qve_parse_cust_path(std::string& path, const char* mccmnc_list, const char* subset_list,
                         char* out, std::vector<std::string>* pieces) {
  path.clear();
  if (mccmnc_list == nullptr || subset_list == nullptr || out == nullptr) return;
  if (e_is_overlayfs) {
    std::vector<std::string> local;
    parse_overlay(path, mccmnc_list, subset_list, out, pieces == nullptr ? local : *pieces);
  } else {
    parse_directly(mccmnc_list, subset_list, out);
  }
}

int find_matching_path(std::string& path, std::vector<std::string>& pieces, std::istream& mapping,
                       const std::string& mccmnc, const std::string& subset) {
  for (std::string line; std::getline(mapping, line);) {
    std::string_view rest = line;
    if (fcx::take_until(rest, ',') != mccmnc) continue;
    // Two characters whatever follows them, on purpose; direct mode takes all up to "=".
    if (rest.substr(0, kOverlaySubset) != subset) continue;
    const size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    rest = fcx::without_return(std::string_view(line).substr(equals + 1));
    for (bool is_last = false; !is_last;) {
      is_last = rest.find(':') == std::string_view::npos;
      pieces.emplace_back(fcx::take_until(rest, ':'));
    }
    path = std::string(kOverlayBase) + "/" + pieces.back();
    SBP_LOG("[QVE][SBP] cust_path matched!: mccmnc= %s, subset= %s, path= %s", mccmnc.c_str(),
            subset.c_str(), path.c_str());
    return 1;
  }
  return 0;
}
