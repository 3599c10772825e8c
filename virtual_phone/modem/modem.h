// The phone's modem: what it keeps, and what was asked of it. It answers the direct interface of
// platform/modem_interface.h; the system side's AT-command service keeps its model name and its
// requests here too. What it keeps is on disk before a write is reported done.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// What a value must look like to be one that a modem would keep.
enum class ModemForm {
  imei,    ///< 15 decimal digits, the last one their check digit
  flag,    ///< "0" or "1"
  record,  ///< 1 to `longest` bytes
};

struct ModemValue {
  const char* name;
  ModemForm form;
  size_t longest;    ///< bytes
  bool is_identity;  ///< names one handset: shown in part only in listings
  const char* meaning;
};

/// The values that a modem can keep, by name.
const std::vector<ModemValue>& known_modem_values();
/// The row of `name`, or null.
const ModemValue* find_modem_value(std::string_view name);

/// The check digit of an IMEI whose first 14 digits these are; there may be more.
char imei_check_digit(std::string_view digits);

/// Throws Refused, with the reason, for an unknown name and for a value that no modem would keep.
void check_modem_value(std::string_view name, std::string_view value);

/// A value as it is kept; nothing when there is none.
std::optional<std::string> modem_value(Phone& phone, std::string_view name);
/// Keeps any bytes, also such as check_modem_value() refuses, so that a modem can be brought into
/// a state which its own checks prevent. Throws Refused for an unknown name and more than 2048
/// bytes.
void set_modem_value(Phone& phone, std::string_view name, std::string_view value);
/// Throws Refused for an unknown name. @return whether there was a value
bool remove_modem_value(Phone& phone, std::string_view name);
std::map<std::string, std::string> modem_values(Phone& phone);

constexpr size_t kNvItemSize = 128;

/// How an NV item answers; the values are the status bytes of its packet.
enum class NvState { active = 0, failing = 4, inactive = 5 };
template <>
inline constexpr EnumName<NvState> kEnumNames<NvState>[] = {
    {NvState::active, "active"}, {NvState::failing, "failing"}, {NvState::inactive, "inactive"}};

struct NvItem {
  NvState state;
  std::string value;  ///< at most kNvItemSize bytes; an item that is not active has none
};

std::optional<NvItem> nv_item(Phone& phone, uint16_t number);
/// Throws Refused for a value that is too long, or that a state other than active would not have.
void set_nv_item(Phone& phone, uint16_t number, const NvItem& item);
/// What a write by packet does: the item becomes active with this value, unless it is failing.
/// @return whether it did
bool write_nv_item(Phone& phone, uint16_t number, std::string_view value);
/// @return whether there was one
bool remove_nv_item(Phone& phone, uint16_t number);
std::map<uint16_t, NvItem> nv_items(Phone& phone);

struct ModemRequest {
  int64_t id;
  int64_t time_us;        ///< when it arrived; since 1970, on the phone's clock
  int32_t number;         ///< whose route is fcx::route_of(number)
  std::string payload;    ///< as it travelled, without base64; empty when its length was impossible
  int32_t code;           ///< what the direct interface returned, or the system side's result
  int32_t status;         ///< the answer's status word
  int32_t answer_length;  ///< as the answer claims
  std::string answer;     ///< the bytes that arrived, without base64
  bool overlapped;        ///< another direct request of this process was in flight at the same time
};

/// How many requests are kept.
constexpr int64_t kKeptRequests = 200;

/// The requests after the one with the id `after`, oldest first.
std::vector<ModemRequest> modem_requests(Phone& phone, int64_t after = 0);
/// Adds one; its id is given here.
void record_modem_request(Phone& phone, const ModemRequest& request);

/// Whether an answer to that request is the modem's word on how it went, and no value.
bool is_modem_message(int32_t number, std::string_view answer);

struct EfsFile {
  std::string path;  ///< from the root of the modem's file system, with a slash
  uint64_t size;
};
/// The files of the modem's file system, by path.
std::vector<EfsFile> efs_files(Phone& phone);

}  // namespace virtual_phone
