// The file that names a customisation directory for each carrier: the device's lists of MCC-MNCs
// and of subsets on the first two lines, then the file.
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/fast_properties.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

constexpr char kFile[] = "/oem/OP/cust_path_mapping.cfg";
constexpr char kOverlayFile[] = "/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg";
constexpr size_t kMostEntries = 23;

/// A network code with as many entries as can count: so many of the lists are gone through.
void count_all_entries() {
  std::string code = "\"23\"";
  for (size_t i = 0; i < kMostEntries; ++i) code += ",\"310,410,FFFFFFFF,FFFFFFFF,01\"";
  const auto mccs = fuzz::buffer(fuzz::kText);
  qve_get_mcc_list(fuzz::buffer(fuzz::kText, code).get(), mccs.get());
}

void find_directory(bool is_overlay, const std::string& mccmncs, const std::string& subsets) {
  e_is_overlayfs = is_overlay;
  std::string path;
  const auto directory = fuzz::buffer(fuzz::kProperty);
  qve_parse_cust_path(path, mccmncs.c_str(), subsets.c_str(), directory.get());
  const std::string_view found(directory.get(), strnlen(directory.get(), fuzz::kProperty));
  fuzz::require(found.size() < fuzz::kProperty, "a directory ends in its buffer");
  fuzz::require(is_overlay || path.empty(), "only overlay mode gives the path as a string");
}

void scan(const std::string& mccmnc, const std::string& subset, std::string_view content) {
  std::string path;
  std::vector<std::string> pieces = {"before"};
  std::istringstream mapping{std::string(content)};
  const int found = find_matching_path(path, pieces, mapping, mccmnc, subset);
  if (found == 1) {
    fuzz::require(path == "/mnt/product/OP/" + pieces.back(), "the last piece is the directory");
  } else {
    fuzz::require(path.empty() && pieces.size() == 1, "without a match nothing is added");
  }
  fuzz::require(pieces.front() == "before", "pieces are added after those that are there");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  bench::reset_properties({});
  count_all_entries();
  fuzz::Input input(data, size);
  const std::string mccmncs = input.line();
  const std::string subsets = input.line();
  fuzz::put_file(kFile, input.rest());
  fuzz::put_file(kOverlayFile, input.rest());
  find_directory(false, mccmncs, subsets);
  find_directory(true, mccmncs, subsets);
  scan(mccmncs, subsets, input.rest());
  return 0;
}
