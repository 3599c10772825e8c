#include "exploration/disturbance.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace exploration {
namespace {

namespace vp = virtual_phone;
using vp::Access;
using vp::Effect;
using vp::Part;
using vp::PlatformAccess;

using Trace = std::vector<PlatformAccess>;

/// How long a late access takes: longer than anybody waits for one, and shorter than all of the
/// time that a start has.
constexpr int64_t kLateMs = 3'000;

/// What an effect's number is, where it has one.
int64_t value_for(const vp::EffectRow& row, const PlatformAccess& access) {
  const auto half = static_cast<int64_t>(std::max(access.got.size(), access.given.size()) / 2);
  switch (row.effect) {
    case Effect::late:
      return kLateMs;
    case Effect::shorter:
      return half;
    case Effect::returns:
    case Effect::status:
      return 1;
    case Effect::longer:
      return vp::kLongestAnswer;
    case Effect::length:
      return INT32_MAX;
    case Effect::size:
      return 4096;
    default:
      return row.default_value.value_or(0);
  }
}

/// The service that is accessed; null for another access.
const vp::FaultService* service_of(const PlatformAccess& access) {
  const auto* row =
      std::find_if(std::begin(vp::kServices), std::end(vp::kServices),
                   [&](const vp::FaultService& each) { return access.target == each.name; });
  return access.part == Part::service && row != std::end(vp::kServices) ? row : nullptr;
}

bool strikes(const vp::EffectRow& row, const PlatformAccess& access) {
  if (row.part != access.part) return false;
  const vp::FaultService* service = service_of(access);
  const bool is_lookup = access.access == Access::find;
  if (service != nullptr && row.effect == Effect::dies && !service->can_die) return false;
  // One that nobody waits for is over at once.
  if (service != nullptr && row.effect == Effect::late && is_lookup && !service->is_awaited) {
    return false;
  }
  return row.strikes.empty() ||
         std::find(row.strikes.begin(), row.strikes.end(), access.access) != row.strikes.end();
}

/// Whether a request's answer is spoilt, which one that nobody knows has not.
bool is_known(const vp::EffectRow& row, const PlatformAccess& access) {
  constexpr int64_t kUnknown = 2;
  const bool spoils = row.part == Part::request && row.effect != Effect::fail &&
                      row.effect != Effect::late && row.effect != Effect::refuse;
  return !spoils || access.result != kUnknown;
}

/// The errors with which a file's operation fails: that it cannot be done, that there is no such
/// file, and that there is no room.
std::vector<int64_t> errors_of(const PlatformAccess& access) {
  switch (access.access) {
    case Access::open:
    case Access::stat:
      return {EIO, ENOENT};
    case Access::write:
    case Access::mkdir:
      return {EIO, ENOSPC};
    default:
      return {EIO};
  }
}

vp::Fault fault_with(const vp::EffectRow& row, const PlatformAccess& access, int64_t value) {
  return {0, row.part, access.target, access.access, row.effect, value, 1, 1};
}

void add_faults(const Trace& trace, size_t at, std::vector<Disturbance>& all) {
  const PlatformAccess& access = trace[at];
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (!strikes(row, access) || !is_known(row, access)) continue;
    if (row.part == Part::file && row.effect == Effect::fail) {
      for (const int64_t error : errors_of(access)) {
        all.push_back({at, fault_with(row, access, error), std::nullopt});
      }
    } else {
      all.push_back({at, fault_with(row, access, value_for(row, access)), std::nullopt});
    }
  }
}

/// How many accesses of its kind, to the same target, there are until this one, with it.
size_t count_until(const Trace& trace, size_t access, bool of_any_kind = false) {
  const PlatformAccess& last = trace[access];
  const auto alike = [&](const PlatformAccess& each) {
    return each.part == last.part && each.target == last.target &&
           (of_any_kind || each.access == last.access);
  };
  return static_cast<size_t>(
      std::count_if(trace.begin(), trace.begin() + static_cast<ptrdiff_t>(access) + 1, alike));
}

std::string quoted(const std::string& word) {
  const bool is_plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return isalnum(c) != 0 || strchr("/._-@:", c) != nullptr;
  });
  return is_plain ? word : "'" + word + "'";
}

const vp::EffectRow& row_of(const vp::Fault& fault) {
  const auto& rows = vp::fault_effects();
  return *std::find_if(rows.begin(), rows.end(), [&](const vp::EffectRow& row) {
    return row.part == fault.part && row.effect == fault.effect;
  });
}

std::string value_text(const vp::Fault& fault) {
  if (row_of(fault).value_name == nullptr) return "";
  const bool is_error =
      fault.effect == Effect::fail && (fault.part == Part::file || fault.part == Part::thread);
  const char* name = is_error ? strerrorname_np(static_cast<int>(fault.value)) : nullptr;
  return " " + (name != nullptr ? std::string(name) : std::to_string(fault.value));
}

}  // namespace

std::vector<Disturbance> disturbances_of(const Trace& trace) {
  std::vector<Disturbance> all;
  for (size_t at = 0; at < trace.size(); ++at) {
    add_faults(trace, at, all);
    if (!trace[at].is_change) continue;
    for (const auto& row : vp::kEnumNames<vp::Unflushed>) {
      all.push_back({at, std::nullopt, row.value});
    }
  }
  return all;
}

std::vector<Disturbance> failures_of(const Trace& trace) {
  std::vector<Disturbance> all;
  for (size_t at = 0; at < trace.size(); ++at) {
    std::vector<Disturbance> of_access;
    add_faults(trace, at, of_access);
    // The first of a part is how it usually fails.
    if (!of_access.empty()) all.push_back(of_access.front());
  }
  return all;
}

bool spoils(const Disturbance& disturbance) {
  if (!disturbance.fault.has_value()) return false;
  const vp::Fault& fault = *disturbance.fault;
  switch (fault.effect) {
    case Effect::fail:
      return (fault.part == Part::file && fault.value == ENOENT) ||
             (fault.part == Part::property && fault.access == Access::read);
    case Effect::shorter:
      return fault.access != Access::write;
    case Effect::returns:
    case Effect::late:
    case Effect::absent:
    case Effect::dies:
    case Effect::cut:
      return false;
    default:
      return true;
  }
}

std::string access_name(const Trace& trace, size_t access) {
  const PlatformAccess& each = trace[access];
  std::string name = std::string(vp::name_of(each.part)) + " " + vp::name_of(each.access);
  if (each.part == Part::request || each.part == Part::thread) name = vp::name_of(each.part);
  name += " " + each.target;
  const size_t which = count_until(trace, access);
  return which == 1 ? name : name + " (" + std::to_string(which) + ")";
}

std::string effect_name(const Disturbance& disturbance) {
  if (disturbance.cut.has_value()) {
    return std::string("power cut, ") + vp::name_of(*disturbance.cut);
  }
  if (!disturbance.fault.has_value()) return "nothing";
  return vp::name_of(disturbance.fault->effect) + value_text(*disturbance.fault);
}

std::string fault_command(const Trace& trace, const Disturbance& disturbance) {
  if (disturbance.cut.has_value()) {
    const auto changes =
        std::count_if(trace.begin(), trace.begin() + static_cast<ptrdiff_t>(disturbance.access) + 1,
                      [](const PlatformAccess& each) { return each.is_change; });
    return std::string("fcx fault power cut ") + vp::name_of(*disturbance.cut) + " --after " +
           std::to_string(changes) + " --times 1";
  }
  if (!disturbance.fault.has_value()) return "";
  const PlatformAccess& access = trace[disturbance.access];
  std::string line = std::string("fcx fault ") + vp::name_of(access.part) + " " +
                     quoted(access.target) + " " + vp::name_of(disturbance.fault->effect) +
                     value_text(*disturbance.fault);
  const bool has_choice = !row_of(*disturbance.fault).strikes.empty();
  if (has_choice) line += std::string(" --on ") + vp::name_of(access.access);
  const size_t which = count_until(trace, disturbance.access, !has_choice);
  if (which > 1) line += " --after " + std::to_string(which);
  return line + " --times 1";
}

Disturber::Disturber(std::vector<Disturbance> disturbances)
    : disturbances_(std::move(disturbances)) {
  vp::observe_accesses(this);
}

Disturber::~Disturber() { vp::observe_accesses(nullptr); }

std::optional<vp::Fault> Disturber::begins(const PlatformAccess& access) {
  trace_.push_back(access);
  for (const Disturbance& each : disturbances_) {
    if (each.fault.has_value() && each.access == trace_.size() - 1) return each.fault;
  }
  return std::nullopt;
}

void Disturber::ended(size_t serial, const PlatformAccess& access) {
  if (serial < trace_.size()) trace_[serial] = access;
  last_ended_ = serial;
}

std::optional<vp::Unflushed> Disturber::cut_after(const PlatformAccess&) {
  for (const Disturbance& each : disturbances_) {
    if (each.cut.has_value() && each.access == last_ended_) return each.cut;
  }
  return std::nullopt;
}

}  // namespace exploration
