// What names one handset or its SIM, to be hidden wherever it turns up in what is shown.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace cli {

class Identities {
 public:
  /// Adds what the phone has now: factory items, what the modem keeps, the SIM, properties.
  void add_those_of(virtual_phone::Phone& phone);
  /// Adds a text, up to its NUL. What is too short to be told from anything else is none.
  void add(std::string_view text);

  /// The bytes with a '*' for each that belongs to an identity, but for the last four of a whole
  /// one. A part of one is found, too, from kPart bytes on.
  std::string hidden_in(std::string_view bytes) const;

 private:
  static constexpr size_t kPart = 8;

  /// An address: its six bytes, and the forms in which they are written.
  void add_address(std::string_view bytes);
  void add_form(std::string form);

  /// In which a longer one comes later: what it hides stays hidden.
  struct ByLength {
    bool operator()(const std::string& a, const std::string& b) const {
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
  };

  std::set<std::string, ByLength> whole_;
  std::set<std::string, std::less<>> parts_;  ///< each kPart bytes of those in `whole_`
};

}  // namespace cli
