// JSON, in the order in which it is filled.
#pragma once

#include <nlohmann/json.hpp>

namespace cli {

using Json = nlohmann::ordered_json;

/// Prints it, indented by two.
void print(const Json& object);

}  // namespace cli
