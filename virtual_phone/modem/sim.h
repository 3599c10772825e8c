// The phone's SIM, and how it is found: the modem answers the request read_sim, and on a MediaTek
// chipset the radio layer publishes "vendor.ril.iccid.sim1" and "vendor.ril.iccid.sim2". The SIM is
// on disk before a change is reported done.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {

enum class SimState {
  inserted,
  absent,
  error,  ///< there is one that cannot be read
};
template <>
inline constexpr EnumName<SimState> kEnumNames<SimState>[] = {
    {SimState::inserted, "inserted"}, {SimState::absent, "absent"}, {SimState::error, "error"}};

struct Sim {
  SimState state = SimState::absent;
  std::string iccid;      ///< what is read from it when it is inserted; at most kLongestIccid bytes
  int64_t not_yet = 0;    ///< polls after a start that find it not ready
  std::string imsi = {};  ///< empty when nobody has said which
};

constexpr size_t kLongestIccid = 2048;

Sim sim(Phone& phone);

/// Changes the SIM, which starts anew: so does the radio layer, and the polls to wait for.
/// Takes any bytes, also such as check_iccid() refuses. Throws Refused for more than kLongestIccid,
/// and for a negative number of polls.
void set_sim(Phone& phone, const Sim& sim);

/// Throws Refused, with the reason, for what is no ICCID: 18 to 20 digits, or less than 20 with "f"
/// after them up to 20.
void check_iccid(std::string_view iccid);

/// Throws Refused, with the reason, for what is no IMSI: 6 to 15 digits.
void check_imsi(std::string_view imsi);

/// How many polls will still find the SIM not ready.
int64_t polls_to_wait(Phone& phone);

/// Counts one poll. @return whether it finds the SIM ready
bool poll_sim(Phone& phone);

/// Asked when the library finds no value for a property: a read of the first slot's is a poll.
/// @return whether the radio layer has published it now
bool radio_layer_answers(Phone& phone, std::string_view property);

// Parts of a transaction of the caller's.

void store_sim(Database& database, const Sim& sim);
/// The SIM starts with the phone: no poll is counted yet, and the radio layer publishes anew.
void start_sim(Database& database);

}  // namespace virtual_phone
