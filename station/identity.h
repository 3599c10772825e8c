// What names a unit: the kinds of identities, and the one form in which each value is kept.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace station {

/// How the values of a kind are written.
enum class IdentityForm {
  text,     ///< printable ASCII, as it is; it counts in the decimal digits at its end
  imei,     ///< decimal digits, the last of which is a check digit that counting computes
  hex,      ///< hexadecimal digits in upper case; it counts in all of them
  address,  ///< the same, of six bytes
};

struct IdentityKind {
  const char* name;
  IdentityForm form;
  size_t least;  ///< characters
  size_t most;
  const char* meaning;
};

/// All kinds: imei, serial, bt_address and so on.
const std::vector<IdentityKind>& identity_kinds();
/// Throws virtual_phone::Refused for a name that is none, and says which there are.
const IdentityKind& identity_kind(const std::string& name);

/// One of a unit.
struct Identity {
  std::string kind;   ///< a name of identity_kinds()
  std::string value;  ///< as somebody has typed or read it, or in its normal form
};

bool operator==(const Identity& a, const Identity& b);
bool operator<(const Identity& a, const Identity& b);

/// The form in which a value is kept and compared: no blanks around it, and of numbers and
/// addresses no separators and upper case. A check digit is not judged. Throws
/// virtual_phone::Refused for what is no value of the kind: also for an empty one, and for one that
/// is all 0 or all F, as of a phone on which nobody has written it.
std::string normal_value(const IdentityKind& kind, const std::string& value);

/// So many values one after another, `first` being the first. An IMEI's check digit goes along.
/// Throws virtual_phone::Refused where they cannot be counted, or the digits do not last.
std::vector<std::string> counted_values(const IdentityKind& kind, const std::string& first,
                                        size_t count);

}  // namespace station
