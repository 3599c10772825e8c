#include "daemon/at_commands.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "daemon/deliver.h"
#include "daemon/hex.h"
#include "fcx/bt_address.h"
#include "fcx/wlan_address.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;

/// Carries out one form of a command.
using Act = AtAnswer (*)(vp::Phone& phone, const AtCommand& command);

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
AtAnswer ask(vp::Phone&, const AtCommand&) {
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
AtAnswer assign_address(vp::Phone&, const AtCommand& command) {
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

AtAnswer send_factory_command(vp::Phone& phone, const AtCommand& command) {
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
  const Delivery delivery = deliver(phone, *opcode, text);
  std::string line = "%FCX: " + std::to_string(delivery.response.result);
  if (!delivery.data().empty()) line += "," + as_word(delivery.data());
  return {{line}, delivery.response.result == QVCMD_OK, ""};
}

/// What a command's forms do; null for one that it does not have.
struct Row {
  std::string_view name;
  Act query;
  Act range;
  Act assign;
};

// clang-format off
constexpr Row kRows[] = {
    {"BTAD", ask<handle_atcmd_btad_query>, ask<handle_atcmd_btad_range>, assign_address<handle_atcmd_btad_assign>},
    {"WLAD", ask<wlan_mac_none>,           ask<answer_wlan_range>,       assign_address<wlan_mac_assign>},
    {"FCX",  nullptr,                      nullptr,                      send_factory_command},
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
    case AtForm::query:
      return row.query;
    case AtForm::range:
      return row.range;
    case AtForm::assign:
      return row.assign;
    case AtForm::attention:
    case AtForm::execute:
      break;
  }
  return nullptr;
}

}  // namespace

std::vector<std::string> AtAnswer::lines() const {
  std::vector<std::string> all = information;
  all.emplace_back(is_ok ? "OK" : "ERROR");
  return all;
}

AtAnswer answer_at_command(vp::Phone& phone, const AtCommand& command) {
  if (command.form == AtForm::attention) return {{}, true, ""};
  const Row* row = find_row(command.name);
  if (row == nullptr) return refused("no AT command is called %" + std::string(command.name));
  const Act act = form_of(*row, command.form);
  if (act == nullptr) return refused("%" + std::string(row->name) + " does not have this form");
  return act(phone, command);
}

}  // namespace factory_daemon
