// Each processor's conversions, beside plain ones.
#include "services/screen/pixels.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fcx_test {
namespace {

/// Bytes without a pattern that a vector could hide.
std::string bytes(size_t size) {
  std::string found(size, '\0');
  uint32_t state = 1;
  for (char& each : found) each = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return found;
}

/// Each channel's highest bits.
std::string plain_rgb565(const std::string& pixels, size_t count) {
  std::string found;
  for (size_t i = 0; i < count; ++i) {
    const int red = pixels[i * 4], green = pixels[i * 4 + 1], blue = pixels[i * 4 + 2];
    const int pixel = red / 8 * 2048 + green / 4 * 32 + blue / 8;
    found += {static_cast<char>(pixel % 256), static_cast<char>(pixel / 256)};
  }
  return found;
}

std::string plain_bits(const std::string& rgb565, size_t count, int64_t limit) {
  std::string found((count + 7) / 8, '\0');
  for (size_t i = 0; i < count; ++i) {
    const int value = rgb565[i * 2] * 256 + rgb565[i * 2 + 1];
    const int brightness = 2 * (value & 31) + ((value >> 5) & 63) + 2 * ((value >> 11) & 31);
    if (brightness > limit) found[i / 8] = static_cast<char>(found[i / 8] | 128 >> i % 8);
  }
  return found;
}

std::vector<size_t> counts() {
  std::vector<size_t> found = {255, 256, 257, 511, 512, 513, 1079, 1080};
  for (size_t count = 0; count <= 72; ++count) found.push_back(count);
  return found;
}

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
  const std::string all = bytes(5000);
  for (const fcx::PixelRoutines& routines : fcx::all_pixel_routines()) {
    if (!routines.can_run()) continue;
    for (const size_t count : counts()) {
      for (size_t shift = 0; shift < 8; ++shift) {
        const std::string source = all.substr(shift);
        ASSERT_EQ(
            plain_rgb565(source, count),
            within(count * 2, shift,
                   [&](char* target) { routines.to_rgb565(all.data() + shift, target, count); }))
            << routines.processor << ", " << count << " pixels from byte " << shift;
        ASSERT_EQ(
            plain_bits(source, count, 93),
            within((count + 7) / 8, shift,
                   [&](char* target) { routines.to_bits(all.data() + shift, target, count, 93); }))
            << routines.processor << ", " << count << " pixels from byte " << shift;
      }
    }
  }
}

TEST(Pixels, AreBrightAboveTheLimit) {
  std::string all;
  for (int pixel = 0; pixel < 65536; ++pixel) {
    all += {static_cast<char>(pixel % 256), static_cast<char>(pixel / 256)};
  }
  for (const fcx::PixelRoutines& routines : fcx::all_pixel_routines()) {
    if (!routines.can_run()) continue;
    for (const int64_t limit :
         {-(int64_t{1} << 40), int64_t{-2}, int64_t{-1}, int64_t{0}, int64_t{1}, int64_t{92},
          int64_t{186}, int64_t{187}, int64_t{1} << 40}) {
      std::string bits(8192, '\x5A');
      routines.to_bits(all.data(), bits.data(), 65536, limit);
      EXPECT_TRUE(plain_bits(all, 65536, limit) == bits) << routines.processor << ", " << limit;
    }
  }
}

TEST(Pixels, AreConvertedByTheFirstThatCanRun) {
  for (const fcx::PixelRoutines& routines : fcx::all_pixel_routines()) {
    if (!routines.can_run()) continue;
    EXPECT_EQ(routines.processor, fcx::pixel_routines().processor);
    break;
  }
}

}  // namespace
}  // namespace fcx_test
