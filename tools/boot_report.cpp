#include "tools/boot_report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <regex>

#include "tools/table.h"
#include "tools/text.h"

namespace cli {
namespace {

namespace vp = virtual_phone;
using factory_daemon::Boot;
using factory_daemon::BootInputs;
using factory_daemon::BootMoment;
using factory_daemon::BootOutcome;
using Kind = BootMoment::Kind;

/// Where the decision ends.
struct Decision {
  const char* key;
  const char* name;
  const char* property;
};
constexpr Decision kDecisions[] = {
    {"carrier", "carrier", "persist.vendor.qve.sim.operator"},
    {"sub_carrier", "sub-carrier", "persist.vendor.qve.sim.operator.sub"},
    {"country", "country", "persist.vendor.qve.sim.country"},
    {"mcc", "MCC", "persist.vendor.qve.first-mcc"},
    {"first_boot", "first start done", "persist.vendor.qve.first-boot"},
    {"sim_changed", "SIM changed", "persist.vendor.qve.sim-changed"},
    {"pet_name", "pet name", "persist.vendor.qve.petname"},
    {"client_id", "client identifier", "ro.com.google.clientidbase"},
};

/// When a rule counts: what is said by a line or by the modem's answer needs no property to say it.
enum class When {
  always,
  changed,  ///< for a property that had another value
  no_modem,
  no_modem_no_log,
};

/// What a moment means, for people. The first rule whose pattern is all of the moment counts.
struct Rule {
  Kind kind;
  const char* pattern;   ///< of what follows "[QVE][SBP] " or "persist.vendor.qve."
  const char* sentence;  ///< with $1 and so on from the pattern, #1 in part only; null: nothing
  When when = When::always;
};

const Rule kRules[] = {
    {Kind::line, "Waiting\\.\\. Start SBP thread during encryption",
     "The framework has to restart before set-up can start."},
    {Kind::line, "Set Timer: (\\d+)000000", "Set-up waits $1 s for the SIM at most."},
    {Kind::line, "Created  Single Binary ICCID thread\\.\\.\\.",
     "Until the framework restarts, the carrier is restored."},
    {Kind::line, "LAOT MODE ENABLED! ", "Test mode: this is a first start."},
    {Kind::property, "sim\\.profile=none", "SIM profiles are not used."},
    {Kind::property, "sim\\.profile=(.*)", "SIM profiles are used: $1."},
    {Kind::property, "sim-changed=F", "The defaults are set, as on every first start."},

    // What a start brings in step.
    {Kind::line, "\\[QVE\\]\\[FCX\\] bootmode: (\\S+) ", "The boot mode is $1."},
    {Kind::line, "NV_FTM_MODE_I set 0", "The modem's factory mode has come to its end."},
    {Kind::line, "(SW Version|HW Version|Model Name) is synchronized with NV Item",
     "$1: the modem's NV item had another, and has it now."},
    {Kind::line, "(SW Version|HW Version|Model Name) is already synchronized",
     "$1: the modem's NV item has it."},
    {Kind::line, "SW Version is written", "The software is another: factory item 14 says so now."},
    {Kind::line, "SW Orginal Version is written",
     "Its first version is in factory item 15, and the display's test begins anew."},
    {Kind::line, "PID is written", "Factory item 4 has the modem's product identifier now."},
    {Kind::line, "SWFV-A updated:(.*)", "The version of the fixed areas is $1 now."},
    {Kind::line, "SWFV-A updated, Model doesn't support SWFV",
     "The model has no version of the fixed areas."},
    {Kind::line, "Userdata ID is updated:(.*)",
     "The version of the fixed areas is $1, with the user data's identifier."},
    {Kind::line, "get_swfv : (Cannot .*), set to default", "$1: it counts as all F."},
    {Kind::property, "data\\.sbp\\.update=0",
     "New user data: the carrier's data is to be updated."},
    {Kind::line, "(get_\\w+ fail\\b.*|get pid modem request fail\\b.*|PID write fail)", "$1."},
    {Kind::line, "retry poweroff cmd", "The power-off that was under way is taken up again."},
    {Kind::line, "USB state is invalid", "The USB state is invalid: the power-off ends here."},
    {Kind::line, "Cable is unconnected", "The cable is out."},
    {Kind::event, "reboot: (.*)", "The phone is switched off: $1."},

    // The network code.
    {Kind::line, "the network code cannot be read", "The network code cannot be read."},
    {Kind::property, "mcc-list=FFF", nullptr},
    {Kind::property, "mcc-list=", "The network code has no MCC: nothing settles one."},
    {Kind::property, "mcc-list=([^,]*)", "The network code has one MCC: $1."},
    {Kind::property, "mcc-list=(.*)", "The network code has several MCCs: $1."},
    {Kind::line, "2nd NTCODE Matched SUBSET = (\\S*) ",
     "The network code names the carrier $1 itself: SIM profiles are off."},
    {Kind::line, "NTCODE changed status",
     "The network code was rewritten: this is a first start again."},
    {Kind::line, "CUST confirmed UI mccmnc: (.*)",
     "The user has confirmed the network $1, which stands."},
    {Kind::line, "Only one MCC-list", "With one MCC no SIM is needed to settle it."},
    {Kind::line, "2 More MCC-lists", "With several MCCs, or any network, the SIM settles which."},
    {Kind::property, "petname=(.*)", "The pet name is $1."},
    {Kind::property, "ro\\.com\\.google\\.clientidbase=(.*)", "The client identifier is $1."},

    // The SIM's answer.
    {Kind::sim, "NOT YET", "The SIM is not ready yet."},
    {Kind::sim, "NO SIM ERROR", "There is no SIM."},
    {Kind::sim, "NO SIM READ ERROR", "The SIM cannot be read."},
    {Kind::sim, "([^]+)", "The SIM answers with the ICCID #1."},
    {Kind::sim, "", "The answer about the SIM is empty."},
    {Kind::no_sim_answer, "[^]*", "There is no answer about the SIM."},
    {Kind::line, "NOT ready to read SIM", "The SIM is not ready yet.", When::no_modem},
    {Kind::line, "No SIM!", "There is no SIM.", When::no_modem},
    {Kind::line, "Cannot get response\\. Return error:.*", "There is no answer about the SIM.",
     When::no_modem},
    {Kind::line, "ATCommand response problem",
     "The answer about the SIM is too short for an ICCID.", When::no_modem},
    {Kind::line, "Inserted SIM-ICCID: (\\d.*)", "The SIM answers with the ICCID #1.",
     When::no_modem},
    {Kind::property, "sim-changed=2", "There is no SIM, or it does not answer.",
     When::no_modem_no_log},
    {Kind::line, "1st Boot is completed with NT Code MCC", "The network code's MCC stands."},

    // What comes of it.
    {Kind::line, "virtual ICCID : (.*)", "Test mode takes the ICCID #1."},
    {Kind::property, "sim-changed=1", "It is another SIM than at the last start."},
    {Kind::property, "sim-changed=0", "It is the SIM of the last start."},
    {Kind::line, "carrier_code\\.xml does not exist", "There is no carrier_code.xml."},
    {Kind::property, "carriercode\\.date=(.*)", "carrier_code.xml of $1 is searched for it."},
    {Kind::property, "sim\\.operator=(.*)", "The carrier is $1."},
    {Kind::line, "write permanet props: \\[(.*)\\]: \\[(.*)\\]",
     "$1 is kept as $2 for the starts to come."},
    {Kind::property, "vendor\\.qve\\.sim_country=(.*)", "The SIM's country is $1."},
    {Kind::line, "Not Matched MCC .*|INVALID ICCID", "The SIM's calling code is not known."},
    {Kind::property, "iccid-mcc=", "The SIM's calling code belongs to no country."},
    {Kind::property, "iccid-mcc=(.*)", "The SIM's calling code gives the MCC $1."},
    {Kind::property, "first-mcc=FFF", nullptr},
    {Kind::property, "first-mcc=(.*)", "The MCC is $1."},
    {Kind::property, "first-boot=1", "The first start is published as done.", When::changed},
    {Kind::line, "restored property .*", "What the SIM profile has chosen is set again."},
    {Kind::line, "secure boot :  restored property .*",
     "What the SIM profile has chosen is set again, from files."},

    // What goes wrong.
    {Kind::line, "(\\S+ is no XML, line \\d+).*", "$1."},
    {Kind::line, "read_device_xml: (\\S+ has the encoding .*, which no phone reads)", "$1."},
    {Kind::line, "(\\S+ cannot be (set|written)).*", "$1."},
    {Kind::line, "(\\S+ has \\d+ characters, more than a property holds)", "$1."},
    {Kind::line, "(\\S+ holds a line break)", "$1."},
    {Kind::line, "Unable to create Single Binary (?:ICCID )?thread : (.*)",
     "A thread cannot be created: $1."},
    {Kind::line, "filehandleHal is NULL!", "The file-handle service is not there."},
};

/// The patterns of kRules, ready for use.
const std::vector<std::regex>& patterns() {
  static const std::vector<std::regex> all = [] {
    std::vector<std::regex> made;
    for (const Rule& rule : kRules) made.emplace_back(rule.pattern);
    return made;
  }();
  return all;
}

/// As much of it as set-up takes.
std::string shown_iccid(const std::string& iccid, bool full) {
  constexpr size_t kLongest = 20;
  const std::string text = shown(iccid.substr(0, kLongest));
  return full ? text : masked(text);
}

/// A rule's sentence with what its pattern has found.
std::string sentence_of(const Rule& rule, const std::smatch& found, bool full) {
  std::string sentence;
  for (const char* at = rule.sentence; *at != '\0'; ++at) {
    if (*at != '$' && *at != '#') {
      sentence += *at;
      continue;
    }
    const bool is_iccid = *at++ == '#';
    const std::string part = found[static_cast<size_t>(*at - '0')];
    sentence += is_iccid ? shown_iccid(part, full) : part;
  }
  return sentence;
}

struct Step {
  int64_t after_us;  ///< since the phone was switched on
  std::string sentence;
  int times;  ///< 0 for what may happen again without meaning anything new
  bool is_masked = false;
};

/// The moments as sentences.
class Story {
 public:
  Story(const Boot& boot, bool full) : boot_(boot), full_(full) {
    has_modem_ = std::any_of(boot.moments.begin(), boot.moments.end(), is_answer);
    for (const BootMoment& moment : boot.moments) tell(moment);
  }

  const std::vector<Step>& steps() const { return steps_; }

 private:
  /// Of the modem, about the SIM.
  static bool is_answer(const BootMoment& moment) {
    return moment.kind == Kind::sim || moment.kind == Kind::no_sim_answer;
  }

  /// Each sentence is said once.
  void say(int64_t time_us, const std::string& sentence, int times = 0, bool is_masked = false) {
    const auto said = std::find_if(steps_.begin(), steps_.end(),
                                   [&](const Step& step) { return step.sentence == sentence; });
    if (said == steps_.end()) {
      steps_.push_back({time_us - boot_.switched_on_us, sentence, times, is_masked});
    } else {
      said->times += times;
    }
  }

  bool counts(When when, const BootMoment& moment) const {
    switch (when) {
      case When::always:
        return true;
      case When::changed:
        return moment.is_change;
      case When::no_modem:
        return !has_modem_;
      case When::no_modem_no_log:
        return !has_modem_ && !boot_.is_logged;
    }
    return false;
  }

  void tell(const BootMoment& moment) {
    if (moment.kind == Kind::note) return say(moment.time_us, moment.text);
    static const std::regex prefix(
        "^(\\[QVE\\]\\[SBP\\](\\[\\w+\\])? ?|persist\\.vendor\\.qve\\.)");
    const std::string text =
        std::regex_replace(moment.text, prefix, "", std::regex_constants::format_first_only);
    for (size_t i = 0; i < std::size(kRules); ++i) {
      const Rule& rule = kRules[i];
      std::smatch found;
      if (rule.kind != moment.kind || !std::regex_match(text, found, patterns()[i])) continue;
      if (rule.sentence == nullptr || !counts(rule.when, moment)) return;
      const bool is_poll = is_answer(moment) || rule.when == When::no_modem;
      const bool is_masked = !full_ && strchr(rule.sentence, '#') != nullptr;
      return say(moment.time_us, sentence_of(rule, found, full_), is_poll ? 1 : 0, is_masked);
    }
  }

  const Boot& boot_;
  bool full_;
  bool has_modem_ = false;
  std::vector<Step> steps_;
};

std::string seconds(int64_t us) {
  std::array<char, 32> text{};
  snprintf(text.data(), text.size(), "%.1f s", static_cast<double>(us) / 1e6);
  return text.data();
}

/// How set-up ended, as its last step.
std::string end_of(const Boot& boot) {
  const std::string polls = boot.polls == 0
                                ? ""
                                : std::to_string(boot.polls) +
                                      (boot.polls == 1 ? " poll" : " polls") + " of the SIM and ";
  const std::string taken = polls + seconds(boot.set_up_ended_us - boot.set_up_began_us);
  switch (boot.outcome) {
    case BootOutcome::complete:
      return "Set-up is complete, after " + taken + ".";
    case BootOutcome::out_of_time:
      return "The time for the SIM is over, after " + taken + ": what is decided now stands.";
    case BootOutcome::put_off:
      return "Set-up is put off until the framework has restarted.";
    case BootOutcome::not_started:
      return "Set-up could not be started: there is no thread for it.";
  }
  return "";
}

std::vector<Step> steps_of(const Boot& boot, bool full) {
  const bool is_start = boot.uptime == factory_daemon::Uptime::begins;
  std::vector<Step> steps = {{0,
                              is_start ? "The phone is switched off and on."
                                       : "The daemon starts again; the phone stays on.",
                              0}};
  const auto was = [&](const char* property, const char* value) {
    const auto found = boot.before.find(property);
    return found != boot.before.end() && found->second == value;
  };
  const bool was_done = was("persist.vendor.qve.first-boot", "1");
  const bool was_waiting = was("persist.vendor.qve.sbp.unfinished", "1");
  steps.push_back({0,
                   was_waiting
                       ? "The first start was left waiting: its SIM may still settle the MCC."
                   : was_done ? "An earlier start has done the first start."
                              : "No start has been completed yet.",
                   0});
  const Story story(boot, full);
  steps.insert(steps.end(), story.steps().begin(), story.steps().end());
  // A power-off may go on after it.
  const int64_t end_us = boot.set_up_ended_us - boot.switched_on_us;
  const auto later = std::find_if(steps.begin(), steps.end(),
                                  [&](const Step& step) { return step.after_us > end_us; });
  steps.insert(later, {end_us, end_of(boot), 0});
  return steps;
}

std::optional<std::string> value_of(const Boot::Properties& properties, const std::string& name) {
  const auto found = properties.find(name);
  return found == properties.end() ? std::nullopt : std::optional(found->second);
}

struct Change {
  std::string name;
  std::optional<std::string> before;
  std::optional<std::string> after;
};

std::vector<Change> changes_of(const Boot& boot, bool full) {
  std::map<std::string, Change> all;
  for (const auto& [name, value] : boot.before) all[name] = {name, value, std::nullopt};
  for (const auto& [name, value] : boot.after) {
    all[name].name = name;
    all[name].after = value;
  }
  std::vector<Change> changes;
  for (auto& [name, change] : all) {
    if (change.before == change.after) continue;
    for (auto* value : {&change.before, &change.after}) {
      if (value->has_value() && names_sim(name)) *value = shown_iccid(**value, full);
    }
    changes.push_back(std::move(change));
  }
  return changes;
}

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json or_null(const std::optional<std::string>& text) { return text ? Json(*text) : Json(); }

Json inputs_json(const BootInputs& inputs, bool full) {
  const bool is_inserted = inputs.sim.state == vp::SimState::inserted;
  Json object = {
      {"profile", inputs.profile},
      {"build_type", or_null(inputs.build_type)},
      {"network_code", or_null(inputs.network_code)},
      {"mccmnc_list", or_null(inputs.mccmnc_list)},
      {"subset_list", or_null(inputs.subset_list)},
      {"sim",
       {{"state", vp::name_of(inputs.sim.state)},
        {"iccid", is_inserted ? Json(shown_iccid(inputs.sim.iccid, full)) : Json()},
        {"not_yet", inputs.sim.not_yet},
        {"permission", or_null(inputs.permission)}}},
      {"chipset",
       {{"vendor", or_null(inputs.chip_vendor)}, {"platform", or_null(inputs.platform)}}},
      {"package",
       {{"access", inputs.is_on_overlay ? "overlay" : "direct"},
        {"root", inputs.package_root},
        {"rootdir", or_null(inputs.rootdir)},
        {"carrier_code_date", or_null(inputs.carrier_code_date)}}}};
  if (is_inserted && !full) object["sim"]["masked"] = true;
  return object;
}

std::string shown_sim(const BootInputs& inputs, bool full) {
  std::string text = vp::name_of(inputs.sim.state);
  if (inputs.sim.state == vp::SimState::inserted) {
    text += ", ICCID " + shown_iccid(inputs.sim.iccid, full);
  }
  if (inputs.sim.not_yet > 0) {
    text += ", not ready for " + std::to_string(inputs.sim.not_yet) + " polls";
  }
  if (inputs.permission == "1") return text + ", may not drive the profile";
  if (!inputs.permission.empty() && inputs.permission != "0") return text + ", permission unknown";
  return text;
}

std::string or_dash(const std::string& text) { return text.empty() ? "-" : text; }

void print_inputs(const BootInputs& inputs, bool full) {
  TextTable table({"INPUT", "VALUE"});
  table.add({"profile", inputs.profile});
  table.add({"build type", or_dash(inputs.build_type)});
  table.add({"network code", or_dash(inputs.network_code)});
  table.add({"MCC-MNC list", or_dash(inputs.mccmnc_list)});
  table.add({"subset list", or_dash(inputs.subset_list)});
  table.add({"SIM", shown_sim(inputs, full)});
  table.add({"chipset", inputs.chip_vendor == "mtk" ? "MediaTek " + inputs.platform
                                                    : or_dash(inputs.platform)});
  table.add({"package", inputs.package_root +
                            (inputs.is_on_overlay ? ", on an overlay" : ", opened directly")});
  table.add({"ROOTDIR", or_dash(inputs.rootdir)});
  table.add({"carrier_code.xml",
             inputs.carrier_code_date.empty() ? "-" : "of " + inputs.carrier_code_date});
  table.print();
}

void print_steps(const std::vector<Step>& steps) {
  TextTable table({"AT", "STEP"});
  for (const Step& step : steps) {
    const std::string times = step.times > 1 ? " (" + std::to_string(step.times) + " polls)" : "";
    table.add({seconds(step.after_us), step.sentence + times});
  }
  table.print();
}

void print_changes(const std::vector<Change>& changes) {
  const auto cell = [](const std::optional<std::string>& value) {
    return value.has_value() ? "[" + *value + "]" : "-";
  };
  TextTable table({"PROPERTY", "BEFORE", "AFTER"});
  for (const Change& each : changes) table.add({each.name, cell(each.before), cell(each.after)});
  table.print();
}

}  // namespace

Json boot_json(const Boot& boot, bool full) {
  Json steps = Json::array();
  for (const Step& step : steps_of(boot, full)) {
    Json entry = {{"ms", step.after_us / 1000}, {"step", step.sentence}};
    if (step.times > 0) entry["polls"] = step.times;
    if (step.is_masked) entry["masked"] = true;
    steps.push_back(entry);
  }
  Json changes = Json::array();
  for (const Change& each : changes_of(boot, full)) {
    Json entry = {{"name", each.name}, {"before", each.before}, {"after", each.after}};
    if (!full && names_sim(each.name)) entry["masked"] = true;
    changes.push_back(entry);
  }
  return {{"phone", boot.phone},
          {"inputs", inputs_json(boot.inputs, full)},
          {"steps", steps},
          {"changes", changes},
          {"decision", decision_json(boot)},
          {"complete", boot.outcome == BootOutcome::complete}};
}

Json decision_json(const Boot& boot) {
  Json decision;
  for (const Decision& row : kDecisions) {
    decision[row.key] = or_null(value_of(boot.after, row.property));
  }
  return decision;
}

void print_decision(const Boot& boot) {
  TextTable table({"DECISION", "VALUE", "PROPERTY"});
  for (const Decision& row : kDecisions) {
    table.add({row.name, or_dash(value_of(boot.after, row.property).value_or("")), row.property});
  }
  table.print();
}

void print_boot(const Boot& boot, bool full) {
  print_inputs(boot.inputs, full);
  puts("");
  print_steps(steps_of(boot, full));
  puts("");
  print_changes(changes_of(boot, full));
  puts("");
  print_decision(boot);
}

}  // namespace cli
