// A phone's life: what happens to it, day by day.
#pragma once

#include <cstdint>
#include <vector>

#include "simulation/step.h"
#include "simulation/universe.h"

namespace simulation {

struct Life {
  uint64_t seed = 0;
  int days = 0;
  const Product* product = nullptr;
  std::vector<Step> steps = {};
};

/// Draws one. The same seed and product give the same life, also the first days of a longer one.
/// @param product null: one is drawn, too
Life draw_life(uint64_t seed, int days, const Product* product);

}  // namespace simulation
