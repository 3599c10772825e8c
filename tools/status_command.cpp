// status: which phone that is, and what differs on it.
#include <cstdio>
#include <memory>

#include "fcx/version.h"
#include "tools/commands.h"
#include "tools/fault_list.h"
#include "tools/json.h"
#include "tools/phone_differences.h"
#include "tools/table.h"
#include "tools/temporary_phone.h"
#include "tools/text.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/core/schema.h"
#include "virtual_phone/power/unflushed.h"
#include "virtual_phone/profiles/profiles.h"

namespace cli {
namespace {

namespace vp = virtual_phone;

/// What differs from a fresh phone, which is this process's phone then; nothing where nobody knows
/// the profile any more.
std::optional<std::vector<Difference>> compared(vp::Phone& phone) {
  const std::string profile = phone.profile();
  if (vp::find_profile(profile) == nullptr) return std::nullopt;
  const vp::PhoneState now = vp::state_of(phone);
  const TemporaryPhone fresh(profile);
  return differences(vp::state_of(fresh.phone()), now);
}

/// One side of a difference, in part only where it is an identity.
std::optional<std::string> seen(const Difference& row, const std::optional<std::string>& side,
                                bool full) {
  return side && row.is_identity && !full ? masked(*side) : side;
}

Json differences_json(const std::optional<std::vector<Difference>>& found, bool full) {
  if (!found.has_value()) return nullptr;
  Json list = Json::array();
  for (const Difference& row : *found) {
    const auto fresh = seen(row, row.fresh, full);
    const auto now = seen(row, row.now, full);
    Json object = {{"part", row.part},
                   {"name", row.name},
                   {"fresh", fresh ? Json(*fresh) : Json()},
                   {"now", now ? Json(*now) : Json()}};
    if (row.is_identity && !full) object["masked"] = true;
    list.push_back(std::move(object));
  }
  return list;
}

std::string cell(const std::optional<std::string>& text) {
  constexpr size_t kLongest = 128;  // a property is whole, and what a person reads
  if (!text.has_value()) return "-";
  return text->size() > kLongest ? text->substr(0, kLongest) + "..." : *text;
}

void print_differences(const std::optional<std::vector<Difference>>& found,
                       const std::string& profile, bool full) {
  if (!found.has_value()) {
    puts("\nNobody knows that profile any more: it is compared with no fresh phone.");
    return;
  }
  if (found->empty()) {
    printf("\nNothing differs from a fresh phone of the profile %s.\n", profile.c_str());
    return;
  }
  printf("\nWhat differs from a fresh phone of the profile %s:\n", profile.c_str());
  TextTable table({"PART", "NAME", "FRESH", "NOW"});
  for (const Difference& row : *found) {
    table.add(
        {row.part, row.name, cell(seen(row, row.fresh, full)), cell(seen(row, row.now, full))});
  }
  table.print();
}

void show_status(const Invocation& invocation, bool full) {
  vp::Phone& phone = invocation.open_phone();
  const std::string directory = phone.directory().string();
  const std::string profile = phone.profile();
  const vp::PowerState power = vp::power_state(phone);
  const std::string end =
      power.last_end ? power.last_end->kind + ": " + power.last_end->detail : "none yet";
  const auto faults = vp::faults(phone);
  const size_t unflushed = vp::unflushed_files(phone).size();
  const auto found = compared(phone);
  if (invocation.json) {
    return print({{"phone", directory},
                  {"profile", profile},
                  {"version", vp::kPhoneVersion},
                  {"state", power.is_off ? "off" : "on"},
                  {"last_end", power.last_end ? Json(end) : Json()},
                  {"unflushed", unflushed},
                  {"faults", faults_json(faults)},
                  {"differences", differences_json(found, full)}});
  }
  printf("phone     %s\n", directory.c_str());
  printf("profile   %s\n", profile.c_str());
  printf("version   %d, of fcx %s\n", vp::kPhoneVersion, fcx::library_version());
  printf("state     %s\n", power.is_off ? "switched off; the next command finds it on" : "on");
  printf("last end  %s\n", end.c_str());
  if (unflushed > 0) printf("unflushed %zu files; `fcx power` lists them\n", unflushed);
  puts("");
  print_faults(faults);
  print_differences(found, profile, full);
}

}  // namespace

void add_status(Verb& tool, Invocation& invocation) {
  auto full = std::make_shared<bool>(false);
  Verb& command = add_command(
      tool, "status", "Which phone that is, its faults, and what differs from a fresh one",
      "  fcx status           identities shown in part\n"
      "  fcx status --full    and whole\n"
      "\n"
      "Compared are items, properties, what the modem keeps, the SIM, the card and the files, "
      "with\n"
      "a phone that is made of the same profile and removed again. The log, events and requests\n"
      "are not.",
      [&invocation, full] { show_status(invocation, *full); });
  command.add_flag("--full", *full, "Show identities whole");
}

}  // namespace cli
