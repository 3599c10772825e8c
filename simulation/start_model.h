// What a start that nothing disturbs makes of a phone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulation/state.h"
#include "simulation/universe.h"

namespace simulation {

/// The phone is switched off and on.
/// @param fresh what the phone was when it was made
State restarted(const State& before, const State& fresh, const Product& product);

/// Its daemon starts, in the uptime that is.
State started(const State& before, const Product& product);

/// What later starts go by, in the parts that a start which is interrupted settles one by one, each
/// whole or not at all: the MCC, and the SIM's carrier.
const std::vector<std::vector<std::string>>& decided_parts();

/// What a first start begins with: values that somebody finds whom an interruption lets look
/// between.
State first_start_defaults(const Product& product);

/// What a first start publishes as done while it waits for the SIM: only together with the mark
/// that lets a later start go on, or where the SIM was not heard: that completes a first start.
/// Nothing where neither is so.
std::optional<State> left_waiting(const State& now, bool is_sim_unheard);

/// What a start sets again of what earlier ones have kept in files, where it finds nothing else.
State replayed(const State& before, const Product& product);

/// The carrier is nobody's: a start that applies another one was interrupted, early or late.
State with_carrier_unnoted(State state, const Product& product);

/// What a start publishes of a SIM whose profile it could not keep.
State without_profile(const State& before, const Product& product);

/// What a start makes of a phone when the network code's client identifier could not be read.
State identified_by_carrier(const State& before, const Product& product);

/// What a start notes of the SIM that it has found, and what it has done before: the carrier before
/// it notes whose that is, and that the SIM is another before it notes which.
struct Note {
  const char* key;
  std::vector<std::string> stands_for;
  bool is_made_where_that_was_refused;
};
const std::vector<Note>& notes();

/// Whether a start of this phone is a first one.
bool is_first_start(const State& state);

}  // namespace simulation
