#include "simulation/start_model.h"

#include <algorithm>
#include <utility>

#include "virtual_phone/modem/sim.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;

constexpr char kDefaultIccid[] = "89000000000000000000";
constexpr char kFirstBoot[] = "property persist.vendor.qve.first-boot";
constexpr char kFirstMcc[] = "property persist.vendor.qve.first-mcc";
constexpr char kFirstMccMnc[] = "property persist.vendor.qve.first-mccmnc";
constexpr char kMccList[] = "property persist.vendor.qve.mcc-list";
constexpr char kUnfinished[] = "property persist.vendor.qve.sbp.unfinished";
constexpr char kSimChanged[] = "property persist.vendor.qve.sim-changed";
constexpr char kIccid[] = "property persist.vendor.qve.iccid";
constexpr char kLastIccid[] = "property persist.vendor.qve.last-iccid";
constexpr char kCarrier[] = "property persist.vendor.qve.sim.operator";
constexpr char kSubCarrier[] = "property persist.vendor.qve.sim.operator.sub";
constexpr char kCountry[] = "property persist.vendor.qve.sim.country";
constexpr char kCodeChanged[] = "property persist.vendor.qve.ntcode-changed";
constexpr char kFixedCountry[] = "property persist.vendor.qve.sim_country_fixed";
constexpr char kIccidMcc[] = "property persist.vendor.qve.iccid-mcc";
constexpr char kProfileDate[] = "property persist.vendor.qve.carriercode.date";
constexpr char kClient[] = "property ro.com.google.clientidbase";
constexpr char kSlot1[] = "property vendor.ril.iccid.sim1";
constexpr char kSlot2[] = "property vendor.ril.iccid.sim2";
constexpr char kReset[] = "property persist.vendor.qve.factory.reset";
constexpr char kKelp[] = "file /mnt/vendor/persist-qv/kelp/kelp.prop";
constexpr char kPermanent[] = "file /mnt/vendor/persist-qv/kelp/perm.prop";
constexpr char kFeatures[] = "file /mnt/vendor/persist-qv/kelp/feature.prop";
constexpr char kCache[] = "file /mnt/vendor/persist-qv/property/persist.vendor.qve.";
constexpr char kPersist[] = "property persist.";
constexpr char kUserData[] = "file /data/.userdataid";
constexpr int kFactoryStatus = 2;

bool begins(const std::string& text, const std::string& with) {
  return text.compare(0, with.size(), with) == 0;
}

bool is_read_only(const std::string& key) { return begins(key, "property ro."); }

/// A property that a restart forgets.
bool is_fleeting(const std::string& key) {
  return begins(key, "property ") && !begins(key, kPersist);
}

void erase_keys(State& state, bool (*is_wanted)(const std::string&)) {
  for (auto each = state.begin(); each != state.end();) {
    each = is_wanted(each->first) ? state.erase(each) : std::next(each);
  }
}

void publish_radio(State& state) {
  const std::string sim = value_in(state, "sim state");
  if (sim == vp::name_of(vp::SimState::error)) return;
  std::string iccid = value_in(state, "sim iccid");
  constexpr size_t kPadded = 20;
  iccid.resize(std::max(iccid.size(), kPadded), 'f');
  state[kSlot1] = sim == vp::name_of(vp::SimState::inserted) ? iccid : "NODEF";
  state[kSlot2] = "NODEF";
}

const NetworkCode* code_in(const State& state) {
  return find_network_code(value_in(state, item_key(421)));
}

/// One start's set-up.
class SetUp {
 public:
  SetUp(State& state, const Product& product)
      : state_(state), product_(product), code_(*code_in(state)) {}

  void run() {
    // Half-seconds in which the SIM is polled.
    const bool is_reset_running = value_in(state_, item_key(kFactoryStatus)) == "\x06";
    const int passes = !product_.is_mtk ? 10 : is_reset_running ? 30 : 40;
    for (int i = 0; i < passes && !pass(); ++i) {
    }
    if (value_in(state_, kUnfinished) == "1") state_[kUnfinished] = "0";
    replay_files();
  }

  void identify_by_sim(const std::string& iccid) {
    const bool is_american = product_.is_sim_base && begins(iccid, "8901");
    if (is_american && state_.count(kPermanent) == 0) set_once(kClient, "android-qve-us");
  }

  void replay_files() {
    if (!product_.has_fast_profile) return;
    replay(kKelp, ' ');
    replay(kPermanent, '=');
    replay(kFeatures, '=');
  }

 private:
  enum class Status { open, by_code, settled };

  void set_once(const std::string& key, const std::string& value) {
    if (value_in(state_, key).empty() || !is_read_only(key)) state_[key] = value;
  }

  void replay(const char* file, char separator) {
    std::string rest = value_in(state_, file);
    while (!rest.empty()) {
      const size_t length = rest.find('\n');
      const std::string line = rest.substr(0, length);
      rest.erase(0, length + 1);
      const size_t middle = line.find(separator);
      set_once(property_key(line.substr(0, middle)), line.substr(middle + 1));
    }
  }

  void prepare() {
    status_ = value_in(state_, kFirstBoot) == "1" ? Status::settled : Status::open;
    is_waiting_ = is_waiting_ || value_in(state_, kUnfinished) == "1";
    state_[property_key("persist.vendor.qve.sim.profile")] = product_.sim_profile;
    set_once(property_key("ro.vendor.qve.sim.operator.use"),
             product_.has_fast_profile ? "true" : "false");
    if (status_ == Status::open) {
      for (const auto& [key, value] : first_start_defaults(product_)) state_[key] = value;
    }
    state_[kMccList] = code_.mccs;
    if (value_in(state_, kCodeChanged) == "1") {
      is_code_changed_ = true;
      status_ = Status::open;
      state_[kFirstBoot] = "0";
      state_[kFirstMcc] = "FFF";
      state_[kFirstMccMnc] = "FFFFF";
    }
    const bool is_permanent = state_.count(kPermanent) > 0;
    if (!product_.is_sim_base && product_.has_fast_profile && !is_permanent &&
        code_.client[0] != '\0') {
      set_once(kClient, code_.client);
    }
    if (product_.pet_name[0] != '\0') {
      state_[property_key("persist.vendor.qve.petname")] = product_.pet_name;
    }
    if (status_ != Status::settled) decide_by_code();
    const std::string saved = value_in(state_, kIccid);
    saved_ = saved.empty() ? kDefaultIccid : saved;
  }

  void decide_by_code() {
    const std::string mccs = code_.mccs;
    const std::string mccmncs = code_.mccmncs;
    if (mccs.find(',') == std::string::npos && mccmncs.find("FFFFF") == std::string::npos) {
      state_[kFirstMcc] = mccs;
      state_[kFirstMccMnc] = mccmncs;
    } else {
      state_[kFirstMcc] = "FFF";
      state_[kFirstMccMnc] = "FFFFF";
      if (mccmncs.find("FFFFF") == std::string::npos && value_in(state_, kCarrier).empty()) return;
      state_[kUnfinished] = "1";
      is_waiting_ = true;
    }
    state_[kFirstBoot] = "1";
    status_ = Status::by_code;
  }

  /// Whether the SIM is there to be read in this pass.
  bool poll() {
    const int64_t left = std::stoll(value_in(state_, "sim polls"));
    if (product_.is_mtk) {
      if (state_.count(kSlot1) > 0) return true;
      if (left > 0) state_["sim polls"] = std::to_string(left - 1);
      // The poll after the last too early one finds it published.
      if (left == 0) publish_radio(state_);
      return state_.count(kSlot1) > 0;
    }
    if (left > 0) state_["sim polls"] = std::to_string(left - 1);
    return left == 0;
  }

  /// @return whether set-up is done
  bool pass() {
    if (!has_failed_) prepare();
    if (!poll()) {
      if (!product_.is_mtk) return false;
      // The radio layer has no word for a SIM that is not ready.
      if (!has_failed_) state_[kSimChanged] = "2";
      has_failed_ = true;
      if (status_ != Status::by_code) return false;
      state_[kFirstBoot] = "1";
      return true;
    }
    const std::string sim = value_in(state_, "sim state");
    if (sim == vp::name_of(vp::SimState::error)) {
      has_failed_ = true;
      return false;
    }
    if (sim == vp::name_of(vp::SimState::absent)) {
      state_[kSimChanged] = "2";
      has_failed_ = true;
      if (product_.is_sim_base) publish_country(value_in(state_, kFixedCountry));
      return false;
    }
    accept(*find_sim_card(value_in(state_, "sim iccid")));
    return true;
  }

  void publish_country(const std::string& country) {
    if (country.empty()) return;
    state_[property_key("vendor.qve.sim_country")] = country;
    state_[property_key("vendor.qve.sim_country_changed")] = "1";
  }

  void accept(const SimCard& sim) {
    state_[kSimChanged] = saved_ == sim.iccid ? "0" : "1";
    state_[kIccid] = sim.iccid;
    if (product_.has_fast_profile && value_in(state_, kLastIccid) != sim.iccid) apply_profile(sim);
    const std::string mcc =
        product_.calling_mcc[0] != '\0' ? product_.calling_mcc : std::string(sim.mcc);
    if (product_.is_sim_base) {
      if (value_in(state_, kFixedCountry).empty()) state_[kFixedCountry] = product_.target_country;
      publish_country(value_in(state_, kFixedCountry));
      identify_by_sim(sim.iccid);
    }
    state_[kIccidMcc] = mcc;
    const bool is_decided = status_ == Status::settled && !is_code_changed_ && !is_waiting_;
    if (!is_decided && !mcc.empty() && std::string(code_.mccs).find(mcc) != std::string::npos) {
      state_[kFirstMcc] = mcc;
      status_ = Status::settled;
    }
    if (status_ == Status::settled) state_[kFirstBoot] = "1";
  }

  void apply_profile(const SimCard& sim) {
    const Carrier& carrier = sim.*product_.carrier;
    state_[kLastIccid] = sim.iccid;
    state_[kProfileDate] = "2020-06-01";
    state_[kKelp] = "";
    if (carrier.name[0] == '\0') return;
    for (const auto& [name, value] :
         {std::pair("sim.operator", carrier.name), std::pair("sim.country", carrier.country),
          std::pair("sim.operator.sub", carrier.sub)}) {
      const std::string property = std::string("persist.vendor.qve.") + name;
      state_[property_key(property)] = value;
      state_[kCache + std::string(name)] = value;
      state_[kKelp] += property + " " + value + "\n";
    }
    if (state_.count(kPermanent) > 0) return;
    state_[kFeatures] = "";
    for (const char* feature : carrier.features) {
      state_[kFeatures] += std::string("persist.vendor.qve.feature.") + feature + "\n";
    }
    if (carrier.client[0] == '\0') return;
    state_[kPermanent] = std::string("ro.com.google.clientidbase=") + carrier.client + "\n";
    // What the features say stands for the next start, what the identifiers say for this one, too.
    if (std::string(carrier.name) != "CR3") set_once(kClient, carrier.client);
  }

  State& state_;
  const Product& product_;
  const NetworkCode& code_;
  Status status_ = Status::open;
  bool has_failed_ = false;  ///< a read of the SIM
  bool is_waiting_ = false;  ///< the SIM may still settle what was published as done
  bool is_code_changed_ = false;
  std::string saved_;  ///< the SIM of the start before
};

void set_property_of_user_data(State& state) {
  // Where the field is, and how long.
  constexpr size_t kPosition = 36;
  constexpr size_t kSize = 11;
  std::string version = value_in(state, item_key(31));
  const std::string given = state.count(kUserData) > 0 ? "O2006010900-0" : "FFFFFFFFFFF-F";
  if (version.compare(kPosition, kSize, given, 0, kSize) == 0) return;
  version.replace(kPosition, given.size(), given);
  set_item(state, 31, version);
  state[property_key("persist.vendor.qve.data.sbp.update")] = "0";
}

}  // namespace

State identified_by_carrier(const State& before, const Product& product) {
  State state = started(before, product);
  const SimCard* sim = find_sim_card(value_in(before, "sim iccid"));
  if (sim == nullptr || product.carrier == nullptr) return state;
  const Carrier& carrier = sim->*product.carrier;
  if (carrier.client[0] != '\0') state[kClient] = carrier.client;
  return state;
}

bool is_first_start(const State& state) {
  return value_in(state, kFirstBoot) != "1" || value_in(state, kCodeChanged) == "1";
}

State replayed(const State& before, const Product& product) {
  State state = before;
  SetUp(state, product).replay_files();
  return state;
}

State with_carrier_unnoted(State state, const Product& product) {
  if (product.has_fast_profile) state[kLastIccid] = kDefaultIccid;
  return state;
}

State without_profile(const State& before, const Product& product) {
  State state = before;
  SetUp(state, product).identify_by_sim(value_in(before, "sim iccid"));
  return state;
}

State first_start_defaults(const Product& product) {
  State defaults = {{kFirstMcc, "FFF"}, {kFirstBoot, "0"}, {kMccList, "FFF"}, {kSimChanged, "F"}};
  if (!product.has_fast_profile) return defaults;
  defaults[kCarrier] = "OPEN";
  defaults[kIccid] = kDefaultIccid;
  defaults[kLastIccid] = kDefaultIccid;
  if (product.has_late_profile) defaults[kCountry] = product.target_country;
  return defaults;
}

std::optional<State> left_waiting(const State& now, bool is_sim_unheard) {
  if (value_in(now, kUnfinished) != "1" && !is_sim_unheard) return std::nullopt;
  return State{{kFirstBoot, "1"}, {kFirstMcc, "FFF"}, {kFirstMccMnc, "FFFFF"}};
}

const std::vector<std::vector<std::string>>& decided_parts() {
  static const std::vector<std::vector<std::string>> parts = {
      {kFirstBoot, kFirstMcc, kFirstMccMnc}, {kCarrier, kSubCarrier, kCountry, kLastIccid, kKelp}};
  return parts;
}

const std::vector<Note>& notes() {
  static const std::vector<Note> all = {
      {kLastIccid,
       {kCarrier, kSubCarrier, kCountry, kKelp, kFeatures, kPermanent,
        std::string(kCache) + "sim.operator", std::string(kCache) + "sim.country",
        std::string(kCache) + "sim.operator.sub"},
       false},
      {kIccid, {kSimChanged}, true}};
  return all;
}

State restarted(const State& before, const State& fresh, const Product& product) {
  State state = before;
  if (!value_in(state, kReset).empty()) {
    erase_keys(state, [](const std::string& key) {
      return begins(key, kPersist) || begins(key, "file /data/");
    });
    for (const auto& [key, value] : fresh) {
      if (begins(key, kPersist)) state.emplace(key, value);
    }
  }
  erase_keys(state, is_fleeting);
  for (const auto& [key, value] : fresh) {
    if (is_fleeting(key) && key != kSlot1 && key != kSlot2) state[key] = value;
  }
  state["sim polls"] = value_in(state, "sim delay");
  if (product.is_mtk && state["sim delay"] == "0") publish_radio(state);
  return state;
}

State started(const State& before, const Product& product) {
  State state = before;
  const NetworkCode& code = *code_in(state);
  state[property_key("vendor.qve.factory.qem")] = "0";
  state[property_key("vendor.qve.factory.pif")] = "0";
  state[property_key("ro.vendor.qve.suffix")] = value_in(state, item_key(73));
  for (const auto& [item, value] :
       {std::pair(13, "imei1"), std::pair(207, "meid"), std::pair(4, "pid")}) {
    set_item(state, item, value_in(state, modem_key(value)));
  }
  state["nv 33797"] = std::string("active ") + product.version;
  state["nv 33798"] = "active 1.0";
  state["nv 33799"] = "active QV-100";
  set_item(state, 14,
           code.version[0] == '\0'
               ? product.version
               : product.version_before + std::string(code.version) + product.version_after);
  if (product.has_user_data_identifier) set_property_of_user_data(state);
  state[property_key("persist.vendor.qve.mccmnc-list")] = code.mccmncs;
  state[property_key("persist.vendor.qve.subset-list")] = code.subsets;
  SetUp(state, product).run();
  return state;
}

}  // namespace simulation
