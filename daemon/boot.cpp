#include "daemon/boot.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "daemon/background.h"
#include "daemon/network_code.h"
#include "daemon/open.h"
#include "daemon/power_off.h"
#include "daemon/recorder.h"
#include "fcx/customisation.h"
#include "fcx/factory_item_table.h"
#include "fcx/identity_items.h"
#include "fcx/mcc_lookup.h"
#include "fcx/modem_link.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"
#include "fcx/system_control.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/factory_reset.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/core/properties.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;
using Kind = BootMoment::Kind;

std::string value_of(const Boot::Properties& properties, const char* name) {
  const auto found = properties.find(name);
  return found == properties.end() ? "" : found->second;
}

Boot::Properties all_properties(vp::Phone& phone) {
  const auto list = vp::properties(phone);
  return {list.begin(), list.end()};
}

/// An identity of which a factory item is the modem's copy.
struct Identity {
  const char* name;
  int32_t request;
  int item;
  void (*check)();
};
constexpr Identity kIdentities[] = {
    {"IMEI", fcx::request::read_imei, fcx::item::imei, imei_check_on_boot},
    {"MEID", fcx::request::read_meid, fcx::item::meid, meid_check_on_boot},
};

/// Lets the library check one identity. @return what came of it
std::string check_identity(vp::Phone& phone, const Identity& identity, int64_t last_request) {
  constexpr size_t kLongest = 20;
  const std::string before = vp::read_items(phone, identity.item, kLongest);
  identity.check();
  const std::string item = "factory item " + std::to_string(identity.item);
  const std::string name = std::string("The ") + identity.name;
  if (vp::read_items(phone, identity.item, kLongest) != before) {
    return name + " in " + item + " was not the modem's, which it has now.";
  }
  for (const vp::ModemRequest& request : vp::modem_requests(phone, last_request)) {
    if (request.number != identity.request) continue;
    if (request.code != 0) break;
    if (request.answer.empty() || vp::is_modem_message(request.number, request.answer)) {
      return "The modem has no " + std::string(identity.name) + "; " + item + " stays.";
    }
    const std::string is_kept = request.answer.substr(0, kLongest);
    if (before.compare(0, is_kept.size(), is_kept) == 0) {
      return name + " in " + item + " is the modem's.";
    }
    return name + " in " + item + " is not the modem's, and could not be replaced.";
  }
  return name + " could not be read from the modem; " + item + " stays.";
}

void check_identities(vp::Phone& phone, Recorder& recorder) {
  for (const Identity& identity : kIdentities) {
    const auto requests = vp::modem_requests(phone);
    recorder.note(check_identity(phone, identity, requests.empty() ? 0 : requests.back().id));
  }
}

/// The date of the package's carrier_code.xml, looked up past service and faults.
std::string carrier_code_date(const vp::Phone& phone, const BootInputs& inputs) {
  constexpr uintmax_t kLargest = 16 << 20;
  const std::string file =
      (inputs.rootdir.empty() ? "/OP" : inputs.rootdir) + "/config/carrier_code.xml";
  std::filesystem::path place = phone.root() + file;
  const std::string overlaid = (phone.directory() / vp::kOverlayName).string() + file;
  std::error_code ignored;
  if (inputs.is_on_overlay && std::filesystem::exists(overlaid, ignored)) place = overlaid;
  // A pipe in its place would be waited for.
  if (!std::filesystem::is_regular_file(place, ignored)) return "";
  if (std::filesystem::file_size(place, ignored) > kLargest) return "";
  std::ifstream in(place, std::ios::binary);
  return fcx::carrier_code_date(std::string{std::istreambuf_iterator<char>(in), {}});
}

BootInputs inputs_of(vp::Phone& phone, const Boot::Properties& properties) {
  constexpr size_t kLongestText = 2048;  // of a network code, and of a path
  BootInputs inputs;
  inputs.profile = phone.profile();
  inputs.build_type = value_of(properties, "ro.build.type");
  std::string text(kLongestText + 1, '\0');
  if (get_ntcode(text.data()) == 0) inputs.network_code = text.c_str();
  inputs.mccmnc_list = value_of(properties, "persist.vendor.qve.mccmnc-list");
  inputs.subset_list = value_of(properties, "persist.vendor.qve.subset-list");
  inputs.sim = vp::sim(phone);
  inputs.permission = value_of(properties, "persist.vendor.qve.sim.profile.permission");
  inputs.chip_vendor = value_of(properties, "ro.vendor.qve.chip.vendor");
  inputs.platform = value_of(
      properties, inputs.chip_vendor == "mtk" ? "ro.mediatek.platform" : "ro.board.platform");
  inputs.is_on_overlay = e_is_overlayfs;
  inputs.package_root = qve_get_tamra_file_path(nullptr, text.data());
  inputs.rootdir = value_of(properties, "ro.vendor.qve.capp_tamra.rootdir");
  inputs.carrier_code_date = carrier_code_date(phone, inputs);
  return inputs;
}

/// What the library asked about the SIM.
std::vector<BootMoment> sim_requests(vp::Phone& phone, int64_t last_request) {
  std::vector<BootMoment> moments;
  for (const vp::ModemRequest& request : vp::modem_requests(phone, last_request)) {
    if (request.number != fcx::request::read_sim) continue;
    const Kind kind = request.code == 0 ? Kind::sim : Kind::no_sim_answer;
    moments.push_back({request.time_us, kind, request.answer});
  }
  return moments;
}

bool is_setting(const BootMoment& moment, const char* property, const char* value = nullptr) {
  if (moment.kind != Kind::property) return false;
  const std::string beginning = std::string(property) + "=";
  return value != nullptr ? moment.text == beginning + value
                          : moment.text.compare(0, beginning.size(), beginning) == 0;
}

/// How far set-up came can be seen, on any build, by the properties it has set: the SIM's state
/// when it accepts one, or the first start's after it could not have one. One that ends sooner than
/// it may give up has come to its end, too.
BootOutcome outcome_of(const std::vector<BootMoment>& moments, int64_t set_up_us) {
  constexpr int64_t kShortestWaitUs = 5'000'000;
  constexpr char kSimChanged[] = "persist.vendor.qve.sim-changed";
  bool is_running = false;
  bool is_without_sim = false;
  for (const BootMoment& moment : moments) {
    if (is_setting(moment, "persist.vendor.qve.sim.profile")) is_running = true;
    if (is_setting(moment, kSimChanged, "2")) is_without_sim = true;
    if (is_setting(moment, kSimChanged, "0") || is_setting(moment, kSimChanged, "1") ||
        (is_without_sim && is_setting(moment, "persist.vendor.qve.first-boot", "1"))) {
      return BootOutcome::complete;
    }
  }
  if (!is_running) return BootOutcome::put_off;
  return set_up_us < kShortestWaitUs ? BootOutcome::complete : BootOutcome::out_of_time;
}

template <typename Condition>
int count_moments(const std::vector<BootMoment>& moments, Condition condition) {
  return static_cast<int>(std::count_if(moments.begin(), moments.end(), condition));
}

bool is_line(const BootMoment& moment, std::string_view beginning) {
  return moment.kind == Kind::line && moment.text.compare(0, beginning.size(), beginning) == 0;
}

/// What follows the build's type is only logged where set-up goes on to log.
bool has_log(const std::vector<BootMoment>& moments) {
  const auto is_build = [](const auto& moment) { return is_line(moment, "[QVE][SBP] BUILD: "); };
  return std::any_of(moments.begin(), moments.end(), is_build);
}

int count_polls(const Boot& boot) {
  const int asked = count_moments(boot.moments, [](const BootMoment& moment) {
    return moment.kind == Kind::sim || moment.kind == Kind::no_sim_answer;
  });
  if (asked > 0 || !boot.is_logged) return asked;
  return count_moments(boot.moments, [](const BootMoment& moment) {
    return is_line(moment, "[QVE][SBP] qve_single_binary_init");
  });
}

/// Notes that the SIM was looked up and not found: set-up says nothing of it.
void note_unknown_sim(std::vector<BootMoment>& moments) {
  const auto is_lookup = [](const auto& moment) {
    return is_setting(moment, "persist.vendor.qve.carriercode.date");
  };
  const auto is_carrier = [](const auto& moment) {
    return is_setting(moment, "persist.vendor.qve.sim.operator");
  };
  const auto lookup = std::find_if(moments.begin(), moments.end(), is_lookup);
  if (lookup == moments.end() || std::any_of(lookup, moments.end(), is_carrier)) return;
  const int64_t time_us = lookup->time_us;
  moments.insert(lookup + 1,
                 {time_us, Kind::note, "It has no profile for this SIM: the carrier stays."});
}

/// Notes that the SIM's MCC is not one of the network code's: it settles no first start.
void note_foreign_sim(std::vector<BootMoment>& moments, const std::string& mcc_list) {
  constexpr char kSimMcc[] = "persist.vendor.qve.iccid-mcc";
  constexpr char kUnknown[] = "FFF";
  const auto settles = [&](const auto& moment) { return is_setting(moment, kSimMcc); };
  const auto found = std::find_if(moments.begin(), moments.end(), settles);
  if (found == moments.end() || mcc_list.empty() || mcc_list == kUnknown) return;
  const std::string mcc = found->text.substr(std::size(kSimMcc));
  // As set-up looks for it, where an empty one is found, too.
  if (mcc_list.find(mcc) != std::string::npos) return;
  const int64_t time_us = found->time_us;
  moments.insert(found + 1,
                 {time_us, Kind::note,
                  "The SIM's MCC " + mcc + " is not among the network code's: " + mcc_list + "."});
}

/// Brings in step what the modem, the factory items and the software say.
void synchronise(vp::Phone& phone, Recorder& recorder) {
  check_identities(phone, recorder);
  if (nv_factoryitem_sync() != 0) recorder.note("The modem's NV items could not be synchronised.");
  system_write_version_info();
  system_write_pid_info();
  if (is_op_image_support() != 0) {
    system_update_settings_from_cust();
  } else {
    userdata_tamra_version_update();
  }
}

void start_daemon(vp::Phone& phone, Boot& boot) {
  Recorder recorder(boot.moments);
  open_item_store();
  recorder.note("The factory item store is open.");
  system_set_env_property();
  // As every new daemon does; this process may have had another phone.
  init_modem_interface();
  synchronise(phone, recorder);
  publish_network_code_lists(phone);
  recorder.note("The network code's lists are published for set-up.");
  boot.set_up_began_us = vp::now_us();
  const bool is_started = sbpCreateThread() != 0;
  await_background_work();
  boot.set_up_ended_us = vp::now_us();
  if (!is_started) boot.outcome = BootOutcome::not_started;
}

/// Takes a power-off up again that the daemon's restart has interrupted: of an uptime that goes on.
void take_up_power_off(vp::Phone& phone, Boot& boot) {
  constexpr char kUnderWay[] = "vendor.qve.sleepmode.on";
  constexpr Hand kHand{10'000'000, false};
  if (vp::get_property(phone, kUnderWay).value_or("").substr(0, 1) != "1") {
    static_cast<void>(retry_power_off_with_cable());  // there is none: 0
    return;
  }
  const PowerOff off = retry_power_off(phone, kHand);
  boot.moments.insert(boot.moments.end(), off.moments.begin(), off.moments.end());
}

}  // namespace

Boot boot(vp::Phone& phone, Uptime uptime) {
  Boot boot;
  boot.phone = phone.directory().string();
  boot.uptime = uptime;
  boot.before = all_properties(phone);
  const auto requests = vp::modem_requests(phone);
  const std::string reset = uptime == Uptime::begins ? vp::noted_factory_reset(phone) : "";
  if (uptime == Uptime::begins) vp::restart(phone, "boot");
  boot.switched_on_us = vp::now_us();
  if (!reset.empty()) {
    boot.moments.push_back({boot.switched_on_us, BootMoment::Kind::note,
                            "The factory reset that was noted is carried out: " + reset + "."});
  }
  fcx::reload_carrier_set_up();
  start_daemon(phone, boot);
  take_up_power_off(phone, boot);
  const auto asked = sim_requests(phone, requests.empty() ? 0 : requests.back().id);
  boot.moments.insert(boot.moments.end(), asked.begin(), asked.end());
  std::stable_sort(boot.moments.begin(), boot.moments.end(),
                   [](const auto& a, const auto& b) { return a.time_us < b.time_us; });
  note_unknown_sim(boot.moments);
  boot.after = all_properties(phone);
  note_foreign_sim(boot.moments, value_of(boot.after, "persist.vendor.qve.mcc-list"));
  boot.is_logged = has_log(boot.moments);
  boot.polls = count_polls(boot);
  if (boot.outcome != BootOutcome::not_started) {
    boot.outcome = outcome_of(boot.moments, boot.set_up_ended_us - boot.set_up_began_us);
  }
  boot.inputs = inputs_of(phone, boot.after);
  return boot;
}

}  // namespace factory_daemon
