// In what a phone is another than a fresh one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/phone_state.h"

namespace cli {

/// One thing that two phones do not have in common.
struct Difference {
  const char* part;  ///< "item", "property", "modem", "nv", "sim", "card" or "file"
  std::string name;
  std::optional<std::string> fresh;  ///< as text; nothing where there is none
  std::optional<std::string> now;
  bool is_identity = false;
};

/// In what `now` is another than `fresh`, part by part.
std::vector<Difference> differences(const virtual_phone::PhoneState& fresh,
                                    const virtual_phone::PhoneState& now);

}  // namespace cli
