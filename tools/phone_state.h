// What a phone keeps, and in what it is another than a fresh one.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/core/phone.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace cli {

/// All that a phone keeps but its log, its events, the requests that its modem was sent, and its
/// faults.
struct PhoneState {
  std::map<int, std::string> items;  ///< without the zeros at their end; none that is all zero
  std::map<std::string, std::string> properties;
  std::map<std::string, std::string> modem_values;
  std::map<uint16_t, virtual_phone::NvItem> nv_items;
  virtual_phone::Sim sim;
  bool is_card_inserted = false;
  /// Of each file, link and the like what there is in it, in a few words that hardly any other
  /// content has; by the name of the tree that it is in ("root", "overlay", "efs") and its path.
  std::map<std::pair<std::string, std::string>, std::string> files;
};

/// Throws virtual_phone::Error, and std::filesystem::filesystem_error for what cannot be read.
PhoneState state_of(virtual_phone::Phone& phone);

/// One thing that two phones do not have in common.
struct Difference {
  const char* part;  ///< "item", "property", "modem", "nv", "sim", "card" or "file"
  std::string name;
  std::optional<std::string> fresh;  ///< as text; nothing where there is none
  std::optional<std::string> now;
  bool is_identity = false;
};

/// In what `now` is another than `fresh`, part by part.
std::vector<Difference> differences(const PhoneState& fresh, const PhoneState& now);

}  // namespace cli
