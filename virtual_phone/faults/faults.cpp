#include "virtual_phone/faults/faults.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <iterator>

#include "virtual_phone/core/clock.h"

namespace virtual_phone {
namespace {

constexpr const char* kParts[] = {"item", "property", "file", "opcode", "service"};
constexpr const char* kAccesses[] = {"any",    "open",   "read", "write", "sync", "syncdir",
                                     "rename", "remove", "stat", "chmod", "call"};
constexpr const char* kEffects[] = {"fail",   "late",  "short", "return", "garbage", "status",
                                    "refuse", "empty", "long",  "length", "absent",  "dies"};

template <typename Value, size_t count>
std::optional<Value> named(const char* const (&names)[count], std::string_view name) {
  const auto* found = std::find(std::begin(names), std::end(names), name);
  if (found == std::end(names)) return std::nullopt;
  return static_cast<Value>(found - std::begin(names));
}

const EffectRow* row_of(Part part, Effect effect) {
  for (const EffectRow& row : fault_effects()) {
    if (row.part == part && row.effect == effect) return &row;
  }
  return nullptr;
}

Fault fault_of(const Query& row) {
  Fault fault{row.number(0),
              named<Part>(kParts, row.text(1)).value_or(Part::item),
              row.text(2),
              named<Access>(kAccesses, row.text(3)).value_or(Access::any),
              named<Effect>(kEffects, row.text(4)).value_or(Effect::fail),
              row.number(5),
              std::nullopt};
  if (row.number(6) > 0) fault.remaining = row.number(6);
  return fault;
}

/// The first fault behind the one with the id `after` that strikes, counted down.
std::optional<Fault> take(Phone& phone, Part part, std::string_view target, Access access,
                          int64_t after) {
  const std::lock_guard lock(phone.mutex());
  // Opening a file moves no bytes: there is nothing to cut short.
  const auto find = [&]() -> std::optional<Fault> {
    Query query = phone.fleeting().query(
        "SELECT id, kind, target, operation, effect, value, remaining FROM fault"
        " WHERE kind = ?1 AND target = ?2 AND operation IN ('any', ?3) AND id > ?4"
        " AND NOT (effect = 'short' AND ?3 = 'open') ORDER BY id LIMIT 1");
    query.bind(name_of(part)).bind(target).bind(name_of(access)).bind(after);
    if (!query.step()) return std::nullopt;
    return fault_of(query);
  };
  std::optional<Fault> fault = find();
  if (!fault.has_value() || !fault->remaining.has_value()) return fault;
  // Looked at again under the write lock: another process may have used it up.
  Transaction transaction(phone.fleeting());
  fault = find();
  if (fault.has_value() && fault->remaining.has_value()) {
    phone.fleeting()
        .query("UPDATE fault SET remaining = remaining - 1 WHERE id = ?")
        .bind(fault->id)
        .run();
    phone.fleeting()
        .query("DELETE FROM fault WHERE id = ? AND remaining = 0")
        .bind(fault->id)
        .run();
  }
  transaction.commit();
  return fault;
}

/// Refuses a value that the effect cannot have.
void check_value(const Fault& fault) {
  constexpr int64_t kHourMs = 3'600'000;
  const auto refuse = [&](const std::string& why) {
    throw Refused(std::string(name_of(fault.part)) + " fault \"" + name_of(fault.effect) + "\" " +
                  why + ", not " + std::to_string(fault.value));
  };
  const bool is_int = fault.value == static_cast<int32_t>(fault.value);
  switch (fault.effect) {
    case Effect::fail:
      if (fault.part == Part::item && (!is_int || fault.value >= 0)) {
        refuse("takes a negative code of 32 bits");
      }
      if (fault.part == Part::opcode && fault.value == 0)
        throw Refused("no failure has the code 0");
      if (fault.part == Part::opcode && !is_int) refuse("takes a code of 32 bits");
      break;
    case Effect::late:
      if (fault.value < 0 || fault.value > kHourMs) refuse("takes 0 to 3600000 milliseconds");
      break;
    case Effect::returns:
      if (!is_int || fault.value < 1) refuse("takes a positive number of 32 bits");
      break;
    case Effect::shorter:
      if (!is_int || fault.value < 0) refuse("takes a number of bytes");
      break;
    case Effect::status:
    case Effect::length:
      if (!is_int) refuse("takes a number of 32 bits");
      break;
    case Effect::longer:
      if (fault.value < 1 || fault.value > kLongestAnswer) {
        refuse("takes 1 to " + std::to_string(kLongestAnswer) + " bytes");
      }
      break;
    case Effect::garbage:
      if (fault.part == Part::opcode && (fault.value < 0 || fault.value > 255)) {
        refuse("takes a byte, 0 to 255");
      }
      break;
    case Effect::refuse:
    case Effect::empty:
    case Effect::absent:
    case Effect::dies:
      break;
  }
}

bool is_direct_opcode(int number) { return number >= 0 && number <= 993; }
bool is_system_opcode(int number) { return number >= 1000 && number <= 4414; }

/// Whether a request can have the opcode that `target` spells.
bool is_opcode(std::string_view target) {
  int number = -1;
  const auto [end, error] = std::from_chars(target.data(), target.data() + target.size(), number);
  return error == std::errc() && end == target.data() + target.size() &&
         target == std::to_string(number) && (is_direct_opcode(number) || is_system_opcode(number));
}

/// Refuses a target that no access can ever have.
void check_target(const Fault& fault) {
  if (fault.target.empty()) throw Refused("a fault needs something to stand on");
  if (fault.part == Part::opcode && !is_opcode(fault.target)) {
    throw Refused("no request has the opcode " + fault.target +
                  ": 0 to 993 go to the modem, 1000 to 4414 to the system side");
  }
  if (fault.part != Part::service) return;
  std::string known;
  for (const char* service : kServices) {
    if (fault.target == service) return;
    known += (known.empty() ? "" : ", ") + std::string(service);
  }
  throw Refused("there is no service \"" + fault.target + "\". Services: " + known);
}

/// Refuses an access at which the fault cannot strike, and takes the only one where there is one.
void settle_access(Fault& fault, const EffectRow& row) {
  const std::string what = std::string(name_of(fault.part)) + " fault";
  if (fault.access == row.strikes) return;
  if (fault.part == Part::opcode || fault.part == Part::service) {
    if (fault.access != Access::any) throw Refused(what + " strikes on any access, say no other");
  } else if (fault.access == Access::call) {
    throw Refused("only a service is called; a " + what + " strikes on read, write or any");
  }
  if (fault.access == Access::open && fault.part != Part::file) {
    throw Refused("only a file is opened; a " + what + " strikes on read, write or any");
  }
  if (row.strikes != Access::any) {
    if (fault.access != Access::any) {
      throw Refused(what + " \"" + name_of(fault.effect) + "\" strikes on " + name_of(row.strikes) +
                    " only");
    }
    fault.access = row.strikes;
  }
  if (fault.access == Access::open && fault.effect == Effect::shorter) {
    throw Refused("opening a file moves no bytes: there is nothing to cut short");
  }
}

}  // namespace

const std::vector<EffectRow>& fault_effects() {
  static const std::vector<EffectRow> rows = {
      {Part::item, Effect::fail, Access::any, "CODE", -1,
       "the access fails with this negative code"},
      {Part::item, Effect::late, Access::any, "MS", std::nullopt,
       "the access takes that much longer"},
      {Part::item, Effect::shorter, Access::read, "N", std::nullopt,
       "only N bytes arrive, and N is returned"},
      {Part::item, Effect::returns, Access::any, "N", std::nullopt,
       "the access works but returns this positive number"},
      {Part::item, Effect::garbage, Access::read, nullptr, 0, "every byte arrives as FF"},
      {Part::property, Effect::fail, Access::any, nullptr, 0,
       "a read finds no value, a write is refused"},
      {Part::property, Effect::late, Access::any, "MS", std::nullopt,
       "the access takes that much longer"},
      {Part::property, Effect::garbage, Access::read, nullptr, 0, "91 bytes FF arrive"},
      {Part::file, Effect::fail, Access::any, "ERRNO", EIO,
       "the operation fails with this error, as ENOSPC or 28"},
      {Part::file, Effect::late, Access::any, "MS", std::nullopt,
       "the operation takes that much longer"},
      {Part::file, Effect::shorter, Access::any, "N", std::nullopt,
       "a read ends after N bytes, a write finds the disk full after N bytes"},
      {Part::opcode, Effect::fail, Access::any, "CODE", 1,
       "no answer: the link returns this code, or the system side has it as its result"},
      {Part::opcode, Effect::late, Access::any, "MS", std::nullopt,
       "the answer takes that much longer"},
      {Part::opcode, Effect::refuse, Access::any, nullptr, 0,
       "nothing is done, and the answer says so"},
      {Part::opcode, Effect::status, Access::any, "N", std::nullopt,
       "the answer carries this status word"},
      {Part::opcode, Effect::empty, Access::any, nullptr, 0, "the answer has no data"},
      {Part::opcode, Effect::shorter, Access::any, "N", std::nullopt,
       "only the first N bytes of the answer arrive"},
      {Part::opcode, Effect::longer, Access::any, "N", std::nullopt,
       "the answer goes on with the letter X until it has N bytes"},
      {Part::opcode, Effect::length, Access::any, "N", std::nullopt,
       "the answer says that it has N bytes, whatever arrives"},
      {Part::opcode, Effect::garbage, Access::any, "BYTE", 255,
       "every byte arrives as this one; from the system side a text that is no base64"},
      {Part::service, Effect::absent, Access::any, nullptr, 0, "it is not there"},
      {Part::service, Effect::dies, Access::call, nullptr, 0,
       "it is there, but a call to it breaks off"},
      {Part::service, Effect::late, Access::call, "MS", std::nullopt,
       "a call to it takes that much longer"},
  };
  return rows;
}

const char* name_of(Part part) { return kParts[static_cast<size_t>(part)]; }
const char* name_of(Access access) { return kAccesses[static_cast<size_t>(access)]; }
const char* name_of(Effect effect) { return kEffects[static_cast<size_t>(effect)]; }
std::optional<Part> part_named(std::string_view name) { return named<Part>(kParts, name); }
std::optional<Access> access_named(std::string_view name) { return named<Access>(kAccesses, name); }
std::optional<Effect> effect_named(std::string_view name) { return named<Effect>(kEffects, name); }

int64_t set_fault(Phone& phone, Fault fault) {
  const EffectRow* row = row_of(fault.part, fault.effect);
  const std::string what = std::string(name_of(fault.part)) + " fault";
  if (row == nullptr) throw Refused("there is no " + what + " \"" + name_of(fault.effect) + "\"");
  settle_access(fault, *row);
  check_target(fault);
  check_value(fault);
  if (fault.remaining.has_value() && *fault.remaining < 1) {
    throw Refused("a fault strikes at least once");
  }
  const std::lock_guard lock(phone.mutex());
  phone.fleeting()
      .query(
          "INSERT INTO fault(kind, target, operation, effect, value, remaining)"
          " VALUES(?, ?, ?, ?, ?, nullif(?, 0))")
      .bind(name_of(fault.part))
      .bind(fault.target)
      .bind(name_of(fault.access))
      .bind(name_of(fault.effect))
      .bind(fault.value)
      .bind(fault.remaining.value_or(0))
      .run();
  return phone.fleeting().last_id();
}

std::vector<Fault> faults(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::vector<Fault> found;
  Query query = phone.fleeting().query(
      "SELECT id, kind, target, operation, effect, value, remaining FROM fault ORDER BY id");
  while (query.step()) found.push_back(fault_of(query));
  return found;
}

bool clear_fault(Phone& phone, int64_t id) {
  const std::lock_guard lock(phone.mutex());
  phone.fleeting().query("DELETE FROM fault WHERE id = ?").bind(id).run();
  return phone.fleeting().changes() > 0;
}

int clear_faults(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  phone.fleeting().query("DELETE FROM fault").run();
  return phone.fleeting().changes();
}

std::optional<Fault> strike(Phone& phone, Part part, std::string_view target, Access access) {
  std::optional<Fault> fault = take(phone, part, target, access, 0);
  while (fault.has_value() && fault->effect == Effect::late) {
    sleep_us(static_cast<uint64_t>(fault->value) * 1000);
    fault = take(phone, part, target, access, fault->id);
  }
  return fault;
}

}  // namespace virtual_phone
