// The slots of the factory software version, and who fills them.
#pragma once

#include <string_view>

#include "common/text.h"
#include "fcx/version_info.h"

namespace fcx {

constexpr size_t kLongestPiece = sizeof(VersionSlot::text) - 1;
using VersionText = TextBuffer<kLongestPiece>;

/// A path, or a list, with its NUL in 2048 bytes.
using LongText = TextBuffer<2047>;

inline LongText joined(std::string_view start, std::string_view rest) {
  LongText text(start);
  text.append(rest);
  return text;
}

inline std::string_view text_of(const VersionSlot& slot) {
  return bounded_text(slot.text, kLongestPiece);
}

inline bool is_empty(const VersionSlot& slot) { return slot.text[0] == '\0'; }

/// Puts a text into a slot, cut where it is too long, in place of what is there. An empty text
/// fills nothing.
void put(VersionSlot& slot, std::string_view text, VersionSource source, const char* name,
         int file = -1);

/// The same for a slot that is still empty.
inline void fill(VersionSlot& slot, std::string_view text, VersionSource source, const char* name,
                 int file = -1) {
  if (is_empty(slot)) put(slot, text, source, name, file);
}

/// "MCC-MNC", cut at its first '-'.
struct NetworkPair {
  bool is_pair;
  std::string_view mcc;
  std::string_view mnc;
};
NetworkPair network_pair(std::string_view text);

/// What the network code's first entry says: which carrier's files count.
struct NetworkEntry {
  const char* mccmnc;
  const char* subset;
};

inline constexpr char kGroupKey[] = "ro.vendor.qve.tamragroup";

/// Fills slots from a property file of the package, which becomes one of the version's files.
void fill_from_property_file(const char* path, const NetworkEntry& entry, FactoryVersion& version);

/// The value of the customisation group, from its mapping file; empty without one.
/// @param file receives which of the version's files that is
TextBuffer<127> customisation_group(FactoryVersion& version, int& file);

}  // namespace fcx
