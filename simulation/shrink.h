// The shortest life that still fails, and a script of it.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "simulation/life.h"
#include "simulation/model.h"

namespace simulation {

/// How a life fails; nothing when it does not.
using Trial = std::function<std::optional<Failure>(const Life&)>;

struct Shrunk {
  Life life;
  Failure failure;
};

/// Leaves out steps, in halves first and then one by one, and what is in their way, as long as the
/// life fails in the same way.
/// @param failure of the whole life
Shrunk shrink(const Life& life, const Failure& failure, const Trial& trial);

/// Command lines that live it on a phone of their own, and show at the end what is wrong: the exit
/// status is 1 when it is, 0 when it is not any more.
std::string script_of(const Shrunk& shrunk);

}  // namespace simulation
