// power: whether the phone is on, and switching it off.
#include <cstdio>
#include <memory>

#include "tools/commands.h"
#include "tools/json.h"
#include "tools/text.h"
#include "virtual_phone/core/power.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

Json end_json(const std::optional<vp::Event>& end) {
  if (!end.has_value()) return nullptr;
  return {{"kind", end->kind}, {"detail", end->detail}, {"time_us", end->time_us}};
}

std::string end_text(const vp::Event& end) {
  return end.kind + ": " + end.detail + ", at " + shown_time(end.time_us);
}

std::string state_text(const vp::PowerState& power) {
  if (!power.last_end.has_value()) return "on, since it was made";
  if (!power.is_off) return "on, since " + shown_time(power.last_end->time_us);
  return "switched off at " + shown_time(power.last_end->time_us) +
         "; the next command finds it switched on again";
}

void show_power(const Invocation& invocation) {
  const vp::PowerState power = vp::power_state(invocation.open_phone());
  if (invocation.json) {
    Json locks = Json::array();
    for (const vp::WakeLock& lock : power.wake_locks) {
      locks.push_back({{"name", lock.name}, {"since_us", lock.since_us}});
    }
    return print({{"state", power.is_off ? "off" : "on"},
                  {"last_end", end_json(power.last_end)},
                  {"wake_locks", locks}});
  }
  std::string locks;
  for (const vp::WakeLock& lock : power.wake_locks) {
    locks += (locks.empty() ? "" : "; ") + lock.name + ", since " + shown_time(lock.since_us);
  }
  printf("state       %s\n", state_text(power).c_str());
  printf("last end    %s\n", power.last_end ? end_text(*power.last_end).c_str() : "none yet");
  printf("wake locks  %s\n", locks.empty() ? "none" : locks.c_str());
}

}  // namespace

void add_power(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "power", "Whether the phone is on, how its last uptime ended, and what keeps it awake",
      "  fcx power    \"switched off\" is what the last one left: whoever uses it switches it on",
      {});
  group.callback([&group, &invocation] {
    if (!group.has_subcommand()) show_power(invocation);
  });
}

}  // namespace cli
