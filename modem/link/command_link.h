// The command link as the library uses it: sizes travel with what is sent and answered.
#pragma once

#include <cstdint>
#include <string_view>

#include "fcx/qvcmd.h"

namespace fcx {

/// What request_to_system() returns for a number without a route, and for one that the modem
/// does not know.
constexpr int kNotSupported = 2;

/// The answer to a request. Holds something once ask() has returned 0.
class ModemAnswer {
 public:
  /// The answer's bytes: as many as it claims to have, as far as there can be any.
  std::string_view bytes() const;
  /// The same up to a NUL.
  std::string_view text() const;
  /// The length that the other side claims, whatever it is.
  int32_t claimed_length() const { return record_.data_len; }
  bool starts_with(std::string_view start) const {
    return bytes().substr(0, start.size()) == start;
  }
  /// The record that the link fills.
  qvcmd_response& record() { return record_; }

 private:
  qvcmd_response record_;
};

/// Sends one request and waits for its answer, as request_to_system() does for a caller who gives
/// room for the answer. `payload` is cut at 2048 bytes.
/// @return as request_to_system()
[[nodiscard]] int ask(int number, std::string_view payload, ModemAnswer& answer);

}  // namespace fcx
