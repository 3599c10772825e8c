#include "station/identity.h"

#include <algorithm>
#include <cctype>
#include <tuple>

#include "virtual_phone/core/error.h"

namespace station {
namespace {

using virtual_phone::Refused;

constexpr char kDecimal[] = "0123456789";
constexpr char kHexadecimal[] = "0123456789ABCDEF";

/// How values of a form are read and counted.
struct FormRules {
  const char* digits;      ///< all that it is made of; null: any printable character
  const char* separators;  ///< which are dropped
  const char* counts_in;   ///< the digits of its end that counting changes
  const char* made_of;     ///< in words
};

const FormRules& rules_of(IdentityForm form) {
  static constexpr FormRules kText = {nullptr, "", kDecimal, "printable ASCII characters"};
  static constexpr FormRules kImei = {kDecimal, " -/", kDecimal, "digits"};
  static constexpr FormRules kHex = {kHexadecimal, " -", kHexadecimal, "hexadecimal digits"};
  static constexpr FormRules kAddress = {kHexadecimal, " -:.", kHexadecimal, "hexadecimal digits"};
  switch (form) {
    case IdentityForm::text:
      return kText;
    case IdentityForm::imei:
      return kImei;
    case IdentityForm::hex:
      return kHex;
    case IdentityForm::address:
      return kAddress;
  }
  return kText;
}

std::string trimmed(const std::string& text) {
  constexpr char kBlanks[] = " \t\r\n";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// "imei "123"", for what is said of it.
std::string named(const IdentityKind& kind, const std::string& value) {
  return std::string(kind.name) + " \"" + value + "\"";
}

bool is_filling(const std::string& value) {
  return value.find_first_not_of('0') == std::string::npos ||
         value.find_first_not_of("Ff") == std::string::npos;
}

std::string length_of(const IdentityKind& kind) {
  const std::string most = std::to_string(kind.most);
  return kind.least == kind.most ? most : std::to_string(kind.least) + " to " + most;
}

/// The digit that makes the sum of an IMEI a multiple of ten, every second one doubled.
char check_digit(const std::string& digits) {
  int sum = 0;
  for (size_t i = 0; i < digits.size(); ++i) {
    const int digit = (digits[i] - '0') * (i % 2 == 0 ? 1 : 2);
    sum += digit / 10 + digit % 10;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

/// Adds one to the last `length` characters, which are of `digits`. @return whether they could hold
/// it
bool count_up(std::string& value, size_t length, const std::string& digits) {
  for (size_t i = value.size(); i > value.size() - length; --i) {
    char& digit = value[i - 1];
    const size_t next = digits.find(digit) + 1;
    digit = digits[next % digits.size()];
    if (next < digits.size()) return true;
  }
  return false;
}

}  // namespace

const std::vector<IdentityKind>& identity_kinds() {
  static const std::vector<IdentityKind> kKinds = {
      {"imei", IdentityForm::imei, 15, 15, "an IMEI, of whichever SIM slot"},
      {"meid", IdentityForm::hex, 14, 14, "an MEID"},
      {"serial", IdentityForm::text, 1, 64, "the serial number"},
      {"csn", IdentityForm::text, 1, 64, "the CSN"},
      {"msn", IdentityForm::text, 1, 64, "the MSN"},
      {"pid", IdentityForm::text, 1, 64, "the product identifier"},
      {"bt_address", IdentityForm::address, 12, 12, "the Bluetooth address"},
      {"wlan_address", IdentityForm::address, 12, 12, "the WLAN address"},
  };
  return kKinds;
}

const IdentityKind& identity_kind(const std::string& name) {
  std::string names;
  for (const IdentityKind& kind : identity_kinds()) {
    if (kind.name == name) return kind;
    names += (names.empty() ? "" : ", ") + std::string(kind.name);
  }
  throw Refused("no kind of identity is called \"" + name + "\": there are " + names);
}

bool operator==(const Identity& a, const Identity& b) {
  return a.kind == b.kind && a.value == b.value;
}

bool operator<(const Identity& a, const Identity& b) {
  return std::tie(a.kind, a.value) < std::tie(b.kind, b.value);
}

std::string normal_value(const IdentityKind& kind, const std::string& value) {
  const FormRules& rules = rules_of(kind.form);
  std::string normal;
  for (const char c : trimmed(value)) {
    if (std::string_view(rules.separators).find(c) != std::string_view::npos) continue;
    const char made = static_cast<char>(rules.digits == nullptr ? c : toupper(c));
    const bool fits = rules.digits == nullptr
                          ? c >= ' ' && c <= '~'
                          : std::string_view(rules.digits).find(made) != std::string_view::npos;
    if (!fits) throw Refused(named(kind, value) + " is not made of " + rules.made_of);
    normal += made;
  }
  if (normal.empty()) throw Refused(std::string(kind.name) + " is empty, which is no identity");
  if (is_filling(normal)) {
    throw Refused(named(kind, value) + " is what a phone has that has none: no identity");
  }
  if (normal.size() < kind.least || normal.size() > kind.most) {
    throw Refused(named(kind, value) + " has " + std::to_string(normal.size()) +
                  " characters, not " + length_of(kind));
  }
  return normal;
}

std::vector<std::string> counted_values(const IdentityKind& kind, const std::string& first,
                                        size_t count) {
  const bool has_check_digit = kind.form == IdentityForm::imei;
  const std::string digits = rules_of(kind.form).counts_in;
  std::string value = normal_value(kind, first);
  if (has_check_digit) {
    const char last = value.back();
    value.pop_back();
    if (check_digit(value) != last) {
      throw Refused("the check digit of " + named(kind, first) + " is " + check_digit(value));
    }
  }
  const size_t before = value.find_last_not_of(digits);
  const size_t length = value.size() - (before == std::string::npos ? 0 : before + 1);
  if (length == 0) throw Refused(named(kind, first) + " has no digit at its end to count in");
  std::vector<std::string> values;
  for (;;) {
    values.push_back(has_check_digit ? value + check_digit(value) : value);
    if (values.size() >= count) return values;
    if (!count_up(value, length, digits)) {
      throw Refused("the digits of " + named(kind, first) + " last for " +
                    std::to_string(values.size()) + " numbers, not " + std::to_string(count));
    }
  }
}

}  // namespace station
