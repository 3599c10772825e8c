// What the library has done to its platform, written down access by access.
#pragma once

#include <map>
#include <thread>
#include <vector>

#include "virtual_phone/faults/accesses.h"

namespace cli {

struct TracedAccess {
  virtual_phone::PlatformAccess access;
  size_t thread = 0;  ///< 0 is the one that was there first; the others as they do something first
  size_t depth = 0;   ///< of how many others of its thread it is a part
};

/// Writes down all accesses while it exists, in the order in which they begin.
class Tracer : public virtual_phone::AccessObserver {
 public:
  Tracer();
  ~Tracer() override;
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  std::optional<virtual_phone::Fault> begins(const virtual_phone::PlatformAccess& access) override;
  void ended(size_t serial, const virtual_phone::PlatformAccess& access) override;

  /// What was written down. Only when no thread of the library runs any more.
  const std::vector<TracedAccess>& accesses() const { return accesses_; }

 private:
  struct Thread {
    size_t number = 0;
    size_t depth = 0;
  };
  Thread& this_thread();

  // Accesses are told of one at a time.
  std::map<std::thread::id, Thread> threads_;
  std::vector<TracedAccess> accesses_;
};

}  // namespace cli
