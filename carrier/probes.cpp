// What carrier set-up finds out about the device at its start.
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "carrier/package/files.h"
#include "carrier/package/paths.h"
#include "carrier/properties.h"
#include "carrier/state.h"
#include "common/lines.h"
#include "fcx/customisation.h"
#include "fcx/factory_items.h"

namespace {

constexpr char kOldRoot[] = "/cust";
constexpr int kFactoryResetRunning = 6;

/// Subsets of the network code's entry "10010", each a carrier of its own.
struct SecondNetworkCode {
  const char* subset;
  const char* carrier;
};
constexpr SecondNetworkCode kSecondNetworkCodes[] = {
    {"01", "VZW"},    {"02", "ATT"},     {"03", "TMO"},     {"04", "SPR"},     {"05", "USC"},
    {"06", "LRA"},    {"07", "ACG"},     {"08", "TRF_ATT"}, {"09", "TRF_TMO"}, {"10", "TRF_VZW"},
    {"11", "TRF_SM"}, {"12", "TRF_CLR"}, {"13", "TRF_WFM"}, {"14", "CRK"},     {"15", "CCT"},
    {"21", "RGS"},    {"22", "BELL"},    {"23", "TLS"},     {"24", "VTR"},
};
constexpr std::string_view kSecondNetworkCode = "10010";

bool is_user_build() { return fcx::read_property("ro.build.type", "user").view() == "user"; }

bool contains_ignoring_case(const fcx::PropertyText& text, const char* part) {
  return strcasestr(text.c_str(), part) != nullptr;
}

fcx::Presence find_below(const fcx::PropertyText& root, const char* file) {
  fcx::LongText path(root.view());
  path.append(file);
  return fcx::find_package_file(path.c_str());
}

int32_t mtk_wait_us(int factory_status) {
  if (factory_status != kFactoryResetRunning) return 25'000'000;
  return is_user_build() && qve_check_low_chipset() == 0 ? 15'000'000 : 20'000'000;
}

/// Which profiles a package with carrier codes calls for, without kelp.
void check_region(fcx::CarrierState& state) {
  const auto product = fcx::read_property("ro.product.name");
  state.has_fast_profile = state.is_nao || contains_ignoring_case(product, "global_ca");
  state.has_late_profile = contains_ignoring_case(product, "global_com");
}

const SecondNetworkCode* find_second_network_code(std::string_view subset) {
  const auto* row =
      std::find_if(std::begin(kSecondNetworkCodes), std::end(kSecondNetworkCodes),
                   [&](const SecondNetworkCode& each) { return each.subset == subset; });
  return row == std::end(kSecondNetworkCodes) ? nullptr : row;
}

/// The carrier is settled: no SIM changes it any more.
void settle_carrier(const char* carrier) {
  SBP_LOG("[QVE][SBP] 2nd NTCODE Matched SUBSET = %s ", carrier);
  fcx::CarrierState& state = fcx::carrier_state();
  state.has_fast_profile = false;
  state.has_late_profile = false;
  fcx::publish(fcx::kSimProfileProperty, "none");
  fcx::publish(fcx::kSimOperatorProperty, carrier);
  fcx::publish(fcx::kSimCountryProperty, fcx::read_property(fcx::kTargetCountryProperty, "XXX"));
}

}  // namespace

void qve_sbp_verion() {
  const auto version = fcx::read_property("ro.vendor.qve.sbp.version");
  SBP_LOG("[QVE][SBP] SBP Ver: %s", version.c_str());
  const char first = version.c_str()[0];
  // One character only, on purpose: "10" counts as version 1.
  if (first != '\0' && first <= '3' && fexists(kOldRoot) != 0) fcx::package_state().root = kOldRoot;
  SBP_LOG("[QVE][SBP] TAMRA-ROOT: %s", fcx::package_state().root.load());
}

void qve_sbp_set_timer() {
  fcx::CarrierState& state = fcx::carrier_state();
  const int factory_status = get_factory_status();
  SBP_LOG("[QVE][SBP] FRST status %d", factory_status);
  qve_check_mtk_chipset();
  if (state.is_mtk) state.sim_wait_us = mtk_wait_us(factory_status);
  SBP_LOG("[QVE][SBP] Set Timer: %d", state.sim_wait_us.load());
}

void qve_check_mtk_chipset() {
  fcx::CarrierState& state = fcx::carrier_state();
  if (fcx::read_property("ro.vendor.qve.chip.vendor").view() == "mtk") state.is_mtk = true;
  SBP_LOG("[QVE][SBP] MTK chipset: %d", state.is_mtk ? 1 : 0);
}

int qve_check_low_chipset() {
  const auto platform = fcx::read_property(fcx::carrier_state().is_mtk ? "ro.mediatek.platform"
                                                                       : "ro.board.platform");
  const int is_low = platform.view() == "MT6755" ? 1 : 0;
  SBP_LOG("[QVE][SBP] LOW chipset: %d", is_low);
  return is_low;
}

void qve_check_kelp() {
  if (fcx::read_property("ro.vendor.qve.kelp").c_str()[0] == '1') {
    fcx::carrier_state().is_kelp = true;
  }
}

void qve_check_nao_feature() {
  fcx::CarrierState& state = fcx::carrier_state();
  const auto region = fcx::read_property("ro.vendor.qve.naop");
  const auto root = fcx::read_property(fcx::kPackageRootProperty, fcx::package_state().root);
  qve_check_kelp();
  const fcx::Presence features = find_below(root, fcx::kFeatureCodes);
  if (features == fcx::Presence::present) state.has_feature_codes = true;
  state.is_feature_file_unknown = features == fcx::Presence::unknown;
  if (!state.is_kelp && region.c_str()[0] == '1') state.is_nao = true;
  const fcx::Presence carriers = find_below(root, fcx::kCarrierCodes);
  state.is_carrier_file_unknown = carriers == fcx::Presence::unknown;
  if (carriers == fcx::Presence::present) {
    if (state.is_kelp) {
      state.has_fast_profile = true;
      state.has_late_profile = true;
    } else {
      check_region(state);
    }
  }
  SBP_LOG("[QVE][SBP] NAO: %d, GCID: %d, FASTPROFILE: %d, LATEPROFILE: %d", state.is_nao ? 1 : 0,
          state.has_feature_codes ? 1 : 0, state.has_fast_profile ? 1 : 0,
          state.has_late_profile ? 1 : 0);
}

void qve_save_profile_type() {
  const fcx::CarrierState& state = fcx::carrier_state();
  constexpr const char* kTypes[2][2] = {{"none", "late"}, {"fast", "both"}};
  const char* type = kTypes[state.has_fast_profile ? 1 : 0][state.has_late_profile ? 1 : 0];
  fcx::publish(fcx::kSimProfileProperty, type);
  fcx::publish_once("ro.vendor.qve.sim.operator.use",
                    state.has_fast_profile || state.has_late_profile ? "true" : "false");
  SBP_LOG("[QVE][SBP] USE SIM PROFILE: %s", type);
}

void qve_check_2nd_ntcode(const char* mccmnc_list, const char* subset_list) {
  if (mccmnc_list == nullptr || subset_list == nullptr) return;
  std::string_view mccmncs = fcx::bounded_text(mccmnc_list, fcx::LongText::capacity());
  std::string_view subsets = fcx::bounded_text(subset_list, fcx::LongText::capacity());
  if (mccmncs.size() < 6) return;  // "10010" alone too, on purpose
  while (!mccmncs.empty() && !subsets.empty()) {
    const bool is_second = fcx::take_until(mccmncs, ',') == kSecondNetworkCode;
    const auto* row = find_second_network_code(fcx::take_until(subsets, ','));
    if (is_second && row != nullptr) return settle_carrier(row->carrier);
  }
}

int qve_check_fboot_status() {
  fcx::CarrierState& state = fcx::carrier_state();
  const auto first_boot = fcx::read_property(fcx::kFirstBootProperty, "F");
  const auto first_mcc = fcx::read_property(fcx::kFirstMccProperty);
  const auto build_type = fcx::read_property("ro.build.type", "user");
  state.revenue_share_version =
      fcx::decimal_number(fcx::read_property("ro.vendor.qve.revshare.version", "20150101").view());
  if (build_type.view() == "user") {
    fcx::package_state().stops_log = true;
  } else {
    SBP_LOG("[QVE][SBP] BUILD: %s, DEBUG: %d", build_type.c_str(), 1);
    SBP_LOG("[QVE][SBP] Firstboot status: %s, First mcc: %s", first_boot.c_str(),
            first_mcc.c_str());
  }
  return first_boot.view() == "1" ? 4 : 0;
}
