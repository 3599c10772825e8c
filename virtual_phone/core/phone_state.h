// What a phone keeps.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "virtual_phone/core/phone.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace virtual_phone {

/// All that a phone keeps but its log, its events, the requests that its modem was sent, and its
/// faults.
struct PhoneState {
  std::map<int, std::string> items;  ///< without the zeros at their end; none that is all zero
  std::map<std::string, std::string> properties;
  std::map<std::string, std::string> modem_values;
  std::map<uint16_t, NvItem> nv_items;
  Sim sim;
  bool is_card_inserted = false;
  /// Of each file, link and the like what there is in it, in a few words that hardly any other
  /// content has, the same on every machine; by the name of the tree that it is in ("root",
  /// "overlay", "efs") and its path.
  std::map<std::pair<std::string, std::string>, std::string> files;
};

/// Throws Error, and std::filesystem::filesystem_error for what cannot be read.
PhoneState state_of(Phone& phone);

}  // namespace virtual_phone
