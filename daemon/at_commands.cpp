#include "daemon/at_commands.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "daemon/hex.h"
#include "fcx/bt_address.h"
#include "fcx/identity_items.h"
#include "fcx/system_control.h"
#include "fcx/version_info.h"
#include "fcx/wlan_address.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/properties.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

/// Where a line is carried out.
struct Place {
  vp::Phone& phone;
  AtSettings& settings;
  const Deliver& deliver;
};

/// Carries out one form of a command.
using Act = AtAnswer (*)(Place& place, const AtCommand& command);

AtAnswer refused(std::string reason) { return {{}, false, std::move(reason)}; }

/// What the library has written for its caller: lines.
std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t length = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return lines;
}

using AnswerText = std::array<char, QVCMD_DATA_SIZE>;

/// A function of the library's own that answers.
template <int (*answer)(char*)>
AtAnswer ask(Place&, const AtCommand&) {
  AnswerText text{};
  const int code = answer(text.data());
  return {lines_of(text.data()), code == 0, ""};
}

/// An address as parameters of one digit each. Twelve digits in a row are as many parameters.
std::vector<std::string> address_parameters(const AtCommand& command) {
  std::vector<std::string> parameters;
  if (command.parameters.size() == 1) {
    for (const char digit : command.text) parameters.emplace_back(1, digit);
  } else {
    parameters.assign(command.parameters.begin(), command.parameters.end());
  }
  return parameters;
}

template <int (*assign)(char**, int, char*)>
AtAnswer assign_address(Place&, const AtCommand& command) {
  std::vector<std::string> parameters = address_parameters(command);
  std::vector<char*> pointers;
  for (std::string& parameter : parameters) pointers.push_back(parameter.data());
  AnswerText text{};
  const int code = assign(pointers.data(), static_cast<int>(pointers.size()), text.data());
  return {lines_of(text.data()), code == 0, ""};
}

/// The library has no such text for the WLAN address: this is the daemon's, in the form of the
/// Bluetooth one.
int answer_wlan_range(char* answer) {
  return wlan_resp(0, answer, "AT%WLAD=[MAC ADDR:12HEX nibble => 6 Bytes]\n");
}

std::optional<int32_t> opcode_of(std::string_view word) {
  int32_t opcode = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), opcode);
  if (error != std::errc() || end != word.data() + word.size()) return {};
  return opcode;
}

AtAnswer send_factory_command(Place& place, const AtCommand& command) {
  const std::string_view word = command.parameters.front();
  const std::optional<int32_t> opcode = opcode_of(word);
  if (!opcode.has_value()) return refused("\"" + std::string(word) + "\" is no opcode");
  if (fcx::find_command(*opcode) == nullptr) {
    return refused("opcode " + std::to_string(*opcode) + " is unknown");
  }
  const size_t comma = std::min(word.size() + 1, command.text.size());
  const std::string_view text = command.text.substr(comma);
  if (text.size() >= QVCMD_DATA_SIZE) {
    return refused("the text has " + std::to_string(text.size()) +
                   " bytes, a request holds at most " + std::to_string(QVCMD_DATA_SIZE - 1));
  }
  const Delivery delivery = place.deliver(place.phone, *opcode, text);
  std::string line = "%FCX: " + std::to_string(delivery.response.result);
  if (!delivery.data().empty()) line += "," + as_word(delivery.data());
  return {{line}, delivery.response.result == QVCMD_OK, ""};
}

AtAnswer done(Place&, const AtCommand&) { return {{}, true, ""}; }

/// A value that the phone has, or ERROR.
AtAnswer value_or_refused(const std::optional<std::string>& value, const char* what) {
  if (!value.has_value() || value->empty()) {
    return refused("the phone has no " + std::string(what) + ", or it cannot be read");
  }
  return {{*value}, true, ""};
}

std::optional<std::string> manufacturer(Place& place) {
  return vp::get_property(place.phone, "ro.product.manufacturer");
}

std::optional<std::string> model(Place& place) {
  return vp::get_property(place.phone, "ro.product.model");
}

/// As the carrier has it.
std::optional<std::string> software_version(Place&) {
  constexpr int kOfCarrier = 2;
  fcx::FactoryVersion version;
  if (fcx::read_factory_version(kOfCarrier, version) != 0) return {};
  return version.text;
}

/// As the modem has it now.
std::optional<std::string> imei(Place&) {
  constexpr int kDigits = 15;
  std::array<char, 1> nothing{};
  AnswerText answer{};
  int length = 0;
  if (read_qve_imei(fcx::request::read_imei, nothing.data(), 0, answer.data(), &length) != 0 ||
      fcx::is_modem_error_text(answer.data(), length) || length < kDigits) {
    return {};
  }
  return std::string(answer.data(), kDigits);
}

std::optional<std::string> imsi(Place& place) {
  const vp::Sim sim = vp::sim(place.phone);
  if (sim.state != vp::SimState::inserted) return {};
  return sim.imsi;
}

/// A value of the phone, and what it is called.
struct Value {
  std::optional<std::string> (*read)(Place& place);
  const char* name;
};
constexpr Value kManufacturer{manufacturer, "manufacturer"};
constexpr Value kModel{model, "model"};
constexpr Value kSoftwareVersion{software_version, "software version"};
constexpr Value kImei{imei, "IMEI"};
constexpr Value kImsi{imsi, "IMSI"};

template <const Value& value>
AtAnswer tell(Place& place, const AtCommand&) {
  return value_or_refused(value.read(place), value.name);
}

AtAnswer identify(Place& place, const AtCommand& command) {
  if (command.text.find_first_not_of('0') != std::string_view::npos) {
    return refused("I has no other parts than I0");
  }
  AtAnswer answer{{}, true, ""};
  for (const Value& value : {kManufacturer, kModel, kSoftwareVersion, kImei}) {
    const auto found = value.read(place);
    if (found.has_value() && !found->empty()) answer.information.push_back(*found);
  }
  return answer;
}

/// The digit that is given, if it is one up to `most`.
std::optional<int> digit_up_to(std::string_view text, char most) {
  if (text.size() != 1 || text.front() < '0' || text.front() > most) return {};
  return text.front() - '0';
}

AtAnswer set_echo(Place& place, const AtCommand& command) {
  // No number is 0.
  const auto wanted = command.text.empty() ? 0 : digit_up_to(command.text, '1');
  if (!wanted.has_value()) return refused("the echo is 0 or 1");
  place.settings.echo = *wanted == 1;
  return {{}, true, ""};
}

AtAnswer set_verbose(Place&, const AtCommand& command) {
  if (command.text != "1") return refused("answers are words: V1");
  return {{}, true, ""};
}

AtAnswer tell_error_mode(Place& place, const AtCommand&) {
  return {{"+CMEE: " + std::to_string(place.settings.error_mode)}, true, ""};
}

AtAnswer set_error_mode(Place& place, const AtCommand& command) {
  const auto wanted = digit_up_to(command.text, '2');
  if (!wanted.has_value()) return refused("+CMEE is 0, 1 or 2");
  place.settings.error_mode = *wanted;
  return {{}, true, ""};
}

AtAnswer tell_sim(Place& place, const AtCommand&) {
  if (vp::sim(place.phone).state != vp::SimState::inserted) return refused("there is no SIM");
  return {{"+CPIN: READY"}, true, ""};
}

constexpr char kFlight[] = "flight";

AtAnswer tell_functions(Place& place, const AtCommand&) {
  const bool is_in_flight = vp::modem_value(place.phone, kFlight) == "1";
  return {{is_in_flight ? "+CFUN: 4" : "+CFUN: 1"}, true, ""};
}

AtAnswer set_functions(Place& place, const AtCommand& command) {
  if (command.text != "1") return refused("+CFUN is set to 1 alone");
  if (vp::modem_value(place.phone, kFlight) == "1") {
    vp::set_modem_value(place.phone, kFlight, "0");
    modem_flight_status = 0;
  }
  return {{}, true, ""};
}

AtAnswer set_character_set(Place&, const AtCommand& command) {
  if (command.text != "\"GSM\"") return refused("the character set is \"GSM\"");
  return {{}, true, ""};
}

/// A line that is always the same.
template <const char* const& line>
AtAnswer say(Place&, const AtCommand&) {
  return {{line}, true, ""};
}
constexpr const char* kErrorModes = "+CMEE: (0-2)";
constexpr const char* kCharacterSet = "+CSCS: \"GSM\"";
constexpr const char* kCharacterSets = "+CSCS: (\"GSM\")";
constexpr const char* kCapabilities = "+GCAP: +CGSM";

/// What a command's forms do; null for one that it does not have.
struct Row {
  std::string_view name;
  Act execute;
  Act query;
  Act range;
  Act assign;
};

// clang-format off
constexpr Row kRows[] = {
    {"E",     set_echo,               nullptr,                      nullptr,                      set_echo},
    {"V",     nullptr,                nullptr,                      nullptr,                      set_verbose},
    {"I",     identify,               nullptr,                      nullptr,                      identify},
    {"+CGMI", tell<kManufacturer>,    nullptr,                      done,                         nullptr},
    {"+CGMM", tell<kModel>,           nullptr,                      done,                         nullptr},
    {"+CGMR", tell<kSoftwareVersion>, nullptr,                      done,                         nullptr},
    {"+CGSN", tell<kImei>,            nullptr,                      done,                         nullptr},
    {"+CIMI", tell<kImsi>,            nullptr,                      done,                         nullptr},
    {"+CMEE", nullptr,                tell_error_mode,              say<kErrorModes>,             set_error_mode},
    {"+CPIN", nullptr,                tell_sim,                     nullptr,                      nullptr},
    {"+CSCS", nullptr,                say<kCharacterSet>,           say<kCharacterSets>,          set_character_set},
    {"+CFUN", nullptr,                tell_functions,               nullptr,                      set_functions},
    {"+GCAP", say<kCapabilities>,     nullptr,                      nullptr,                      nullptr},
    {"%BTAD", nullptr,                ask<handle_atcmd_btad_query>, ask<handle_atcmd_btad_range>, assign_address<handle_atcmd_btad_assign>},
    {"%WLAD", nullptr,                ask<wlan_mac_none>,           ask<answer_wlan_range>,       assign_address<wlan_mac_assign>},
    {"%FCX",  nullptr,                nullptr,                      nullptr,                      send_factory_command},
};
// clang-format on

const Row* find_row(std::string_view name) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [name](const Row& row) {
    return row.name.size() == name.size() &&
           strncasecmp(row.name.data(), name.data(), name.size()) == 0;
  });
  return found == std::end(kRows) ? nullptr : found;
}

Act form_of(const Row& row, AtForm form) {
  switch (form) {
    case AtForm::execute:
      return row.execute;
    case AtForm::query:
      return row.query;
    case AtForm::range:
      return row.range;
    case AtForm::assign:
      break;
  }
  return row.assign;
}

AtAnswer answer_command(Place& place, const AtCommand& command) {
  const Row* row = find_row(command.name);
  if (row == nullptr) return refused("no AT command is called " + std::string(command.name));
  const Act act = form_of(*row, command.form);
  if (act == nullptr) return refused(std::string(row->name) + " does not have this form");
  return act(place, command);
}

}  // namespace

std::vector<std::string> AtAnswer::lines() const {
  std::vector<std::string> all = information;
  all.emplace_back(is_ok ? "OK" : "ERROR");
  return all;
}

AtAnswer answer_at_line(vp::Phone& phone, std::string_view line, AtSettings& settings,
                        const Deliver& deliver) {
  if (const char* reason = why_no_at_line(line)) return refused(reason);
  Place place{phone, settings, deliver};
  AtAnswer whole{{}, true, ""};
  AtCommands commands(line);
  while (whole.is_ok && commands.has_next()) {
    AtCommand command;
    const char* reason = commands.next(command);
    AtAnswer answer = reason == nullptr ? answer_command(place, command) : refused(reason);
    whole.information.insert(whole.information.end(), answer.information.begin(),
                             answer.information.end());
    whole.is_ok = answer.is_ok;
    whole.reason = std::move(answer.reason);
  }
  return whole;
}

AtAnswer answer_at_line(vp::Phone& phone, std::string_view line) {
  AtSettings settings;
  return answer_at_line(phone, line, settings, factory_daemon::deliver);
}

}  // namespace factory_daemon
