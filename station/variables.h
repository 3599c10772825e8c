// The variables of a plan, and the values that units have of them.
#pragma once

#include <filesystem>
#include <vector>

#include "station/errors.h"
#include "station/node.h"
#include "station/plan.h"

namespace station {

/// Reads the field `variables` of a plan. CSV files are read from `directory`.
std::vector<Variable> read_variables(const Node& node, const std::filesystem::path& directory,
                                     Errors& errors);

}  // namespace station
