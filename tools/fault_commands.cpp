// fault: what shall go wrong on the phone.
#include <cstdio>
#include <cstring>
#include <memory>

#include "modem/link/requests.h"
#include "tools/commands.h"
#include "tools/item_name.h"
#include "tools/json.h"
#include "tools/table.h"
#include "tools/words.h"
#include "virtual_phone/faults/faults.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// An errno value by its name, as ENOSPC, or its number. Throws UsageError.
int64_t error_number(const std::string& word) {
  constexpr int kHighest = 133;
  for (int error = 1; error <= kHighest; ++error) {
    const char* name = strerrorname_np(error);
    if (name != nullptr && word == name) return error;
  }
  const int64_t number = number_of(word, "an error (as ENOSPC)");
  if (number < 1 || number > kHighest) throw UsageError("there is no error " + word);
  return number;
}

std::string plural(vp::Part part) {
  return part == vp::Part::property ? "properties" : std::string(vp::name_of(part)) + "s";
}

const vp::EffectRow& effect_row(vp::Part part, const std::string& word) {
  const auto effect = vp::effect_named(word);
  std::string known;
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part != part) continue;
    if (row.effect == effect) return row;
    known += (known.empty() ? "" : ", ") + std::string(vp::name_of(row.effect));
  }
  throw UsageError("\"" + word + "\" is no fault of " + plural(part) + ": " + known);
}

int64_t effect_value(const vp::EffectRow& row, const std::optional<std::string>& word) {
  const std::string what = std::string(vp::name_of(row.effect));
  if (!word.has_value()) {
    if (row.default_value.has_value()) return *row.default_value;
    throw UsageError("\"" + what + "\" needs a number behind it: " + row.value_name + ", " +
                     row.meaning);
  }
  if (row.value_name == nullptr) throw UsageError("\"" + what + "\" takes no number");
  if (row.part == vp::Part::file && row.effect == vp::Effect::fail) return error_number(*word);
  return number_of(*word, row.value_name);
}

std::string fault_text(const vp::Fault& fault) {
  std::string text = vp::name_of(fault.effect);
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part != fault.part || row.effect != fault.effect || row.value_name == nullptr) continue;
    const bool is_error = fault.part == vp::Part::file && fault.effect == vp::Effect::fail;
    const char* name = is_error ? strerrorname_np(static_cast<int>(fault.value)) : nullptr;
    text += " " + (name != nullptr ? std::string(name) : std::to_string(fault.value));
  }
  return text;
}

Json fault_json(const vp::Fault& fault) {
  return {{"id", fault.id},
          {"part", vp::name_of(fault.part)},
          {"target", fault.target},
          {"on", vp::name_of(fault.access)},
          {"effect", vp::name_of(fault.effect)},
          {"value", fault.value},
          {"remaining", fault.remaining ? Json(*fault.remaining) : Json()}};
}

void list_faults(const Invocation& invocation) {
  const auto faults = vp::faults(invocation.open_phone());
  if (invocation.json) {
    Json list = Json::array();
    for (const auto& fault : faults) list.push_back(fault_json(fault));
    return print({{"faults", list}});
  }
  if (faults.empty()) {
    puts("no fault is set");
    return;
  }
  TextTable table({"ID", "PART", "TARGET", "ON", "EFFECT", "REMAINING"});
  for (const auto& fault : faults) {
    table.add({std::to_string(fault.id), vp::name_of(fault.part), fault.target,
               vp::name_of(fault.access), fault_text(fault),
               fault.remaining ? std::to_string(*fault.remaining) : "until cleared"});
  }
  table.print();
}

std::string effect_help(vp::Part part) {
  std::string help = "Effects:\n";
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part != part) continue;
    std::string form = vp::name_of(row.effect);
    if (row.value_name != nullptr) {
      form += row.default_value.has_value() ? std::string(" [") + row.value_name + "]"
                                            : std::string(" ") + row.value_name;
    }
    form.resize(16, ' ');
    help += "  " + form + row.meaning + "\n";
  }
  return help;
}

/// The opcode that a word stands for: its number, or its name. Throws UsageError.
int64_t modem_opcode(const std::string& word) {
  std::vector<std::string> names;
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    if (word == row.name) return row.number;
    names.push_back(row.name);
  }
  if (word.find_first_not_of("0123456789") == std::string::npos)
    return number_of(word, "an opcode");
  throw unknown_name("opcode", word, names, "fcx fault opcode --help");
}

std::string opcode_help() {
  std::string help = "Opcodes:\n";
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    std::string line = "  " + std::to_string(row.number);
    line.resize(8, ' ');
    line += row.name;
    line.resize(26, ' ');
    help += line + row.meaning + "\n";
  }
  return help;
}

/// A target in the form in which the phone knows it. Throws UsageError.
std::string fault_target(vp::Part part, const std::string& word) {
  switch (part) {
    case vp::Part::item:
      return std::to_string(item_number(word));
    case vp::Part::property:
    case vp::Part::service:
      return word;
    case vp::Part::opcode:
      return std::to_string(modem_opcode(word));
    case vp::Part::file:
      break;
  }
  // The device's paths begin at its root, and name a file.
  const auto path = (std::filesystem::path("/") / word).lexically_normal();
  if (!path.has_filename()) throw UsageError("\"" + word + "\" names no file");
  return path.string();
}

void add_part(Verb& group, Invocation& invocation, vp::Part part, const char* target_help,
              const std::string& example) {
  struct Options {
    std::string target;
    std::string effect;
    std::optional<std::string> value;
    std::string access = "any";
    std::optional<std::string> times;
  };
  auto options = std::make_shared<Options>();
  Verb& command = add_command(
      group, vp::name_of(part), std::string("Set a fault on one ") + vp::name_of(part), "",
      [&invocation, part, options] {
        const vp::EffectRow& row = effect_row(part, options->effect);
        const auto access = vp::access_named(options->access);
        if (!access.has_value()) {
          throw UsageError("--on takes any, open, read or write, not \"" + options->access + "\"");
        }
        std::optional<int64_t> times;
        if (options->times) times = number_of(*options->times, "--times");
        vp::Fault fault{0,       part,       fault_target(part, options->target),
                        *access, row.effect, effect_value(row, options->value),
                        times};
        vp::set_fault(invocation.open_phone(), fault);
        list_faults(invocation);
      });
  command.footer(effect_help(part) + "\nExample:\n" + example +
                 (part == vp::Part::opcode ? "\n\n" + opcode_help() : ""));
  command.add_option("target", options->target, target_help).required();
  command.add_option("effect", options->effect, "What happens, see below").required();
  command.add_option("value", options->value, "A number, where the effect takes one");
  const bool is_accessed = part != vp::Part::opcode && part != vp::Part::service;
  if (is_accessed) {
    command
        .add_option("--on", options->access,
                    part == vp::Part::file ? "Strike on open, read, write or any access"
                                           : "Strike on read, write or any access")
        .type_name("ACCESS");
  }
  command.add_option("--times", options->times, "Strike so often; until cleared when not given")
      .type_name("N");
}

}  // namespace

void add_fault(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "fault", "Make parts of the phone fail, to see what the library does",
      "  fcx fault item 9 fail                        reads and writes of item 9 fail\n"
      "  fcx fault item 253 return 40 --times 1       the next access returns 40\n"
      "  fcx fault file /mnt/vendor/persist-qv/agree_factory fail ENOSPC --on write\n"
      "  fcx fault opcode read_imei refuse            the modem answers that it has no IMEI\n"
      "  fcx fault service dmi absent                 the modem cannot be reached\n"
      "  fcx fault list\n"
      "  fcx fault clear 2                            one fault; without a number all of them",
      {});
  group.require_subcommand(1);
  add_part(group, invocation, vp::Part::item, "The item's number, or an accessor's name",
           "  fcx fault item 9 short 4");
  add_part(group, invocation, vp::Part::property, "The property's name",
           "  fcx fault property persist.vendor.qve.factory.status fail --on write");
  add_part(group, invocation, vp::Part::file, "The device path",
           "  fcx fault file /proc/meminfo fail EACCES --times 1");
  add_part(group, invocation, vp::Part::opcode, "The number of an opcode of the modem, or its name",
           "  fcx fault opcode write_imei late 2000 --times 1");
  add_part(group, invocation, vp::Part::service,
           "dmi (the modem), diag (NV packets), atservice (the system side) or filehandle",
           "  fcx fault service diag absent");
  add_command(group, "list", "List the faults that are set", "",
              [&invocation] { list_faults(invocation); });

  auto id = std::make_shared<std::optional<int64_t>>();
  Verb& clear =
      add_command(group, "clear", "Remove one fault, or all of them", "", [&invocation, id] {
        vp::Phone& phone = invocation.open_phone();
        if (!id->has_value()) {
          vp::clear_faults(phone);
        } else if (!vp::clear_fault(phone, **id)) {
          throw UsageError("there is no fault " + std::to_string(**id));
        }
        list_faults(invocation);
      });
  clear.add_option("id", *id, "The fault's number in `fcx fault list`");
}

}  // namespace cli
