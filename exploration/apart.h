// Work in a process of its own, which may crash or hang.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace exploration {

/// How a process ended.
enum class Ending {
  ended,  ///< its work is done
  cut,    ///< the power was cut
  crash,  ///< by a signal
  hang,   ///< it has slept for longer than anything takes, or nothing has come for too long
  error,  ///< its work has failed with an exception
};

struct Apart {
  Ending ending = Ending::error;
  std::string bytes;  ///< what the work gave; else which signal, how long, or why not
};

/// How long work may take.
struct Bounds {
  std::chrono::seconds virtual_time{600};
  std::chrono::seconds real_time{20};
};

/// Calls `work` in a process of its own, whose standard output and error lead nowhere. Its clock is
/// the simulated one. This process must have no other threads.
Apart apart(const Bounds& bounds, const std::function<std::string()>& work);

}  // namespace exploration
