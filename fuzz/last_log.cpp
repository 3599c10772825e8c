// The chain of deflated chunks that download mode leaves as its log. The first two bytes say how
// much room the text has, the low one first; the record is the rest.
#include "services/logs/last_log.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz/bench_phone.h"
#include "fuzz/target.h"

namespace {

constexpr size_t kHead = 2;

int32_t first_number(std::string_view record) {
  int32_t number = 0;
  if (record.size() >= sizeof number) memcpy(&number, record.data(), sizeof number);
  return number;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::need_phone();
  if (size < kHead) return 0;
  const size_t room = data[0] + 256U * data[1];
  // Of just its size, so that reading past it is noticed.
  const auto bytes = std::make_unique<char[]>(size - kHead);
  memcpy(bytes.get(), data + kHead, size - kHead);
  const std::string_view record(bytes.get(), size - kHead);
  const auto one = fuzz::buffer(room);
  const auto two = fuzz::buffer(room);
  const size_t found = fcx::inflate_last_log(record, one.get(), room);
  fuzz::require(found <= room, "a text fits");
  fuzz::require(found == 0 || first_number(record) >= 1, "without a mark there is no text");
  fuzz::require(fcx::inflate_last_log(record, two.get(), room) == found &&
                    memcmp(one.get(), two.get(), found) == 0,
                "a record has one text");
  return 0;
}
