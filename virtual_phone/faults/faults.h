// Faults that somebody has set on a part of the phone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// What a fault can stand on. Its target is an item's number, a property's name, a device path, the
/// number of an opcode of the modem link, or one of kServices.
enum class Part { item, property, file, opcode, service };
/// When it strikes. Items and properties are read and written; files are opened, too, and so on; a
/// service is found or called.
enum class Access {
  any,
  open,
  read,
  write,
  sync,
  sync_directory,
  rename,
  remove,
  stat,
  chmod,
  call
};
/// What happens. Which parts know it, and what the value means, is in fault_effects().
enum class Effect {
  fail,
  late,
  shorter,
  returns,
  garbage,
  status,
  refuse,
  empty,
  longer,
  length,
  absent,
  dies
};

/// The services beside the library that a fault can stand on: the direct modem interface, the
/// diagnostic packets, the AT-command service, the file-handle service.
inline constexpr const char* kServices[] = {"dmi", "diag", "atservice", "filehandle"};

/// The most bytes that a `longer` answer has.
constexpr int64_t kLongestAnswer = 65536;

struct Fault {
  int64_t id = 0;  ///< given when it is set
  Part part;
  std::string target;
  Access access = Access::any;
  Effect effect;
  int64_t value = 0;
  std::optional<int64_t> remaining;  ///< how often it strikes; until it is cleared when not given
};

/// What an effect does, where, and when: the rows behind the checks and the tool's help.
struct EffectRow {
  Part part;
  Effect effect;
  Access strikes;          ///< the access that it is meant for; any: all of them
  const char* value_name;  ///< null when it takes none
  std::optional<int64_t> default_value;
  const char* meaning;
};
const std::vector<EffectRow>& fault_effects();

const char* name_of(Part part);
const char* name_of(Access access);
const char* name_of(Effect effect);
std::optional<Part> part_named(std::string_view name);
std::optional<Access> access_named(std::string_view name);
std::optional<Effect> effect_named(std::string_view name);

/// Sets a fault. Throws Refused for one that makes no sense. @return its id
int64_t set_fault(Phone& phone, Fault fault);
std::vector<Fault> faults(Phone& phone);
/// Removes one fault. @return whether there was one
bool clear_fault(Phone& phone, int64_t id);
/// Removes all faults. @return how many there were
int clear_faults(Phone& phone);

/// The fault that strikes this access, the oldest first, and counts it down. Late ones before it
/// have been slept through already, and are not returned. A service is found with Access::any,
/// which meets no fault that breaks off calls.
std::optional<Fault> strike(Phone& phone, Part part, std::string_view target, Access access);

}  // namespace virtual_phone
