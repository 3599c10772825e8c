// The set-up decision: one pass in ten steps, each a function below.
#include "carrier/set_up.h"

#include <algorithm>
#include <mutex>

#include "carrier/client_ids.h"
#include "carrier/pet_name.h"
#include "carrier/properties.h"
#include "carrier/sim.h"
#include "carrier/sim_profile.h"
#include "carrier/stored_properties.h"
#include "fcx/customisation.h"
#include "fcx/mcc_lookup.h"
#include "fcx/network_code.h"
#include "fcx/single_binary.h"

namespace {

using fcx::CarrierState;
using fcx::FirstBoot;
using fcx::LongText;
using fcx::PropertyText;
using fcx::publish;
using fcx::read_property;
using fcx::SimAnswer;
using fcx::SimRead;

constexpr char kLog[] = "[QVE][SBP]";
constexpr char kUnknownMcc[] = "FFF";
constexpr char kUnknownMccMnc[] = "FFFFF";

/// "1" from when a first start is published as done although the SIM may still settle its MCC,
/// until set-up ends. It lets the SIM do so in a later pass, or after a power cut, and nothing
/// else.
constexpr char kLeftWaitingProperty[] = "persist.vendor.qve.sbp.unfinished";

constexpr char kCountryProperty[] = "vendor.qve.sim_country";
constexpr char kCountryChangedProperty[] = "vendor.qve.sim_country_changed";
constexpr char kCountryFixedProperty[] = "persist.vendor.qve.sim_country_fixed";
constexpr char kCountryNotFixed[] = "yet_fixed";

/// The lists that the steps of a pass hand on.
struct Lists {
  LongText mcc;     ///< of the network code, or of the test
  LongText mccmnc;  ///< as another component of the system has published it
  LongText subset;
};

bool contains(const LongText& list, std::string_view part) {
  return list.view().find(part) != std::string_view::npos;
}

bool is_set(const char* property) { return read_property(property).view() == "1"; }

void mark_left_waiting(CarrierState& state) REQUIRES(state.pass) {
  if (!is_set(kLeftWaitingProperty)) publish(kLeftWaitingProperty, "1");
  state.is_left_waiting = true;
}

void check_laot_mode_enabled(CarrierState& state) REQUIRES(state.pass) {
  if (!state.is_test_mode) return;
  SBP_LOG("[QVE][SBP] LAOT MODE ENABLED! \n");
  state.decision.first_boot.set("0");
  publish(fcx::kIccidProperty, state.default_iccid);
  publish(fcx::kSimChangedProperty, "F");
}

void qve_set_sap_default_property(CarrierState& state) REQUIRES(state.pass) {
  SBP_LOG("[QVE][SBP] qve_set_sap_default_property");
  fcx::Defaults& defaults = state.decision.defaults;
  defaults.sim_operator.set(state.default_operator);
  defaults.iccid.set(state.default_iccid);
  defaults.last_iccid.set(state.default_iccid);
  if (!state.has_late_profile) return;
  defaults.sim_country.set(state.default_country);
  if (qve_get_dualsim_appendix() == 0) return;
  defaults.second_operator.set(state.default_operator);
  defaults.second_country.set(state.default_country);
}

/// Step 1: what earlier starts left, and what the device is.
/// @return false when nobody can tell yet
[[nodiscard]] bool prepare(CarrierState& state) REQUIRES(state.pass) {
  state.first_boot = static_cast<FirstBoot>(qve_check_fboot_status());
  state.is_left_waiting = state.is_left_waiting || is_set(kLeftWaitingProperty);
  state.sim_profile_permission = fcx::read_sim_profile_permission();
  qve_sbp_verion();
  qve_check_nao_feature();
  // A package without carriers would let the SIM settle, for ever, what the build does.
  if (state.is_carrier_file_unknown) return false;
  qve_save_profile_type();
  if (!state.is_test_mode) state.is_test_mode = is_set("persist.vendor.qve.kelp.test.enable");
  check_laot_mode_enabled(state);
  return true;
}

/// Step 2: a device that has never completed a start gets the defaults.
void set_defaults(CarrierState& state) REQUIRES(state.pass) {
  if (state.first_boot != FirstBoot::open) return;
  SBP_LOG("[QVE][SBP] SETUP default setting");
  state.decision.first_mcc.set(kUnknownMcc);
  state.decision.first_boot.set("0");
  state.decision.mcc_list.set(kUnknownMcc);
  state.decision.defaults.sim_changed.set(PropertyText("F"));
  if (state.has_fast_profile || state.has_late_profile) qve_set_sap_default_property(state);
}

/// The MCCs of the stored network code. @return false when it cannot be read
[[nodiscard]] bool read_mcc_list(LongText& out) {
  fcx::TextBuffer<2048> code;
  const bool is_read = get_ntcode(code.data()) == 0;
  if (!is_read) SBP_LOG("[QVE][SBP] the network code cannot be read\n");
  qve_get_mcc_list(code.data(), out.data());
  return is_read;
}

/// @return false when nobody knows
[[nodiscard]] bool decide_mcc_list(const CarrierState& state, LongText& out) REQUIRES(state.pass) {
  const PropertyText of_test = state.is_test_mode
                                   ? read_property("persist.vendor.qve.service.flex.nt-mccmnc")
                                   : PropertyText();
  if (of_test.view().size() >= 6) {
    out = LongText(of_test.view().substr(0, 3));
    return true;
  }
  return read_mcc_list(out);
}

/// A rewritten network code makes this start a first one.
void notice_network_code_change(CarrierState& state) REQUIRES(state.pass) {
  if (read_property(fcx::kCodeChangedProperty, "F").view() != "1") return;
  SBP_LOG("[QVE][SBP] NTCODE changed status");
  state.first_boot = FirstBoot::open;
  state.is_network_code_changed = true;
  state.decision.first_boot.set("0");
  state.decision.first_mcc.set(kUnknownMcc);
  state.decision.first_mccmnc.set(kUnknownMccMnc);
}

/// The user interface has confirmed an operator: it stands.
void qve_update_cust_items(CarrierState& state, const PropertyText& mccmnc) REQUIRES(state.pass) {
  SBP_LOG("[QVE][SBP] CUST confirmed UI mccmnc: %s", mccmnc.c_str());
  state.decision.first_boot.set("1");
  state.decision.first_mccmnc.set(mccmnc);
  state.decision.first_mcc.set(PropertyText(mccmnc.view().substr(0, 3)));
  state.first_boot = FirstBoot::by_user_interface;
}

/// Step 3: which MCCs the device may belong to.
void settle_mcc_list(CarrierState& state, Lists& lists) REQUIRES(state.pass) {
  const bool is_known = decide_mcc_list(state, lists.mcc);
  // The list of an earlier start, or pass, stands where nobody knows a newer one.
  if (is_known || state.first_boot != FirstBoot::settled) {
    state.decision.mcc_list.set(lists.mcc.c_str());
  }
  lists.mccmnc = LongText(read_property(fcx::kMccMncListProperty).view());
  lists.subset = LongText(read_property(fcx::kSubsetListProperty).view());
  qve_check_2nd_ntcode(lists.mccmnc.c_str(), lists.subset.c_str());
  SBP_LOG("[QVE][SBP] NTCODE MCC: %s, MCCMNC: %s", lists.mcc.c_str(), lists.mccmnc.c_str());
  notice_network_code_change(state);
  const PropertyText confirmed = read_property("persist.vendor.qve.radio.first-mccmnc");
  if (confirmed.view().size() >= 5 && confirmed.view() != kUnknownMccMnc) {
    qve_update_cust_items(state, confirmed);
  }
  if (!fcx::is_sim_base()) fcx::qve_define_googleID_base_ntcode();
  fcx::resolve_pet_name();
}

/// One MCC: no SIM is needed.
void complete_by_network_code(CarrierState& state, const Lists& lists) REQUIRES(state.pass) {
  SBP_LOG("[QVE][SBP] Only one MCC-list");
  if (state.first_boot == FirstBoot::by_user_interface) return;
  state.decision.first_mcc.set(lists.mcc.c_str());
  state.decision.first_mccmnc.set(lists.mccmnc.c_str());
  state.decision.complete_first_boot();
  state.first_boot = FirstBoot::by_network_code;
}

/// Several MCCs: the SIM settles which, if it can.
void leave_to_the_sim(CarrierState& state, const Lists& lists) REQUIRES(state.pass) {
  SBP_LOG("[QVE][SBP] 2 More MCC-lists");
  const PropertyText sim_operator = read_property(fcx::kSimOperatorProperty);
  if (state.first_boot == FirstBoot::by_user_interface) return;
  state.decision.first_mcc.set(kUnknownMcc);
  state.decision.first_mccmnc.set(kUnknownMccMnc);
  if (!contains(lists.mccmnc, kUnknownMccMnc) && sim_operator.empty()) return;
  mark_left_waiting(state);
  state.decision.complete_first_boot();
  state.first_boot = FirstBoot::by_network_code;
}

/// Step 4: what the network code alone decides.
void decide_by_network_code(CarrierState& state, const Lists& lists) REQUIRES(state.pass) {
  if (state.first_boot == FirstBoot::settled) return;
  const size_t length = lists.mcc.view().size();
  SBP_LOG("[QVE][SBP] MCC-list: %s, length: %zu", lists.mcc.c_str(), length);
  if (length < 3) {
    SBP_LOG("[QVE][SBP] DO Not have NT-CODE list!!");
    state.decision.mcc_list.set("");
  } else if (!contains(lists.mccmnc, kUnknownMccMnc) && !contains(lists.mcc, ",")) {
    complete_by_network_code(state, lists);
  } else {
    leave_to_the_sim(state, lists);
  }
}

/// Step 5: the SIM of the start before.
void read_saved_iccid(CarrierState& state) REQUIRES(state.pass) {
  state.saved_iccid =
      fcx::IccidText(read_property(fcx::kIccidProperty, state.default_iccid.c_str()).view());
  SBP_LOG("[QVE][SBP] Saved ICCID: %s", state.saved_iccid.c_str());
  SBP_LOG("[QVE][SBP] Size: %zu", state.saved_iccid.view().size());
}

/// Step 6: steps 1 to 5 are done until the first read of the SIM that fails.
/// @return false when nobody can decide anything yet
[[nodiscard]] bool prepare_for_the_sim(CarrierState& state) REQUIRES(state.pass) {
  if (state.sim_read != SimRead::none_failed) {
    state.decision.publish();
    return true;
  }
  Lists lists;
  if (!prepare(state)) return false;
  set_defaults(state);
  settle_mcc_list(state, lists);
  decide_by_network_code(state, lists);
  read_saved_iccid(state);
  return true;
}

/// Publishes the country that an earlier SIM has settled. @return the country; empty when none has
PropertyText publish_fixed_country() {
  const PropertyText fixed = read_property(kCountryFixedProperty, kCountryNotFixed);
  if (fixed.view() == kCountryNotFixed) return {};
  publish(kCountryProperty, fixed);
  publish(kCountryChangedProperty, "1");
  return fixed;
}

/// What a read of the SIM leads to.
enum class Next { accept, complete, poll_again };

/// Step 7: reads the SIM.
Next read_the_sim(CarrierState& state, fcx::IccidText& iccid) REQUIRES(state.pass) {
  const fcx::SimReading sim = fcx::read_sim(kLog);
  switch (sim.answer) {
    case SimAnswer::iccid:
      iccid = sim.iccid;
      return Next::accept;
    case SimAnswer::none:
      if (state.sim_read == SimRead::none_failed) {
        SBP_LOG("[QVE][SBP] Set to default about SIM property");
        publish(fcx::kSimChangedProperty, "2");
        state.sim_read = SimRead::no_response;
      }
      if (state.first_boot != FirstBoot::by_network_code) return Next::poll_again;
      SBP_LOG("[QVE][SBP] 1st Boot is completed with NT Code MCC");
      return Next::complete;
    case SimAnswer::no_sim:
      publish(fcx::kSimChangedProperty, "2");
      state.sim_read = SimRead::no_sim;
      if (fcx::is_sim_base()) {
        const PropertyText country = publish_fixed_country();
        if (!country.empty()) {
          SBP_LOG("[QVE][SBP][SIMBASE] NO SIM sim country already fixed as [%s]", country.c_str());
        }
      }
      return Next::poll_again;
    case SimAnswer::read_error:
      state.sim_read = SimRead::read_error;
      return Next::poll_again;
    case SimAnswer::too_short:
    case SimAnswer::not_ready:
      return Next::poll_again;
  }
  return Next::poll_again;
}

/// Step 8: the ICCID is this device's SIM.
fcx::IccidText accept(CarrierState& state, const fcx::IccidText& read) REQUIRES(state.pass) {
  fcx::IccidText iccid = state.is_mtk ? fcx::without_padding(read) : read;
  if (state.is_test_mode) {
    iccid =
        fcx::IccidText(read_property("persist.vendor.qve.kelp.test.iccid", iccid.c_str()).view());
    SBP_LOG("[QVE][SBP] virtual ICCID : %s", iccid.c_str());
  }
  const bool is_changed = iccid.view() != state.saved_iccid.view();
  if (is_changed) SBP_LOG("[QVE][SBP] SIM CHANGED!");
  // Before the ICCID: a start that is interrupted in between is followed by one that tells it
  // again.
  publish(fcx::kSimChangedProperty, is_changed || state.is_test_mode ? "1" : "0");
  publish(fcx::kIccidProperty, iccid.c_str());
  return iccid;
}

/// Step 8, its end: the carrier that the package has for this SIM.
void profile_sim(CarrierState& state, const fcx::IccidText& iccid) REQUIRES(state.pass) {
  if (!state.has_fast_profile || state.sim_profile_permission != 0) return;
  const PropertyText last = read_property(fcx::kLastIccidProperty, state.default_iccid.c_str());
  if (last.view() == iccid.view()) return;
  fcx::forget_last_profile(state, iccid.view());
  // Without a profile for this SIM the carrier stays, and must be whole.
  const bool was_interrupted =
      state.first_boot == FirstBoot::settled && last.view() == state.default_iccid.view();
  if (was_interrupted) fcx::complete_listed_carrier();
  // Noted last: a start that is interrupted before, or cannot keep the profile, is followed by one
  // that does it all again.
  if (fcx::apply_sim_profile(iccid.c_str())) publish(fcx::kLastIccidProperty, iccid.c_str());
}

void publish_sim_country(const char* mcc, const char* iccid) {
  if (!fcx::is_sim_base()) {
    SBP_LOG("[QVE][SBP][SIMBASE] property ro.vendor.qve.simbase disable.");
    return;
  }
  if (!publish_fixed_country().empty()) {
    SBP_LOG("[QVE][SBP][SIMBASE] Second SIM booting.");
  } else {
    PropertyText country(searchCountryByMcc(mcc));
    if (country.view() == "XX") country = read_property(fcx::kTargetCountryProperty, "XXX");
    publish(kCountryProperty, country);
    publish(kCountryFixedProperty, country);
    publish(kCountryChangedProperty, "1");
    SBP_LOG("[QVE][SBP][SIMBASE] first SIM booting.");
  }
  fcx::qve_define_googleID_base_sim(iccid);
}

/// Step 9, its end: the SIM's MCC settles a first start when the network code has it.
void settle_by_sim(CarrierState& state, std::string_view mcc) REQUIRES(state.pass) {
  const bool is_settled = state.first_boot == FirstBoot::settled;
  if (is_settled && !state.is_network_code_changed && !state.is_left_waiting) return;
  const PropertyText list = state.decision.mcc_list.value();
  if (mcc.empty() || list.view().find(mcc) == std::string_view::npos ||
      state.first_boot == FirstBoot::by_user_interface) {
    return;
  }
  state.decision.first_mcc.set(PropertyText(mcc));
  state.first_boot = FirstBoot::settled;
}

/// Step 10: what was decided completes the first start.
void complete(CarrierState& state, Next next) REQUIRES(state.pass) {
  const bool completes = state.first_boot == FirstBoot::settled || next == Next::complete;
  if (completes) state.decision.complete_first_boot();
  state.is_decided = true;
}

}  // namespace

int qve_single_binary_init() {
  CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  if (state.default_iccid.empty()) fcx::read_defaults(state);
  SBP_LOG("[QVE][SBP] qve_single_binary_init");
  if (!state.is_decided) {
    if (!prepare_for_the_sim(state)) return 1;
    fcx::IccidText read;
    const Next next = read_the_sim(state, read);
    if (next == Next::poll_again) return 1;
    if (next == Next::accept) {
      const fcx::IccidText iccid = accept(state, read);
      profile_sim(state, iccid);
      fcx::parse_iccid(state, iccid.c_str());
    }
    complete(state, next);
  }
  return fcx::close_first_boot(state) ? 0 : 1;
}

void qve_parse_iccid(const char* iccid) {
  if (iccid == nullptr) return;
  CarrierState& state = fcx::carrier_state();
  const std::lock_guard lock(state.pass);
  fcx::parse_iccid(state, iccid);
}

/// Step 9: the MCC, and where the SIM decides it the country, of the SIM's calling code.
void fcx::parse_iccid(CarrierState& state, const char* iccid) {
  constexpr size_t kIndustryPrefix = 2;
  const std::string_view digits = iccid;
  TextBuffer<3> code(digits.substr(std::min(kIndustryPrefix, digits.size()), 3));
  const char* mcc = searchMccFromMap(code.data());
  publish_sim_country(mcc, iccid);
  if (mcc == nullptr) return;
  SBP_LOG("[QVE][SBP] MCC from Calling Code : %s", mcc);
  publish("persist.vendor.qve.iccid-mcc", mcc);
  settle_by_sim(state, mcc);
}

void fcx::read_defaults(CarrierState& state) {
  state.default_operator = read_property("ro.vendor.qve.kelp.default.operator", "OPEN");
  state.default_iccid = read_property("ro.vendor.qve.kelp.default.iccid", "89000000000000000000");
  state.default_country = read_property("ro.vendor.qve.kelp.default.country",
                                        read_property(kTargetCountryProperty).c_str());
}

void fcx::forget_last_profile(CarrierState& state, std::string_view iccid) {
  if (state.default_iccid.empty()) read_defaults(state);
  const PropertyText last = read_property(kLastIccidProperty, state.default_iccid.c_str());
  if (last.view() == iccid || last.view() == state.default_iccid.view()) return;
  publish(kLastIccidProperty, state.default_iccid);
}

bool fcx::close_first_boot(CarrierState& state) {
  // A start that could not look into the package has settled nothing.
  if (state.is_carrier_file_unknown || !state.decision.publish()) return false;
  if (is_set(kLeftWaitingProperty)) publish(kLeftWaitingProperty, "0");
  state.is_left_waiting = false;
  state.is_decided = false;
  return true;
}
