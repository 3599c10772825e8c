#include "exploration/attempt.h"

#include <algorithm>

#include "daemon/open.h"
#include "exploration/message.h"
#include "fcx/modem_link.h"

namespace exploration {
namespace {

namespace vp = virtual_phone;
using factory_daemon::Action;

std::string encoded(const factory_daemon::Outcome& outcome,
                    const std::vector<vp::PlatformAccess>& trace) {
  Writer writer;
  writer.add(outcome.is_done ? 1 : 0);
  writer.add(outcome.text);
  for (const vp::PlatformAccess& each : trace) {
    writer.add(static_cast<int64_t>(each.part));
    writer.add(static_cast<int64_t>(each.access));
    writer.add(each.target);
    writer.add(each.given);
    writer.add(each.got);
    writer.add(each.result);
    writer.add(each.is_change ? 1 : 0);
  }
  return writer.bytes();
}

void decode(const std::string& bytes, Run& run) {
  Reader reader(bytes);
  run.outcome.is_done = reader.number() != 0;
  run.outcome.text = reader.text();
  while (!reader.is_at_end()) {
    vp::PlatformAccess access;
    access.part = static_cast<vp::Part>(reader.number());
    access.access = static_cast<vp::Access>(reader.number());
    access.target = reader.text();
    access.given = reader.text();
    access.got = reader.text();
    access.result = reader.number();
    access.is_change = reader.number() != 0;
    run.trace.push_back(std::move(access));
  }
}

/// As a new daemon finds the phone.
vp::Phone& open_phone(const std::filesystem::path& directory) {
  vp::Phone& phone = factory_daemon::open(directory);
  // A failure shows with each request.
  static_cast<void>(init_modem_interface());
  return phone;
}

}  // namespace

Run run_apart(const std::filesystem::path& directory, const Action& action,
              const std::vector<Disturbance>& disturbances, const Bounds& bounds) {
  const Apart told = apart(bounds, [&] {
    vp::Phone& phone = open_phone(directory);
    const Disturber disturber(disturbances);
    const factory_daemon::Outcome outcome = carry_out(phone, action);
    return encoded(outcome, disturber.trace());
  });
  Run run;
  run.ending = told.ending;
  run.is_spoilt = std::any_of(disturbances.begin(), disturbances.end(), spoils);
  if (told.ending == Ending::ended) {
    decode(told.bytes, run);
  } else {
    run.what = told.bytes;
  }
  return run;
}

Aftermath look_after(const std::filesystem::path& directory, const Action& action, int repeats) {
  vp::Phone& phone = open_phone(directory);
  Aftermath after;
  after.running = places_of(phone);
  vp::cut_power(phone, vp::Unflushed::dropped);
  after.cut = places_of(phone);
  for (int i = 0; i < repeats; ++i) after.outcomes.push_back(carry_out(phone, action).text);
  vp::cut_power(phone, vp::Unflushed::dropped);
  after.later = places_of(phone);
  return after;
}

}  // namespace exploration
