#include "virtual_phone/modem/sim.h"

#include <cutils/properties.h>

#include <algorithm>

namespace virtual_phone {
namespace {

constexpr char kFirstSlot[] = "vendor.ril.iccid.sim1";
constexpr char kSecondSlot[] = "vendor.ril.iccid.sim2";
constexpr char kNoSim[] = "NODEF";
constexpr size_t kPublishedDigits = 20;

Sim load_sim(Database& database) {
  Query query = database.query("SELECT state, iccid, not_yet, imsi FROM sim WHERE one = 1");
  if (!query.step()) return {};
  return {named<SimState>(query.text(0)).value_or(SimState::error), query.text(1), query.number(2),
          query.text(3)};
}

int64_t polls(Database& database) {
  Query query = database.query("SELECT polls FROM sim_run WHERE one = 1");
  return query.step() ? query.number(0) : 0;
}

/// Counts one poll. @return whether it finds the SIM ready
bool count_poll(Database& database) {
  const int64_t counted = polls(database) + 1;
  database.query("INSERT OR REPLACE INTO sim_run(one, polls) VALUES(1, ?)").bind(counted).run();
  return counted > load_sim(database).not_yet;
}

bool has_radio_layer(Database& database) {
  Query query = database.query("SELECT value FROM property WHERE name = ?");
  query.bind("ro.vendor.qve.chip.vendor");
  return query.step() && query.text(0) == "mtk";
}

/// A value that is no property's stays unpublished, and one that somebody has set stays.
void publish(Database& database, const char* property, std::string_view value) {
  if (value.size() >= PROPERTY_VALUE_MAX || value.find('\0') != std::string_view::npos) return;
  database.query("INSERT OR IGNORE INTO property(name, value) VALUES(?, ?)")
      .bind(property)
      .bind(value)
      .run();
}

/// What the radio layer says of the SIM; nothing of one that it cannot read.
void publish_sim(Database& database) {
  const Sim sim = load_sim(database);
  if (sim.state == SimState::error) return;
  std::string first = kNoSim;
  if (sim.state == SimState::inserted) {
    first = sim.iccid;
    first.resize(std::max(first.size(), kPublishedDigits), 'f');
  }
  publish(database, kFirstSlot, first);
  publish(database, kSecondSlot, kNoSim);
}

}  // namespace

Sim sim(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  return load_sim(phone.durable());
}

void set_sim(Phone& phone, const Sim& sim) {
  if (sim.iccid.size() > kLongestIccid) {
    throw Refused("a SIM's ICCID has at most " + std::to_string(kLongestIccid) + " bytes, not " +
                  std::to_string(sim.iccid.size()));
  }
  if (sim.not_yet < 0) throw Refused("a SIM takes no negative number of polls");
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  Transaction transaction(phone.durable());
  store_sim(phone.durable(), sim);
  start_sim(phone.durable());
  transaction.commit();
}

void check_iccid(std::string_view iccid) {
  constexpr size_t kFewest = 18;
  constexpr size_t kMost = 20;
  const size_t digits = std::min(iccid.find_first_not_of("0123456789"), iccid.size());
  const bool is_padded = iccid.find_first_not_of('f', digits) == std::string_view::npos;
  if (digits < kFewest || iccid.size() > kMost || !is_padded) {
    throw Refused("an ICCID has 18 to 20 digits, or less than 20 and \"f\" after them");
  }
}

void check_imsi(std::string_view imsi) {
  constexpr size_t kFewest = 6;
  constexpr size_t kMost = 15;
  const bool has_digits = imsi.find_first_not_of("0123456789") == std::string_view::npos;
  if (!has_digits || imsi.size() < kFewest || imsi.size() > kMost) {
    throw Refused("an IMSI has 6 to 15 digits");
  }
}

int64_t polls_to_wait(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  const int64_t left = load_sim(phone.fleeting()).not_yet - polls(phone.fleeting());
  return std::max(int64_t{0}, left);
}

bool poll_sim(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  Transaction transaction(phone.fleeting());
  const bool is_ready = count_poll(phone.fleeting());
  transaction.commit();
  return is_ready;
}

bool radio_layer_answers(Phone& phone, std::string_view property) {
  if (property != kFirstSlot) return false;
  const std::lock_guard lock(phone.mutex());
  if (!has_radio_layer(phone.fleeting())) return false;
  Transaction transaction(phone.fleeting());
  const bool is_ready = count_poll(phone.fleeting());
  if (is_ready) publish_sim(phone.fleeting());
  transaction.commit();
  return is_ready;
}

void store_sim(Database& database, const Sim& sim) {
  database
      .query("INSERT OR REPLACE INTO sim(one, state, iccid, not_yet, imsi) VALUES(1, ?, ?, ?, ?)")
      .bind(name_of(sim.state))
      .bind_blob(sim.iccid)
      .bind(sim.not_yet)
      .bind(sim.imsi)
      .run();
}

void start_sim(Database& database) {
  database.execute("DELETE FROM sim_run");
  if (!has_radio_layer(database)) return;
  for (const char* property : {kFirstSlot, kSecondSlot}) {
    database.query("DELETE FROM property WHERE name = ?").bind(property).run();
  }
  if (load_sim(database).not_yet == 0) publish_sim(database);
}

}  // namespace virtual_phone
