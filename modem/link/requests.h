// The requests of the modem link, each named once: modem/link/requests.def has the rows. Their
// numbers are the contract with the other side of the link, which the bench's modem reads too. They
// are no commands' opcodes: the two ranges overlap.
#pragma once

#include <cstdint>
#include <iterator>

namespace fcx {

/// By which way a request travels.
enum class Route { direct, system, none };

// Of each route the first and the last number.
inline constexpr int32_t kFirstDirect = 0;
inline constexpr int32_t kLastDirect = 993;
inline constexpr int32_t kFirstSystem = 1000;
inline constexpr int32_t kLastSystem = 4414;

/// The route of a request's number: to the modem over the direct interface, to the AT-command
/// service of the system side, or nowhere.
constexpr Route route_of(int32_t number) {
  if (number >= kFirstDirect && number <= kLastDirect) return Route::direct;
  if (number >= kFirstSystem && number <= kLastSystem) return Route::system;
  return Route::none;
}

namespace request {

#define FCX_REQUEST(number, name, privacy, meaning) constexpr int32_t name = number;
#include "modem/link/requests.def"
#undef FCX_REQUEST

}  // namespace request

struct NamedRequest {
  int32_t number;
  const char* name;
  bool is_identity;  ///< what is sent or answered names one handset
  const char* meaning;
};

/// All rows, by ascending number.
inline constexpr NamedRequest kModemRequests[] = {
#define FCX_REQUEST_PRIVACY_open false
#define FCX_REQUEST_PRIVACY_identity true
#define FCX_REQUEST(number, name, privacy, meaning) \
  {number, #name, FCX_REQUEST_PRIVACY_##privacy, meaning},
#include "modem/link/requests.def"
#undef FCX_REQUEST
#undef FCX_REQUEST_PRIVACY_open
#undef FCX_REQUEST_PRIVACY_identity
};

/// The row of `number`, or null for a number that the library has no name for.
constexpr const NamedRequest* find_request(int32_t number) {
  for (const NamedRequest& row : kModemRequests) {
    if (row.number == number) return &row;
  }
  return nullptr;
}

constexpr bool requests_ascend() {
  for (size_t i = 1; i < std::size(kModemRequests); ++i) {
    if (kModemRequests[i - 1].number >= kModemRequests[i].number) return false;
  }
  return true;
}
static_assert(requests_ascend(), "the rows of modem/link/requests.def ascend, and none is double");

}  // namespace fcx
