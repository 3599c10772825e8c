// Numbers that look like chance and are the same for a seed on every machine: the distributions of
// the standard library differ between libraries, its engines do not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

namespace simulation {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  /// 0 to limit - 1; limit is 1 at least.
  uint32_t below(uint32_t limit) {
    constexpr int kHalf = 32;
    return static_cast<uint32_t>((engine_() >> kHalf) * limit >> kHalf);
  }
  /// Whether something happens that happens so often of a hundred times.
  bool chance(uint32_t percent) { return below(100) < percent; }
  /// One of them.
  template <typename Container>
  const auto& pick(const Container& container) {
    const auto place = below(static_cast<uint32_t>(std::size(container)));
    return *std::next(std::begin(container), static_cast<ptrdiff_t>(place));
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace simulation
