// Each processor's conversions, beside plain ones.
#include "services/screen/pixels.h"

#include <gtest/gtest.h>

#include "tests/services/screen/plain_pixels.h"

namespace fcx_test {
namespace {

/// Runs a conversion between bytes that it must leave alone.
template <typename Convert>
std::string within(size_t size, size_t shift, Convert convert) {
  const std::string around(shift + 1, '\x5A');
  std::string target = around + std::string(size, '\x5A') + around;
  convert(target.data() + around.size());
  EXPECT_EQ(around, target.substr(0, around.size()));
  EXPECT_EQ(around, target.substr(around.size() + size));
  return target.substr(around.size(), size);
}

TEST(Pixels, AreTheSameOnEachProcessor) {
  const std::string all = some_bytes(5000);
  std::string each_value;
  for (int pixel = 0; pixel < 65536; ++pixel) {
    each_value += {static_cast<char>(pixel % 256), static_cast<char>(pixel / 256)};
  }
  const char* fastest = nullptr;
  for (const fcx::PixelRoutines& routines : fcx::all_pixel_routines()) {
    if (!routines.can_run()) continue;
    if (fastest == nullptr) fastest = routines.processor;
    for (size_t count = 0; count <= 1080; count += count < 72 || count > 1070 ? 1 : 61) {
      for (size_t shift = 0; shift < 8; ++shift) {
        SCOPED_TRACE(testing::Message() << count << " pixels from byte " << shift);
        ASSERT_EQ(plain_rgb565(all.substr(shift, count * 4)),
                  within(count * 2, shift,
                         [&](char* to) { routines.to_rgb565(all.data() + shift, to, count); }))
            << routines.processor;
        ASSERT_EQ(plain_bits(all.substr(shift, count * 2), 93),
                  within((count + 7) / 8, shift,
                         [&](char* to) { routines.to_bits(all.data() + shift, to, count, 93); }))
            << routines.processor;
      }
    }
    for (const int64_t limit :
         {INT64_MIN, int64_t{-1}, int64_t{0}, int64_t{1}, int64_t{186}, int64_t{187}, INT64_MAX}) {
      std::string bits(8192, '\x5A');
      routines.to_bits(each_value.data(), bits.data(), 65536, limit);
      EXPECT_TRUE(plain_bits(each_value, limit) == bits) << routines.processor << ", " << limit;
    }
  }
  EXPECT_EQ(fastest, fcx::pixel_routines().processor);
}

}  // namespace
}  // namespace fcx_test
