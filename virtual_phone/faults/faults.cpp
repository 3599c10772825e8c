#include "virtual_phone/faults/faults.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <iterator>
#include <mutex>

#include "modem/link/requests.h"
#include "platform/immortal.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/modem/exchange.h"
#include "virtual_phone/power/power_cut.h"

namespace virtual_phone {
namespace {

const EffectRow* row_of(Part part, Effect effect) {
  for (const EffectRow& row : fault_effects()) {
    if (row.part == part && row.effect == effect) return &row;
  }
  return nullptr;
}

bool has(const std::vector<Access>& accesses, Access access) {
  return std::find(accesses.begin(), accesses.end(), access) != accesses.end();
}

/// The first row of a part.
const EffectRow& usual_failure(Part part) {
  const auto& rows = fault_effects();
  return *std::find_if(rows.begin(), rows.end(),
                       [&](const EffectRow& row) { return row.part == part; });
}

/// The command that runs in this process, and what its run has met so far.
struct Run {
  std::mutex mutex;
  std::string opcode GUARDED_BY(mutex);  ///< as faults have it, empty while none runs
  std::set<Part> accessed GUARDED_BY(mutex);
  std::vector<Fault> striking GUARDED_BY(mutex);  ///< counted down, and strike it to its end
  std::set<int64_t> waiting GUARDED_BY(mutex);    ///< counted down, and strike a later run

  void begin(std::string command) REQUIRES(mutex) {
    opcode = std::move(command);
    accessed.clear();
    striking.clear();
    waiting.clear();
  }
  bool has_counted(int64_t id) const REQUIRES(mutex) {
    return waiting.count(id) > 0 || std::any_of(striking.begin(), striking.end(),
                                                [&](const Fault& fault) { return fault.id == id; });
  }
};

/// Threads may access the phone until the process is gone.
Run& current_run() { return fcx::immortal<Run>(); }

/// What somebody is about to do.
struct Asked {
  Part part;
  std::string_view target;
  Access access;
};

Fault fault_of(const Query& row) {
  Fault fault{row.number(0),
              named<Part>(row.text(1)).value_or(Part::item),
              row.text(2),
              named<Access>(row.text(3)).value_or(Access::any),
              named<Effect>(row.text(4)).value_or(Effect::fail),
              row.number(5),
              std::nullopt,
              row.number(7)};
  if (row.number(6) > 0) fault.remaining = row.number(6);
  return fault;
}

/// All on the target, or on the command that runs, oldest first. What its run has counted down
/// counts no more.
std::vector<Fault> faults_on(Database& database, const Asked& asked, const Run& run)
    REQUIRES(run.mutex) {
  std::vector<Fault> found = run.striking;
  // One statement, which every access costs. No fault is on the command "", which is none.
  Query query = database.query(
      "SELECT id, kind, target, operation, effect, value, remaining, strikes_from FROM fault"
      " WHERE (kind = ? AND target = ?) OR (kind = 'command' AND target = ?)");
  query.bind(name_of(asked.part)).bind(asked.target).bind(run.opcode);
  while (query.step()) {
    Fault fault = fault_of(query);
    if (!run.has_counted(fault.id)) found.push_back(std::move(fault));
  }
  std::sort(found.begin(), found.end(), [](const Fault& a, const Fault& b) { return a.id < b.id; });
  return found;
}

bool meets(const Fault& fault, const Asked& asked) {
  const auto access = fault.part == Part::command ? access_to(asked.part) : asked.access;
  if (!access.has_value()) return false;
  if (fault.access != Access::any) return fault.access == access;
  const EffectRow* row = row_of(fault.part, fault.effect);
  return row != nullptr && (row->strikes.empty() || has(row->strikes, *access));
}

/// The faults that an access meets, in their order, and which of them strike it.
struct Met {
  std::vector<Fault> waiting;   ///< for a later access
  std::vector<Fault> striking;  ///< late ones, and at most one that is not
  /// Whether anything is to be counted down.
  bool counts() const {
    return !waiting.empty() ||
           std::any_of(striking.begin(), striking.end(),
                       [](const Fault& fault) { return fault.remaining.has_value(); });
  }
};

Met meet(Database& database, const Asked& asked, const Run& run) REQUIRES(run.mutex) {
  Met met;
  bool is_struck = false;
  for (const Fault& fault : faults_on(database, asked, run)) {
    if (!meets(fault, asked)) continue;
    if (fault.after > 1) {
      met.waiting.push_back(fault);
    } else if (!is_struck) {
      is_struck = fault.effect != Effect::late;
      met.striking.push_back(fault);
    }
  }
  return met;
}

void count_down(Database& database, const Met& met) {
  for (const Fault& fault : met.waiting) {
    database.query("UPDATE fault SET strikes_from = strikes_from - 1 WHERE id = ?")
        .bind(fault.id)
        .run();
  }
  for (const Fault& fault : met.striking) {
    if (!fault.remaining.has_value()) continue;
    database.query("UPDATE fault SET remaining = remaining - 1 WHERE id = ?").bind(fault.id).run();
  }
  database.execute("DELETE FROM fault WHERE remaining = 0");
}

/// Lets a run go on as its first access has settled it.
void settle(Run& run, const Met& met) REQUIRES(run.mutex) {
  for (const Fault& fault : met.waiting) {
    if (fault.part == Part::command) run.waiting.insert(fault.id);
  }
  for (Fault fault : met.striking) {
    if (fault.part != Part::command || !fault.remaining.has_value()) continue;
    fault.remaining.reset();
    run.striking.push_back(std::move(fault));
  }
}

/// The faults that strike this access, counted down.
std::vector<Fault> take(Phone& phone, const Asked& asked) {
  const std::lock_guard lock(phone.mutex());
  Run& run = current_run();
  const std::lock_guard lock_of_run(run.mutex);
  if (!run.opcode.empty()) run.accessed.insert(asked.part);
  Met met = meet(phone.fleeting(), asked, run);
  if (!met.counts()) return met.striking;
  // Looked at again under the write lock: another process may have counted them down.
  Transaction transaction(phone.fleeting());
  met = meet(phone.fleeting(), asked, run);
  count_down(phone.fleeting(), met);
  transaction.commit();
  settle(run, met);
  return met.striking;
}

/// What a fault does to an access: one on a command lets the part fail in its usual way.
Fault as_struck(Fault fault, Part part) {
  if (fault.part != Part::command) return fault;
  const EffectRow& row = usual_failure(part);
  fault.effect = row.effect;
  fault.value = row.default_value.value_or(0);
  return fault;
}

std::string what_of(const Fault& fault) { return std::string(name_of(fault.part)) + " fault"; }

/// "a, b or c".
template <typename Values, typename Text>
std::string listed(const Values& values, const char* last, Text text) {
  std::string list;
  for (size_t i = 0; i < std::size(values); ++i) {
    if (i > 0) list += i + 1 == std::size(values) ? last : ", ";
    list += text(values[i]);
  }
  return list;
}

/// The lowest and the highest value that a fault can have.
struct Range {
  int64_t lowest;
  int64_t highest;
  const char* what;
};

Range range_of(Part part, Effect effect) {
  constexpr int64_t kHourMs = 3'600'000;
  constexpr int64_t kByte = 255;
  constexpr Range kNumber{INT32_MIN, INT32_MAX, "a number of 32 bits"};
  constexpr Range kNone{INT64_MIN, INT64_MAX, ""};
  switch (effect) {
    case Effect::fail:
      if (part == Part::item) return {INT32_MIN, -1, "a negative code of 32 bits"};
      if (part == Part::file) return {1, kHighestError, "the number of an error"};
      if (part == Part::thread) return {1, kHighestError, "the number of an error"};
      return part == Part::request ? kNumber : kNone;
    case Effect::late:
      return {1, kHourMs, "milliseconds"};
    case Effect::returns:
      return {1, INT32_MAX, "a positive number of 32 bits"};
    case Effect::shorter:
      return {0, INT32_MAX, "a number of bytes"};
    case Effect::status:
    case Effect::length:
      return kNumber;
    case Effect::size:
      return {0, INT64_MAX, "a number of bytes"};
    case Effect::longer:
      return {1, kLongestAnswer, "a number of bytes"};
    case Effect::garbage:
      return part == Part::request ? Range{0, kByte, "a byte"} : kNone;
    case Effect::cut:
      return {static_cast<int64_t>(Unflushed::dropped), static_cast<int64_t>(Unflushed::kept),
              "what becomes of what was not flushed"};
    case Effect::refuse:
    case Effect::empty:
    case Effect::absent:
    case Effect::dies:
      break;
  }
  return kNone;
}

/// Refuses numbers that the fault cannot have.
void check_numbers(const Fault& fault) {
  const Range range = range_of(fault.part, fault.effect);
  if (fault.value < range.lowest || fault.value > range.highest) {
    throw Refused(what_of(fault) + " \"" + name_of(fault.effect) + "\" takes " + range.what + ", " +
                  std::to_string(range.lowest) + " to " + std::to_string(range.highest) + ", not " +
                  std::to_string(fault.value));
  }
  if (fault.part == Part::request && fault.effect == Effect::fail && fault.value == 0) {
    throw Refused("no failure has the code 0");
  }
  if (fault.remaining.value_or(1) < 1) throw Refused("a fault strikes at least once");
  if (fault.after < 1) throw Refused("the first access that a fault can strike is 1");
}

/// The number that a target spells, or nothing.
std::optional<int32_t> number_of(const std::string& target) {
  int32_t number = 0;
  const char* end = target.data() + target.size();
  const auto [stop, error] = std::from_chars(target.data(), end, number);
  if (error != std::errc() || stop != end || target != std::to_string(number)) return std::nullopt;
  return number;
}

void check_item_target(const Fault& fault) {
  const auto number = number_of(fault.target);
  if (!number.has_value()) throw Refused("\"" + fault.target + "\" is no item's number");
  check_item(*number);
}

/// Leaves the path as accesses have it.
void settle_path(Fault& fault) {
  namespace fs = std::filesystem;
  const fs::path path(fault.target);
  const bool leads_up = std::find(path.begin(), path.end(), "..") != path.end();
  if (!path.is_absolute() || leads_up) {
    throw Refused("\"" + fault.target + "\" is no device path: it begins with / and has no \"..\"");
  }
  fault.target = normal(path);
}

/// Whether an effect can strike a request that the other side does not know. The link carries it
/// all the same: it can fail, or take its time. The system side has a refusal for any.
bool strikes_unknown(fcx::Route route, Effect effect) {
  if (effect == Effect::fail || effect == Effect::late) return true;
  return effect == Effect::refuse && route == fcx::Route::system;
}

void check_request(const Fault& fault) {
  const auto number = number_of(fault.target);
  const fcx::Route route = number.has_value() ? fcx::route_of(*number) : fcx::Route::none;
  if (route == fcx::Route::none) {
    throw Refused("there is no request " + fault.target + ": " + std::to_string(fcx::kFirstDirect) +
                  " to " + std::to_string(fcx::kLastDirect) + " go to the modem, " +
                  std::to_string(fcx::kFirstSystem) + " to " + std::to_string(fcx::kLastSystem) +
                  " to the system side");
  }
  const bool is_direct = route == fcx::Route::direct;
  if (is_direct ? knows_directly(*number) : system_side_knows(*number)) return;
  if (strikes_unknown(route, fault.effect)) return;
  throw Refused(std::string("the ") + (is_direct ? "modem" : "system side") +
                " does not know request " + fault.target + ": it has " +
                (fault.effect == Effect::refuse ? "nothing to refuse" : "no answer to spoil"));
}

void check_service(const Fault& fault) {
  const auto* row = std::find_if(std::begin(kServices), std::end(kServices),
                                 [&](const auto& each) { return fault.target == each.name; });
  if (row == std::end(kServices)) {
    throw Refused("there is no service \"" + fault.target + "\". Services: " +
                  listed(kServices, ", ", [](const auto& each) { return each.name; }));
  }
  if (fault.effect == Effect::dies && !row->can_die) {
    throw Refused("a call to \"" + fault.target + "\" is done at once: it cannot break off");
  }
  if (fault.access == Access::find && !row->is_awaited) {
    throw Refused("nobody waits for \"" + fault.target +
                  "\" to come up: it is there, or not, at once");
  }
}

void check_command(const Fault& fault) {
  if (number_of(fault.target).has_value()) return;
  throw Refused("\"" + fault.target + "\" is no opcode");
}

void check_thread(const Fault& fault) {
  if (named<fcx::LibraryThread>(fault.target).has_value()) return;
  throw Refused(
      "the library starts no thread \"" + fault.target + "\". Threads: " +
      listed(kEnumNames<fcx::LibraryThread>, ", ", [](const auto& thread) { return thread.name; }));
}

/// Refuses a target that no access can ever have.
void settle_target(Fault& fault) {
  switch (fault.part) {
    case Part::item:
      return check_item_target(fault);
    case Part::property:
      if (is_property_name(fault.target)) return;
      throw Refused("\"" + fault.target + "\" is no property name");
    case Part::file:
      return settle_path(fault);
    case Part::request:
      return check_request(fault);
    case Part::service:
      return check_service(fault);
    case Part::thread:
      return check_thread(fault);
    case Part::command:
      return check_command(fault);
    case Part::power:
    case Part::daemon:
      if (fault.target.empty()) return;
      throw Refused(what_of(fault) + "s have no target");
    case Part::clock:
      return;  // no effect strikes it
  }
}

/// Refuses an access at which the fault cannot strike, and takes the only one where there is one.
void settle_access(Fault& fault, const EffectRow& row) {
  if (fault.access == Access::any) {
    fault.access = row.strikes.size() == 1 ? row.strikes.front() : row.unless_said;
    return;
  }
  if (has(row.strikes, fault.access)) return;
  const std::string which =
      row.strikes.empty() ? "any access" : listed(row.strikes, " or ", name_of<Access>);
  throw Refused(what_of(fault) + " \"" + name_of(fault.effect) + "\" strikes on " + which +
                ", not on " + name_of(fault.access));
}

}  // namespace

const std::vector<EffectRow>& fault_effects() {
  static const std::vector<Access> kNoChoice;
  static const std::vector<Access> kRead = {Access::read};
  static const std::vector<Access> kCall = {Access::call};
  static const std::vector<Access> kCallOrFind = {Access::call, Access::find};
  // Of these each moves bytes.
  static const std::vector<Access> kBytes = {Access::read, Access::write};
  static const std::vector<Access> kAllOfAFile = {
      Access::open,   Access::read,   Access::write, Access::sync,  Access::sync_directory,
      Access::rename, Access::remove, Access::stat,  Access::chmod, Access::chown,
      Access::mkdir,  Access::seek,   Access::close, Access::ioctl, Access::mmap};
  static const std::vector<Access> kSeek = {Access::seek};
  static const std::vector<Access> kOfACommand = {Access::request, Access::item, Access::property,
                                                  Access::file, Access::service};
  static const std::vector<EffectRow> rows = {
      {Part::item, Effect::fail, kBytes, "CODE", -1, "the access fails with this negative code"},
      {Part::item, Effect::late, kBytes, "MS", std::nullopt, "the access takes that much longer"},
      {Part::item, Effect::shorter, kRead, "N", std::nullopt,
       "only N bytes arrive, and N is returned"},
      {Part::item, Effect::returns, kBytes, "N", std::nullopt,
       "the access works but returns this positive number"},
      {Part::item, Effect::garbage, kRead, nullptr, 0, "every byte arrives as FF"},
      {Part::property, Effect::fail, kBytes, nullptr, 0,
       "a read finds no value, a write is refused"},
      {Part::property, Effect::late, kBytes, "MS", std::nullopt,
       "the access takes that much longer"},
      {Part::property, Effect::garbage, kRead, nullptr, 0, "91 bytes FF arrive"},
      {Part::file, Effect::fail, kAllOfAFile, "ERRNO", EIO,
       "the operation fails with this error, as ENOSPC or 28"},
      {Part::file, Effect::late, kAllOfAFile, "MS", std::nullopt,
       "the operation takes that much longer"},
      {Part::file, Effect::shorter, kBytes, "N", std::nullopt,
       "a read ends after N bytes, a write finds the disk full after N bytes"},
      {Part::file, Effect::size, kSeek, "N", std::nullopt, "seeking to its end says N bytes"},
      {Part::request, Effect::fail, kNoChoice, "CODE", 1,
       "no answer: the link returns this code, or the system side has it as its result"},
      {Part::request, Effect::late, kNoChoice, "MS", std::nullopt,
       "the answer takes that much longer"},
      {Part::request, Effect::refuse, kNoChoice, nullptr, 0,
       "nothing is done, and the answer says so"},
      {Part::request, Effect::status, kNoChoice, "N", std::nullopt,
       "the answer carries this status word"},
      {Part::request, Effect::empty, kNoChoice, nullptr, 0, "the answer has no data"},
      {Part::request, Effect::shorter, kNoChoice, "N", std::nullopt,
       "only the first N bytes of the answer arrive"},
      {Part::request, Effect::longer, kNoChoice, "N", std::nullopt,
       "the answer goes on with the letter X until it has N bytes"},
      {Part::request, Effect::length, kNoChoice, "N", std::nullopt,
       "the answer says that it has N bytes, whatever arrives"},
      {Part::request, Effect::garbage, kNoChoice, "BYTE", 255,
       "every byte arrives as this one; from the system side a text that is no base64"},
      {Part::service, Effect::absent, kNoChoice, nullptr, 0, "it is not there"},
      {Part::service, Effect::dies, kCall, nullptr, 0, "it is there, but a call to it breaks off"},
      {Part::service, Effect::late, kCallOrFind, "MS", std::nullopt,
       "a call to it takes that much longer; --on find: a lookup waits so long for it",
       Access::call},
      {Part::thread, Effect::fail, kNoChoice, "ERRNO", EAGAIN,
       "it cannot be started, with this error, as EAGAIN or 11"},
      {Part::command, Effect::fail, kOfACommand, nullptr, 0,
       "whatever it asks or accesses fails, each in its usual way"},
      {Part::power, Effect::cut, kNoChoice, "WHAT", static_cast<int64_t>(Unflushed::dropped),
       "it is lost; what was not flushed is dropped, torn at the end of a block, or kept"},
      {Part::daemon, Effect::dies, kNoChoice, nullptr, 0,
       "its process is killed, and loses nothing that it has written"},
  };
  return rows;
}

int64_t set_fault(Phone& phone, Fault fault) {
  const EffectRow* row = row_of(fault.part, fault.effect);
  if (row == nullptr) {
    throw Refused("there is no " + what_of(fault) + " \"" + name_of(fault.effect) + "\"");
  }
  settle_access(fault, *row);
  settle_target(fault);
  check_numbers(fault);
  // A service that has come up is there.
  if (fault.access == Access::find && !fault.remaining.has_value()) fault.remaining = 1;
  // The next start shall come to its end.
  const bool ends_all = fault.part == Part::power || fault.part == Part::daemon;
  if (ends_all && !fault.remaining.has_value()) fault.remaining = 1;
  const std::lock_guard lock(phone.mutex());
  phone.fleeting()
      .query(
          "INSERT INTO fault(kind, target, operation, effect, value, remaining, strikes_from)"
          " VALUES(?, ?, ?, ?, ?, nullif(?, 0), ?)")
      .bind(name_of(fault.part))
      .bind(fault.target)
      .bind(name_of(fault.access))
      .bind(name_of(fault.effect))
      .bind(fault.value)
      .bind(fault.remaining.value_or(0))
      .bind(fault.after)
      .run();
  return phone.fleeting().last_id();
}

std::vector<Fault> faults(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::vector<Fault> found;
  Query query = phone.fleeting().query(
      "SELECT id, kind, target, operation, effect, value, remaining, strikes_from FROM fault"
      " ORDER BY id");
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

std::optional<Fault> strike(Phone& phone, Part part, std::string_view target, Access access,
                            WhenLate when_late) {
  for (const Fault& fault : take(phone, {part, target, access})) {
    const bool is_waited_for = fault.effect == Effect::late && when_late == WhenLate::waits;
    if (!is_waited_for) return as_struck(fault, part);
    sleep_us(static_cast<uint64_t>(fault.value) * 1000);
  }
  return std::nullopt;
}

bool can_strike_after_changes(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  return phone.fleeting().query("SELECT 1 FROM fault WHERE kind IN ('power', 'daemon')").step();
}

std::optional<Access> access_to(Part part) {
  const auto access = named<Access>(name_of(part));
  const EffectRow* row = row_of(Part::command, Effect::fail);
  return access.has_value() && row != nullptr && has(row->strikes, *access) ? access : std::nullopt;
}

RunningCommand::RunningCommand(int32_t opcode) {
  Run& run = current_run();
  const std::lock_guard lock(run.mutex);
  run.begin(std::to_string(opcode));
}

RunningCommand::~RunningCommand() {
  Run& run = current_run();
  const std::lock_guard lock(run.mutex);
  run.begin("");
}

std::set<Part> RunningCommand::accessed() const {
  Run& run = current_run();
  const std::lock_guard lock(run.mutex);
  return run.accessed;
}

}  // namespace virtual_phone
