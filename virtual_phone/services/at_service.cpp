// The AT-command service of the system side, instance "atservice": what it does to the phone,
// request by request.
#include <utils/Errors.h>
#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <new>

#include "fcx/qvcmd.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/own_directory.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/hidl/services.h"
#include "virtual_phone/modem/exchange.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"
#include "virtual_phone/power/unflushed.h"
#include "virtual_phone/services/base64.h"

namespace virtual_phone {
namespace {

namespace fs = std::filesystem;
namespace request = fcx::request;

using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;

constexpr char kName[] = "atservice";
constexpr int32_t kFailed = 1;

constexpr char kLogs[] = "/data/logger";
constexpr char kSavedLogs[] = "/data/vendor/factory/logsave";
constexpr char kBrightness[] = "/proc/qve_power/lcd/brightness";

struct Row;

struct Call {
  Phone& phone;
  const Row& row;
  std::string_view payload;
};

struct Row {
  int32_t number;
  ModemAnswer (*carry_out)(const Call&);
  const char* event;   ///< the kind that is recorded, or null
  const char* detail;  ///< of the event; else what the function says
};

/// One folder's name, which leads nowhere else.
bool is_folder_name(std::string_view name) {
  return !name.empty() && name != "." && name.find('/') == std::string_view::npos &&
         name.find("..") == std::string_view::npos;
}

/// Copies a file to a device path, where a link is replaced and not followed.
void copy_to(Phone& phone, const fs::path& file, const fs::path& device_path) {
  const fs::path target =
      make_own_directory(phone, device_path.parent_path().string()) / device_path.filename();
  if (fs::is_symlink(target)) fs::remove(target);
  fs::copy_file(file, target, fs::copy_options::overwrite_existing);
  note_tree_flushed(phone, "root" + device_path.lexically_normal().string());
}

ModemAnswer copy_logs(const Call& call) {
  const std::string_view date = text_of(call.payload);
  if (!is_folder_name(date)) throw Refused("\"" + std::string(date) + "\" names no log folder");
  const fs::path target = fs::path(kSavedLogs) / date;
  if (const auto logs = own_directory(call.phone, kLogs)) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(*logs)) {
      if (entry.symlink_status().type() != fs::file_type::regular) continue;
      copy_to(call.phone, entry.path(), target / entry.path().lexically_relative(*logs));
    }
  }
  const fs::path log = call.phone.log_file();
  const fs::path full = log.string() + ".1";
  if (fs::exists(full)) copy_to(call.phone, full, target / full.filename());
  copy_to(call.phone, log, target / log.filename());
  return answer_of("");
}

ModemAnswer erase_logs(const Call& call) {
  const auto logs = own_directory(call.phone, kLogs);
  if (!logs.has_value()) return answer_of("");
  for (const fs::directory_entry& entry : fs::directory_iterator(*logs)) {
    fs::remove_all(entry.path());
  }
  note_tree_flushed(call.phone, std::string("root") + kLogs);
  return answer_of("");
}

/// The row's detail is the brightness.
ModemAnswer set_brightness(const Call& call) {
  write_node(call.phone, kBrightness, call.row.detail);
  return answer_of("");
}

ModemAnswer leave_mark(const Call&) { return answer_of(""); }

uLong add_to_crc(uLong crc, std::string_view bytes) {
  return crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

/// Of the items that are active, in the order of their numbers: each as its number in two bytes,
/// the low one first, and its value.
ModemAnswer nv_crc(const Call& call) {
  uLong crc = add_to_crc(0, {});
  for (const auto& [number, item] : nv_items(call.phone)) {
    if (item.state != NvState::active) continue;
    const char bytes[] = {static_cast<char>(number & 0xFF), static_cast<char>(number >> 8)};
    crc = add_to_crc(add_to_crc(crc, {bytes, sizeof bytes}), item.value);
  }
  std::array<char, 11> text;
  snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(crc));
  return answer_of(text.data());
}

ModemAnswer model_name(const Call& call) {
  constexpr char kValue[] = "model_name";
  const std::string_view name = text_of(call.payload);
  if (name.empty()) return answer_of(modem_value(call.phone, kValue).value_or(""));
  check_modem_value(kValue, name);
  set_modem_value(call.phone, kValue, name);
  return answer_of("");
}

std::string value_of(const Call& call, const char* otherwise) {
  return modem_value(call.phone, call.row.detail).value_or(otherwise);
}

/// The row's detail is the value that is answered, as it is for all of the next.
ModemAnswer read_number(const Call& call) { return answer_of(value_of(call, "0")); }

/// A device that is not there fails the request.
ModemAnswer check_device(const Call& call) {
  return value_of(call, "0") == "1" ? answer_of("1") : answer_code(kFailed);
}

ModemAnswer is_sim(const Call& call) {
  return answer_of(sim(call.phone).state == SimState::absent ? "0" : "1");
}

ModemAnswer set_virtual_sim(const Call& call) {
  const std::string_view wanted = text_of(call.payload);
  if (wanted != "0" && wanted != "1") return answer_code(kUnknownRequest);
  set_modem_value(call.phone, call.row.detail, wanted);
  return answer_of("OK");
}

ModemAnswer is_virtual_sim(const Call& call) {
  return answer_of(value_of(call, "0") == "1" ? "OK" : "OFF");
}

ModemAnswer read_bytes(const Call& call) {
  const std::string value = value_of(call, "");
  return value.empty() ? answer_code(kFailed) : answer_of(value);
}

ModemAnswer write_bytes(const Call& call) {
  check_modem_value(call.row.detail, call.payload);
  set_modem_value(call.phone, call.row.detail, call.payload);
  return answer_of("OK");
}

constexpr Row kRows[] = {
    {request::copy_logs, copy_logs, nullptr, nullptr},
    {request::erase_logs, erase_logs, nullptr, nullptr},
    {request::sleep, set_brightness, "sleep", "0"},
    {request::wake_up, set_brightness, "wake_up", "183"},
    {request::run_omadm_1, leave_mark, "omadm", "1"},
    {request::run_omadm_2, leave_mark, "omadm", "2"},
    {request::run_omadm_3, leave_mark, "omadm", "3"},
    {request::run_omadm_other, leave_mark, "omadm", "other"},
    {request::check_mmw, check_device, nullptr, "mmw_device"},
    {request::get_4g_error_5g, read_number, nullptr, "rf_4g_error_handle_5g"},
    {request::set_4g_error_5g, write_bytes, nullptr, "rf_4g_error_handle_5g"},
    {request::test_script_mode, read_number, nullptr, "test_script_mode"},
    {request::check_rf_cal, read_number, nullptr, "rf_calibrated"},
    {request::is_sim, is_sim, nullptr, nullptr},
    {request::set_virtual_sim, set_virtual_sim, nullptr, "virtual_sim"},
    {request::is_virtual_sim, is_virtual_sim, nullptr, "virtual_sim"},
    {request::read_satpc, read_bytes, nullptr, "satpc"},
    {request::write_satpc, write_bytes, nullptr, "satpc"},
    {request::nv_crc, nv_crc, nullptr, nullptr},
    {request::model_name, model_name, nullptr, nullptr},
};

/// The row of a request, or null.
const Row* find_row(int32_t number) {
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows),
                                 [&](const Row& each) { return each.number == number; });
  return row == std::end(kRows) ? nullptr : row;
}

ModemAnswer carry_out(Phone& phone, int32_t number, std::string_view payload) {
  const Row* row = find_row(number);
  if (row == nullptr) return answer_code(kUnknownRequest);
  const ModemAnswer answer = row->carry_out({phone, *row, payload});
  if (row->event != nullptr) record_event(phone, row->event, row->detail);
  return answer;
}

/// The bytes that a request carries. Throws Refused for one that does not say what it carries, or
/// carries more than a request can.
std::string payload_of(const QVATCMDRequest& request) {
  const auto bytes = from_base64({request.data.c_str(), request.data.size()});
  if (!bytes.has_value()) throw Refused("the request's data is no base64");
  if (request.data_len < 0 || static_cast<size_t>(request.data_len) != bytes->size()) {
    throw Refused("the request carries " + std::to_string(bytes->size()) + " bytes, and claims " +
                  std::to_string(request.data_len));
  }
  if (bytes->size() > QVCMD_DATA_SIZE) {
    throw Refused("a request carries at most " + std::to_string(QVCMD_DATA_SIZE) + " bytes");
  }
  return *bytes;
}

/// The text in which an answer's bytes travel.
std::string data_of(const ModemAnswer& answer) {
  constexpr char kNoBase64 = '#';
  return answer.is_garbled ? std::string(answer.bytes.size(), kNoBase64) : to_base64(answer.bytes);
}

/// Fills `response`. @return whether the call gets through
bool answer_call(Phone& phone, const QVATCMDRequest& request, QVATCMDResponse& response) {
  constexpr int32_t kBrokenOff = -1;
  ModemRequest record{0, now_us(), request.opcode, "", kBrokenOff, 0, 0, "", false};
  Accessing accessing(phone, {Part::service, kName, Access::call});
  const bool gets_through = !accessing.strike().has_value();
  if (gets_through) {
    const ModemAnswer answer = answer_or_fail(request.opcode, [&] {
      const std::string payload = payload_of(request);
      record.payload = payload;
      return answer_request(phone, request.opcode, payload,
                            {[&] { return carry_out(phone, request.opcode, payload); },
                             [] { return answer_code(kFailed); }});
    });
    response.result = answer.code;
    response.data_len = answer.length;
    response.status = answer.status;
    response.data = data_of(answer);
    record.code = answer.code;
    record.status = answer.status;
    record.answer_length = answer.length;
    if (!answer.is_garbled) record.answer = answer.bytes;
  }
  record_modem_request(phone, record);
  accessing.ends(gets_through ? 0 : -1);
  return gets_through;
}

class AtService : public IQvAtCmd {
 public:
  Return<void> request(const QVATCMDRequest& request, request_cb give) override {
    QVATCMDResponse response{};
    const int failed = platform_call(
        kName, -1, [&](Phone& phone) { return answer_call(phone, request, response) ? 0 : -1; });
    if (failed != 0) return Status::fromStatusT(android::DEAD_OBJECT);
    give(response);
    return Void();
  }
};

Service at_service(Phone&) {
  static const android::sp<AtService> service(new (std::nothrow) AtService);
  return service;
}

[[maybe_unused]] const bool is_registered =
    (register_service(IQvAtCmd::descriptor, kName, at_service, kName), true);

}  // namespace

bool system_side_knows(int32_t number) { return find_row(number) != nullptr; }

}  // namespace virtual_phone
