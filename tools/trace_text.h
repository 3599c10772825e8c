// One access of a trace: a line for people, who may edit it, and an object for programs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/identities.h"
#include "tools/json.h"
#include "tools/trace.h"

namespace cli {

/// How much of it is shown.
struct TraceView {
  const Identities& identities;
  bool full = false;  ///< identities and long texts whole
};

/// Adds what the accesses themselves have read and written of identities.
void add_identities(const std::vector<TracedAccess>& accesses, Identities& identities);

/// "item     read    13 imei, 20 bytes -> 0 "***********7518" +5 NUL", after two blanks for each
/// access that it is a part of and, of another thread, its number: "[1] ".
std::string trace_line(const TracedAccess& traced, const TraceView& view);

/// @param began_us when the trace began, on the phone's clock
Json trace_json(const TracedAccess& traced, int64_t began_us, const TraceView& view);

/// An operation as a line names it, with the part that it is of: of a request and a sleep nothing.
struct TraceWords {
  std::string_view part;
  std::string_view operation;
};
TraceWords trace_words(const virtual_phone::PlatformAccess& access);

}  // namespace cli
