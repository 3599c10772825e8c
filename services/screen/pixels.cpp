#include "services/screen/pixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#if defined(__x86_64__) || defined(__i386__)
#define FCX_BETTER_PROCESSOR "AVX2"
#define FCX_FOR_BETTER __attribute__((target("avx2")))
#elif defined(__arm__) && !defined(__ARM_NEON) && !defined(__clang__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#define FCX_BETTER_PROCESSOR "NEON"
#define FCX_FOR_BETTER __attribute__((target("fpu=neon")))
#endif

// Plain loops without a branch, which the compiler makes vectors of: for each processor of the kind
// that is compiled for, and where not each of them has vectors that are worth it, once more for
// those that do. This file is compiled for speed (CMakeLists.txt).
#define FCX_PART_OF_A_LOOP __attribute__((always_inline)) inline

namespace fcx {
namespace {

/// Pixels whose bits are found before they are put together.
constexpr size_t kGroup = 256;

FCX_PART_OF_A_LOOP void convert_to_rgb565(const char* __restrict pixels, char* __restrict rgb565,
                                          size_t count) {
  for (size_t i = 0; i < count; ++i) {
    uint32_t pixel;
    memcpy(&pixel, pixels + i * kBytes32, sizeof pixel);
    const auto converted = static_cast<uint16_t>(((pixel << 8) & 0xF800) | ((pixel >> 5) & 0x07E0) |
                                                 ((pixel >> 19) & 0x001F));
    memcpy(rgb565 + i * kBytes16, &converted, sizeof converted);
  }
}

/// Whether each pixel is brighter, as 0xFF or 0.
FCX_PART_OF_A_LOOP void find_bright(const char* __restrict rgb565, uint8_t* __restrict bright,
                                    size_t count, int16_t limit) {
  for (size_t i = 0; i < count; ++i) {
    uint16_t pixel;
    memcpy(&pixel, rgb565 + i * kBytes16, sizeof pixel);
    // The fields of the pixel with its bytes swapped: green lies in two pieces.
    const auto low = static_cast<uint16_t>((pixel >> 8) & 31);
    const auto green = static_cast<uint16_t>(((pixel >> 13) & 7) | ((pixel & 7) << 3));
    const auto high = static_cast<uint16_t>((pixel >> 3) & 31);
    const auto brightness = static_cast<int16_t>(2 * low + green + 2 * high);
    bright[i] = brightness > limit ? 0xFF : 0;
  }
}

/// The highest bit of the result is the first byte's.
FCX_PART_OF_A_LOOP char bits_of(const uint8_t* bright) {
  uint64_t eight;
  memcpy(&eight, bright, sizeof eight);
  // Of each byte the bit that is its own, all brought into the highest byte.
  return static_cast<char>(((eight & 0x0102040810204080) * 0x0101010101010101) >> 56);
}

FCX_PART_OF_A_LOOP void convert_to_bits(const char* rgb565, char* bits, size_t count,
                                        int64_t limit) {
  constexpr int64_t kBrightest = 187;
  const auto narrow = static_cast<int16_t>(std::clamp<int64_t>(limit, -1, kBrightest));
  while (count > 0) {
    std::array<uint8_t, kGroup> bright{};
    const size_t now = std::min(count, kGroup);
    find_bright(rgb565, bright.data(), now, narrow);
    for (size_t i = 0; i < now; i += 8) *bits++ = bits_of(bright.data() + i);
    rgb565 += now * kBytes16;
    count -= now;
  }
}

bool can_always_run() { return true; }

void to_rgb565(const char* pixels, char* rgb565, size_t count) {
  convert_to_rgb565(pixels, rgb565, count);
}

void to_bits(const char* rgb565, char* bits, size_t count, int64_t limit) {
  convert_to_bits(rgb565, bits, count, limit);
}

#ifdef FCX_BETTER_PROCESSOR
bool is_better() {
#ifdef __arm__
  return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0;
#else
  return __builtin_cpu_supports("avx2") != 0;
#endif
}

FCX_FOR_BETTER void to_rgb565_better(const char* pixels, char* rgb565, size_t count) {
  convert_to_rgb565(pixels, rgb565, count);
}

FCX_FOR_BETTER void to_bits_better(const char* rgb565, char* bits, size_t count, int64_t limit) {
  convert_to_bits(rgb565, bits, count, limit);
}
#endif

constexpr PixelRoutines kRoutines[] = {
#ifdef FCX_BETTER_PROCESSOR
    {FCX_BETTER_PROCESSOR, is_better, to_rgb565_better, to_bits_better},
#endif
    {"any", can_always_run, to_rgb565, to_bits},
};

}  // namespace

PixelRoutineList all_pixel_routines() { return {kRoutines, std::size(kRoutines)}; }

const PixelRoutines& pixel_routines() {
  return *std::find_if(std::begin(kRoutines), std::end(kRoutines) - 1,
                       [](const PixelRoutines& each) { return each.can_run(); });
}

}  // namespace fcx
