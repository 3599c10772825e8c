// The network-code list, as a factory station or an older version may have written it.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "benchmarks/fast_properties.h"
#include "fcx/mcc_lookup.h"
#include "fcx/single_binary.h"
#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

/// The items of a list are no longer than they can be, and it ends within its buffer.
void check_list(const char* list, size_t longest_item, const char* promise) {
  std::string_view rest(list, strnlen(list, fuzz::kText));
  bool kept = rest.size() < fuzz::kText;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(','), rest.size());
    kept = kept && end <= longest_item;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  fuzz::require(kept, promise);
}

void parse(std::string_view code) {
  const auto text = fuzz::buffer(fuzz::kText, code);
  const auto mccs = fuzz::buffer(fuzz::kText);
  qve_get_mcc_list(text.get(), mccs.get());
  check_list(mccs.get(), 3, "an MCC has three digits at most");

  const auto again = fuzz::buffer(fuzz::kText, code);
  const auto mccmncs = fuzz::buffer(fuzz::kText);
  const auto subsets = fuzz::buffer(fuzz::kText);
  qve_parse_ntcode(again.get(), mccmncs.get(), subsets.get());
  check_list(mccmncs.get(), 6, "an MCC and MNC have six digits at most");
  check_list(subsets.get(), 2, "a subset has two characters at most");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  const std::string_view code(reinterpret_cast<const char*>(data), size);
  for (const char* country : {"EU", "KR"}) {
    bench::reset_properties({{"ro.vendor.qve.build.target_country", country}});
    parse(code);
  }
  // As the daemon rewrites it: all 2048 bytes of the item may be taken.
  const std::string rewritten(code.substr(0, fuzz::kText));
  const auto mccs = fuzz::buffer(fuzz::kText);
  sbpWriteNTCode(rewritten.c_str(), mccs.get());
  check_list(mccs.get(), 3, "an MCC has three digits at most");
  return 0;
}
