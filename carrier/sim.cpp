#include "carrier/sim.h"

#include <algorithm>
#include <cstring>

#include "carrier/properties.h"
#include "fcx/modem_link.h"
#include "fcx/qvcmd.h"
#include "fcx/single_binary.h"
#include "modem/link/requests.h"

namespace {

constexpr char kNoSim[] = "NO SIM ERROR";
constexpr char kReadError[] = "NO SIM READ ERROR";
constexpr char kNotReady[] = "NOT YET";
constexpr size_t kShortestRadioAnswer = 6;

using AnswerText = fcx::TextBuffer<QVCMD_DATA_SIZE>;

void give(std::string_view text, char* out, int* length) {
  *length = static_cast<int>(text.copy(out, QVCMD_DATA_SIZE));
}

/// What the radio layer has published of both slots.
int read_radio_properties(char* out, int* length) {
  constexpr char kUnknown[] = "N/A";
  constexpr char kEmptySlot[] = "NODEF";
  const auto first = fcx::read_property("vendor.ril.iccid.sim1", kUnknown);
  const auto second = fcx::read_property("vendor.ril.iccid.sim2", kUnknown);
  if (first.view() == kEmptySlot && second.view() == kEmptySlot) {
    SBP_LOG("[QVE][SBP] NO SIM thought RIL");
    give(kNoSim, out, length);
    return 0;
  }
  // An empty first slot hides the second, on purpose.
  const auto& found = first.view() != kUnknown ? first : second;
  if (found.view() == kUnknown) {
    give(kReadError, out, length);
    return 1;
  }
  give(found.view(), out, length);
  return 0;
}

}  // namespace

int qve_read_sim(char* out, int* length, int command) {
  if (out == nullptr || length == nullptr) return 1;
  *length = 0;
  if (fcx::carrier_state().is_mtk) return read_radio_properties(out, length);
  return request_to_system(command, nullptr, 0, out, length, nullptr);
}

namespace fcx {

SimReading read_sim(const char* prefix) {
  AnswerText answer;
  int length = 0;
  const int error = qve_read_sim(answer.data(), &length, request::read_sim);
  if (error != 0) {
    SBP_LOG("%s Cannot get response. Return error:%d", prefix, error);
    return {SimAnswer::none, {}};
  }
  const std::string_view text = answer.view();
  if (carrier_state().is_mtk && text.size() < kShortestRadioAnswer) {
    SBP_LOG("%s ATCommand response problem", prefix);
    return {SimAnswer::too_short, {}};
  }
  SBP_LOG("%s buffer: %s, length: %d", prefix, answer.c_str(), length);
  const IccidText iccid(text);
  SBP_LOG("%s Inserted SIM-ICCID: %s", prefix, iccid.c_str());
  if (iccid.view() == kNoSim) {
    SBP_LOG("%s No SIM!", prefix);
    return {SimAnswer::no_sim, {}};
  }
  if (iccid.view() == kReadError) {
    SBP_LOG("%s SIM READ ERROR!", prefix);
    return {SimAnswer::read_error, {}};
  }
  if (iccid.view() == kNotReady) {
    SBP_LOG("%s NOT ready to read SIM", prefix);
    return {SimAnswer::not_ready, {}};
  }
  return {SimAnswer::iccid, iccid};
}

IccidText without_padding(const IccidText& iccid) {
  std::string_view digits = iccid.view();
  while (digits.size() > 1 && digits.back() == 'f') digits.remove_suffix(1);
  return IccidText(digits);
}

int read_sim_profile_permission() {
  const auto permission = read_property("persist.vendor.qve.sim.profile.permission", "0");
  if (permission.view() == "0") return 0;
  return permission.view() == "1" ? 1 : -1;
}

}  // namespace fcx
