// What is done to one access of an action, to see what comes of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "virtual_phone/faults/accesses.h"

namespace exploration {

/// One access, struck by a fault; or the power, cut after it.
struct Disturbance {
  size_t access = 0;  ///< of those of the action, from 0 on
  std::optional<virtual_phone::Fault> fault;
  std::optional<virtual_phone::Unflushed> cut;
};

/// All that can be done to each access: every effect that can strike it, and, after each one that
/// has changed what the phone keeps, each kind of a power cut.
std::vector<Disturbance> disturbances_of(const std::vector<virtual_phone::PlatformAccess>& trace);

/// The usual failures alone, for two at a time.
std::vector<Disturbance> failures_of(const std::vector<virtual_phone::PlatformAccess>& trace);

/// Whether the access does not fail, but delivers something else than its content, which nobody can
/// tell from it: other bytes, fewer or more; or that there is nothing.
bool spoils(const Disturbance& disturbance);

/// As "file write /data/x", with "(2)" after it for the second such access of the action.
std::string access_name(const std::vector<virtual_phone::PlatformAccess>& trace, size_t access);

/// As "fail EIO", "late 30000", "power cut, dropped".
std::string effect_name(const Disturbance& disturbance);

/// The `fcx fault` command line that does the same on a phone.
std::string fault_command(const std::vector<virtual_phone::PlatformAccess>& trace,
                          const Disturbance& disturbance);

/// Disturbs the accesses of this process while it exists, and writes all of them down.
class Disturber : public virtual_phone::AccessObserver {
 public:
  explicit Disturber(std::vector<Disturbance> disturbances);
  ~Disturber() override;
  Disturber(const Disturber&) = delete;
  Disturber& operator=(const Disturber&) = delete;

  const std::vector<virtual_phone::PlatformAccess>& trace() const { return trace_; }

 private:
  std::optional<virtual_phone::Fault> begins(const virtual_phone::PlatformAccess& access) override;
  void ended(size_t serial, const virtual_phone::PlatformAccess& access) override;
  std::optional<virtual_phone::Unflushed> cut_after(
      const virtual_phone::PlatformAccess& access) override;

  std::vector<Disturbance> disturbances_;
  std::vector<virtual_phone::PlatformAccess> trace_;
  size_t last_ended_ = 0;
};

}  // namespace exploration
