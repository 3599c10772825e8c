// fault: what shall go wrong on the phone.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "fcx/command_table.h"
#include "modem/link/requests.h"
#include "tools/command_example.h"
#include "tools/command_name.h"
#include "tools/commands.h"
#include "tools/fault_list.h"
#include "tools/item_name.h"
#include "tools/json.h"
#include "tools/power_cut_command.h"
#include "tools/table.h"
#include "tools/words.h"
#include "virtual_phone/faults/faults.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// "a, b or c".
template <typename Values, typename Text>
std::string listed(const Values& values, const char* last, Text text) {
  std::string list;
  for (auto value = std::begin(values); value != std::end(values); ++value) {
    if (!list.empty()) list += std::next(value) == std::end(values) ? last : ", ";
    list += text(*value);
  }
  return list;
}

/// An errno value by its name, as ENOSPC, or its number. Throws UsageError.
int64_t error_number(const std::string& word) {
  std::vector<std::string> names;
  for (int error = 1; error <= vp::kHighestError; ++error) {
    const char* name = strerrorname_np(error);
    if (name == nullptr) continue;
    if (word == name) return error;
    names.emplace_back(name);
  }
  if (isalpha(word.front()) != 0) throw unknown_name("error", word, names, "man 3 errno");
  return number_of(word, "an error");
}

/// Whether a fault's value is an errno value.
bool fails_with_error(vp::Part part, vp::Effect effect) {
  return effect == vp::Effect::fail && (part == vp::Part::file || part == vp::Part::thread);
}

/// Of what there is one, faults have no target.
bool is_one(vp::Part part) { return part == vp::Part::power || part == vp::Part::daemon; }

std::string plural(vp::Part part) {
  if (is_one(part)) return std::string("the ") + vp::name_of(part);
  return part == vp::Part::property ? "properties" : std::string(vp::name_of(part)) + "s";
}

const vp::EffectRow& effect_row(vp::Part part, const std::string& word) {
  const auto effect = vp::named<vp::Effect>(word);
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
    throw UsageError("\"" + what + "\" needs a number after it: " + row.value_name + ", " +
                     row.meaning);
  }
  if (row.value_name == nullptr) throw UsageError("\"" + what + "\" takes no number");
  if (fails_with_error(row.part, row.effect)) return error_number(*word);
  if (row.effect == vp::Effect::cut) {
    const auto unflushed = vp::named<vp::Unflushed>(*word);
    if (unflushed.has_value()) return static_cast<int64_t>(*unflushed);
    throw UsageError("what was not flushed is dropped, torn or kept, not \"" + *word + "\"");
  }
  return number_of(*word, row.value_name);
}

std::string fault_text(const vp::Fault& fault) {
  std::string text = vp::name_of(fault.effect);
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part != fault.part || row.effect != fault.effect || row.value_name == nullptr) continue;
    const bool is_error = fails_with_error(fault.part, fault.effect);
    const char* name = is_error ? strerrorname_np(static_cast<int>(fault.value)) : nullptr;
    if (fault.effect == vp::Effect::cut)
      name = vp::name_of(static_cast<vp::Unflushed>(fault.value));
    text += " " + (name != nullptr ? std::string(name) : std::to_string(fault.value));
  }
  return text;
}

/// The name of the request or the command that a fault stands on; empty without one.
std::string name_of_target(const vp::Fault& fault) {
  if (fault.part == vp::Part::request) {
    const fcx::NamedRequest* row = fcx::find_request(std::stoi(fault.target));
    return row == nullptr ? "" : row->name;
  }
  if (fault.part != vp::Part::command) return "";
  const fcx::Command* row = fcx::find_command(std::stoi(fault.target));
  return row == nullptr || row->handler == nullptr ? "" : command_names(*row);
}

/// The target, with its name where it has one.
std::string target_text(const vp::Fault& fault) {
  if (is_one(fault.part)) return "-";
  const std::string name = name_of_target(fault);
  return name.empty() ? fault.target : fault.target + " " + name;
}

Json fault_json(const vp::Fault& fault) {
  const std::string name = name_of_target(fault);
  return {{"id", fault.id},
          {"part", vp::name_of(fault.part)},
          {"target", fault.target},
          {"name", name.empty() ? Json() : Json(name)},
          {"on", vp::name_of(fault.access)},
          {"effect", vp::name_of(fault.effect)},
          {"value", fault.value},
          {"after", fault.after},
          {"remaining", fault.remaining ? Json(*fault.remaining) : Json()}};
}

}  // namespace

Json faults_json(const std::vector<vp::Fault>& faults) {
  Json list = Json::array();
  for (const auto& fault : faults) list.push_back(fault_json(fault));
  return list;
}

void print_faults(const std::vector<vp::Fault>& faults) {
  if (faults.empty()) {
    puts("no fault is set");
    return;
  }
  TextTable table({"ID", "PART", "TARGET", "ON", "EFFECT", "AFTER", "REMAINING"});
  for (const auto& fault : faults) {
    table.add({std::to_string(fault.id), vp::name_of(fault.part), target_text(fault),
               vp::name_of(fault.access), fault_text(fault), std::to_string(fault.after),
               fault.remaining ? std::to_string(*fault.remaining) : "until cleared"});
  }
  table.print();
}

namespace {

void list_faults(const Invocation& invocation) {
  const auto faults = vp::faults(invocation.open_phone());
  if (!invocation.json) return print_faults(faults);
  print({{"faults", faults_json(faults)}, {"complaints", invocation.complaints}});
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

/// Says that a word is a command's, which are no requests though their numbers overlap.
std::string command_hint(const fcx::Command& row) {
  std::string hint = std::to_string(row.opcode) + " is the opcode of the command \"" +
                     command_names(row) + "\", and no request";
  for (const fcx::NamedRequest& request : fcx::kModemRequests) {
    if (command_name(row.handler) != request.name) continue;
    hint += std::string(" (request ") + std::to_string(request.number) + " is \"" + request.name +
            "\")";
  }
  return hint + ". `fcx fault request --help` lists the requests; `fcx fault command " +
         std::to_string(row.opcode) + "` lets the command fail.";
}

/// The number of the request that a word stands for: its number, or its name. Throws UsageError for
/// what can be none.
int32_t request_number(Invocation& invocation, const std::string& word) {
  std::vector<std::string> names;
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    if (word == row.name) return row.number;
    names.push_back(row.name);
  }
  const fcx::Command* command = command_called(word);
  if (word.find_first_not_of("0123456789") == std::string::npos) {
    const int64_t typed = number_of(word, "a request");
    if (typed > INT32_MAX) throw UsageError("no request has the number " + word);
    const auto number = static_cast<int32_t>(typed);
    if (command == nullptr || fcx::find_request(number) != nullptr) return number;
    if (fcx::route_of(number) == fcx::Route::none) throw UsageError(command_hint(*command));
    // The link would carry it, so that it may be meant.
    invocation.complain("fcx: note: " + command_hint(*command));
    return number;
  }
  if (command != nullptr) throw UsageError(command_hint(*command));
  throw unknown_name("request", word, names, "fcx fault request --help");
}

std::string request_help() {
  std::string help = "Requests:\n";
  for (const fcx::NamedRequest& row : fcx::kModemRequests) {
    std::string line = "  " + std::to_string(row.number);
    line.resize(8, ' ');
    line += row.name;
    line.resize(26, ' ');
    help += line + row.meaning + "\n";
  }
  return help;
}

/// What is known of the targets of faults on a part.
Values targets_of(vp::Part part) {
  Choices choices;
  switch (part) {
    case vp::Part::item:
      return {Names::item, {}};
    case vp::Part::property:
      return {Names::property, {}};
    case vp::Part::file:
      return {Names::device_path, {}};
    case vp::Part::request:
      return {Names::request, {}};
    case vp::Part::command:
      return {Names::command, {}};
    case vp::Part::service:
      for (const vp::FaultService& row : vp::kServices) choices.push_back({row.name, row.what});
      break;
    case vp::Part::thread:
      for (const auto& row : vp::kEnumNames<fcx::LibraryThread>) choices.push_back({row.name, ""});
      break;
    case vp::Part::power:
    case vp::Part::daemon:
    case vp::Part::clock:
      break;
  }
  return {Names::none, choices};
}

Choices effects_of(vp::Part part) {
  Choices choices;
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part == part) choices.push_back({vp::name_of(row.effect), row.meaning});
  }
  return choices;
}

/// The command that a word stands for. Throws UsageError.
const fcx::Command& command_row(const std::string& word) {
  return *rows_of(std::to_string(opcode_of(word))).front();
}

/// A target in the form in which the phone knows it. Throws UsageError.
std::string fault_target(Invocation& invocation, vp::Part part, const std::string& word) {
  if (part == vp::Part::item) return std::to_string(item_number(word));
  if (part == vp::Part::request) return std::to_string(request_number(invocation, word));
  if (part == vp::Part::command) return std::to_string(command_row(word).opcode);
  return word;
}

/// The accesses at which faults of a part can strike, each once; none where there is no choice.
std::vector<vp::Access> accesses_of(vp::Part part) {
  std::vector<vp::Access> accesses;
  for (const vp::EffectRow& row : vp::fault_effects()) {
    if (row.part != part || row.strikes.size() < 2) continue;
    for (const vp::Access access : row.strikes) {
      if (std::find(accesses.begin(), accesses.end(), access) == accesses.end()) {
        accesses.push_back(access);
      }
    }
  }
  return accesses;
}

/// What faults on commands can strike of a command: the kinds of access that its example makes on a
/// fresh phone of a profile.
std::set<vp::Access> accesses_by(const fcx::Command& row, const std::string& profile) {
  std::set<vp::Access> found;
  for (const Exchange& exchange : run_example(row, profile)) {
    if (exchange.delivery.opcode != row.opcode) continue;
    for (const vp::Part part : exchange.delivery.accessed) {
      if (const auto access = vp::access_to(part)) found.insert(*access);
    }
  }
  return found;
}

/// Throws UsageError for a fault on a command that makes no access that it could strike: neither on
/// a phone of the same profile as this one, nor on any other. This process has no usable phone
/// afterwards.
void check_strikes(const vp::Fault& fault, const std::filesystem::path& phone) {
  const bool is_any = fault.access == vp::Access::any;
  const auto& kinds = effect_row(fault.part, vp::name_of(fault.effect)).strikes;
  // What is no kind of access at all is refused where the fault is set.
  if (!is_any && std::find(kinds.begin(), kinds.end(), fault.access) == kinds.end()) return;
  const fcx::Command& row = command_row(fault.target);
  const std::string own = vp::Phone(phone).profile();
  std::vector<std::string> profiles;
  for (const vp::Profile& profile : vp::profiles()) {
    profiles.insert(own == profile.name ? profiles.begin() : profiles.end(), profile.name);
  }
  std::set<vp::Access> makes;
  for (const std::string& profile : profiles) {
    for (const vp::Access access : accesses_by(row, profile)) {
      if (is_any || fault.access == access) return;
      makes.insert(access);
    }
  }
  throw UsageError(
      "the command " + target_text(fault) + " makes no " +
      (is_any ? "access" : std::string(vp::name_of(fault.access)) + " access") +
      " that could fail" +
      (makes.empty() ? "" : ", only: " + listed(makes, ", ", vp::name_of<vp::Access>)));
}

void add_part(Verb& group, Invocation& invocation, vp::Part part, const std::string& target_help,
              const std::string& example) {
  struct Options {
    std::string target;
    std::string effect;
    std::optional<std::string> value;
    std::string access = "any";
    std::optional<std::string> after;
    std::optional<std::string> times;
  };
  auto options = std::make_shared<Options>();
  const std::string accesses = listed(accesses_of(part), ", ", vp::name_of<vp::Access>);
  Verb& command = add_command(
      group, vp::name_of(part),
      std::string(is_one(part) ? "Set a fault on the " : "Set a fault on one ") + vp::name_of(part),
      "", [&invocation, part, options, accesses] {
        const vp::EffectRow& row = effect_row(part, options->effect);
        const auto access = vp::named<vp::Access>(options->access);
        if (!access.has_value()) {
          throw UsageError("--on takes any, or one of " + accesses + ", not \"" + options->access +
                           "\"");
        }
        vp::Fault fault{0,       part,       fault_target(invocation, part, options->target),
                        *access, row.effect, effect_value(row, options->value),
                        {}};
        if (options->after) fault.after = number_of(*options->after, "--after");
        if (options->times) fault.remaining = number_of(*options->times, "--times");
        if (part == vp::Part::command) check_strikes(fault, invocation.directory());
        vp::set_fault(invocation.open_phone(), fault);
        list_faults(invocation);
      });
  command.footer(effect_help(part) + "\nExample:\n" + example +
                 (part == vp::Part::request ? "\n\n" + request_help() : ""));
  if (!is_one(part)) {
    command.add_option("target", options->target, target_help)
        .required()
        .completes(targets_of(part));
  }
  command.add_option("effect", options->effect, "What happens, see below")
      .required()
      .completes(effects_of(part));
  const bool cuts = part == vp::Part::power;
  command
      .add_option("value", options->value,
                  cuts ? "What becomes of what was not flushed; dropped when not given"
                       : "A number, where the effect takes one")
      .completes(cuts ? unflushed_choices() : Choices{});
  if (!accesses.empty()) {
    Choices access_choices = {{vp::name_of(vp::Access::any), ""}};
    for (const vp::Access access : accesses_of(part)) {
      access_choices.push_back({vp::name_of(access), ""});
    }
    command
        .add_option("--on", options->access,
                    "Strike on this access only: " + accesses + "; on any at first")
        .type_name("ACCESS")
        .completes(access_choices);
  }
  if (is_one(part)) {
    command
        .add_option("--after", options->after,
                    "Strike after the Nth change of what the phone keeps; the first when not given")
        .type_name("N");
    command
        .add_option("--times", options->times,
                    "Strike so often, after each change from that one on; once when not given")
        .type_name("N");
    return;
  }
  const bool counts_runs = part == vp::Part::command;
  command
      .add_option("--after", options->after,
                  std::string("Strike from the Nth ") + (counts_runs ? "run" : "access") +
                      " on; from the first on when not given")
      .type_name("N");
  command
      .add_option("--times", options->times,
                  std::string(counts_runs ? "Strike so many runs" : "Strike so often") +
                      "; until cleared when not given")
      .type_name("N");
}

/// "dmi (the modem), diag (NV packets) or ...".
std::string service_list() {
  return listed(vp::kServices, " or ", [](const vp::FaultService& service) {
    return std::string(service.name) + " (" + service.what + ")";
  });
}

std::string thread_list() {
  return listed(vp::kEnumNames<fcx::LibraryThread>, " or ",
                [](const auto& thread) { return thread.name; });
}

/// What `fault request` was once called: commands have opcodes, requests have not.
void add_former_name(Verb& group) {
  Verb& command = add_command(group, "opcode", "", "", [] {
    throw UsageError(
        "only commands have opcodes: `fcx fault command` takes one, or a command's name, and "
        "`fcx fault request` takes the number or the name of a request of the modem link");
  });
  command.take_anything_unseen();
}

}  // namespace

void add_fault(Verb& tool, Invocation& invocation) {
  Verb& group = add_command(
      tool, "fault", "Make parts of the phone fail, to see what the library does",
      "  fcx fault item 9 fail                        reads and writes of item 9 fail\n"
      "  fcx fault item 253 return 40 --times 1       the next access returns 40\n"
      "  fcx fault file /mnt/vendor/persist-qv/agree_factory fail ENOSPC --on write\n"
      "  fcx fault request read_imei refuse           the modem answers that it has no IMEI\n"
      "  fcx fault request sync_efs fail --after 3    from the third one on\n"
      "  fcx fault service dmi absent                 the modem cannot be reached\n"
      "  fcx fault service atservice late 20000 --on find\n"
      "                                               it comes up late, and the next waits for it\n"
      "  fcx fault thread reboot fail                 the thread of a reboot cannot be started\n"
      "  fcx fault command read_imei fail --times 1   the next read_imei fails, whatever it does\n"
      "  fcx fault power cut --after 3                the power is cut after the third change\n"
      "  fcx fault list\n"
      "  fcx fault clear 2                            one fault; without a number all of them",
      {});
  group.require_subcommand(1);
  add_part(group, invocation, vp::Part::item, "The item's number, its name, or an accessor's",
           "  fcx fault item 9 short 4");
  add_part(group, invocation, vp::Part::property, "The property's name",
           "  fcx fault property persist.vendor.qve.factory.status fail --on write");
  add_part(group, invocation, vp::Part::file, "The device path of a file, or of a directory",
           "  fcx fault file /proc/meminfo fail EACCES --times 1");
  add_part(group, invocation, vp::Part::request,
           "The number of a request of the modem link, or its name",
           "  fcx fault request write_imei late 2000 --times 1");
  add_former_name(group);
  add_part(group, invocation, vp::Part::service, service_list(),
           "  fcx fault service diag absent\n"
           "  fcx fault service reboot absent    android_reboot() fails, and the phone stays on\n"
           "  fcx fault service atservice late 20000 --on find\n"
           "\n"
           "late --on find: the service comes up so long after the first lookup, and getService() "
           "waits\n"
           "for it. The lookups after that one find it up; --times N lets it be late for so many.");
  add_part(group, invocation, vp::Part::thread, thread_list(), "  fcx fault thread reboot fail");
  add_part(
      group, invocation, vp::Part::command, "The command's opcode or name",
      "  fcx fault command read_imei fail --times 1\n"
      "  fcx fault command 4018 fail --on item --after 2\n"
      "\n"
      "While the command runs, and what it leaves on threads, every request, and every access\n"
      "to an item, a property, a file or a service, fails as by itself `fail` without a number\n"
      "has it (a service is absent). --on narrows that to one kind. --times and --after count\n"
      "runs of the command in which there is such an access: with --times 1 the next one is\n"
      "sick from its beginning to its end, and the one after it works. Both forms of a command\n"
      "that reads or writes are meant. What a command accesses is found out by running its\n"
      "example (`fcx commands OPCODE`) on a fresh phone.");
  const std::string changes =
      "A change is one of what the phone keeps over a restart: a file that is written, made, "
      "emptied,\n"
      "renamed or removed, a factory item, a persist. property, what a request lets the modem "
      "keep,\n"
      "a shell command. Changes by whichever process count, but for what `fcx item`, `fcx prop` "
      "and\n"
      "the like do by hand. ";
  add_part(
      group, invocation, vp::Part::power, "",
      "  fcx fault power cut --after 3\n"
      "  fcx fault power cut torn --after 2 --times 2    the first change after that start, too\n"
      "\n" +
          changes +
          "The tool says after which of a command's changes the power was cut,\n"
          "and what was lost; its exit status is 3.");
  add_part(group, invocation, vp::Part::daemon, "",
           "  fcx fault daemon dies --after 3\n"
           "\n" +
               changes +
               "The process that makes it is killed, as by SIGKILL: nobody tells\n"
               "of it.");
  add_command(group, "list", "List the faults that are set", "  fcx fault list",
              [&invocation] { list_faults(invocation); });

  auto id = std::make_shared<std::string>("all");
  Verb& clear = add_command(group, "clear", "Remove one fault, or all of them",
                            "  fcx fault clear 2    one, by its number in `fcx fault list`\n"
                            "  fcx fault clear      all of them",
                            [&invocation, id] {
                              vp::Phone& phone = invocation.open_phone();
                              if (*id == "all") {
                                vp::clear_faults(phone);
                              } else if (!vp::clear_fault(phone, number_of(*id, "a fault"))) {
                                throw NotThere("there is no fault " + *id);
                              }
                              list_faults(invocation);
                            });
  clear.add_option("id", *id, "The fault's number in `fcx fault list`, or all of them")
      .completes(Names::fault);
}

}  // namespace cli
