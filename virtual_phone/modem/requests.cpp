// What the modem answers over its direct interface, request by request.
#include <algorithm>
#include <array>
#include <cerrno>

#include "fcx/factory_item_table.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/events.h"
#include "virtual_phone/core/item_store.h"
#include "virtual_phone/modem/efs.h"
#include "virtual_phone/modem/exchange.h"
#include "virtual_phone/modem/modem.h"
#include "virtual_phone/modem/sim.h"

namespace virtual_phone {
namespace {

namespace request = fcx::request;

constexpr int64_t kResetUs = 5'000'000;
constexpr size_t kChunk = 255;
constexpr size_t kLargestArea = 64 << 10;
constexpr size_t kNvPacket = 132;
constexpr char kCheckDigitError[] = "CHECK DIGIT ERROR";
constexpr char kNoSim[] = "NO SIM ERROR";
constexpr char kSimNotReady[] = "NOT YET";

/// What a restart of the phone ends.
struct Run {
  int64_t reset_us = 0;    ///< when the last reset began
  std::string area;        ///< of the bulk transfer
  size_t position = 0;     ///< where it is read next
  bool uploading = false;  ///< the area is being written, and not to be read yet
};

Run read_run(Database& database) {
  Query query =
      database.query("SELECT reset_us, area, position, uploading FROM modem_run WHERE one = 1");
  if (!query.step()) return {};
  return {query.number(0), query.text(1), static_cast<size_t>(query.number(2)),
          query.number(3) != 0};
}

/// Lets `work` change the run, or nothing at all when it throws.
template <typename Work>
auto with_run(Phone& phone, Work work) {
  const std::lock_guard lock(phone.mutex());
  Transaction transaction(phone.fleeting());
  Run run = read_run(phone.fleeting());
  const auto result = work(run);
  phone.fleeting()
      .query(
          "INSERT OR REPLACE INTO modem_run(one, reset_us, area, position, uploading)"
          " VALUES(1, ?, ?, ?, ?)")
      .bind(run.reset_us)
      .bind_blob(run.area)
      .bind(static_cast<int64_t>(run.position))
      .bind(run.uploading ? 1 : 0)
      .run();
  transaction.commit();
  return result;
}

/// Another process's clock may be behind the one on which the reset began: there it is over.
bool is_resetting(const Run& run) {
  const int64_t since = now_us() - run.reset_us;
  return since >= 0 && since < kResetUs;
}

bool is_resetting(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  return is_resetting(read_run(phone.fleeting()));
}

struct Row;

struct Call {
  Phone& phone;
  const Row& row;
  std::string_view payload;
};

struct Row {
  int32_t number;
  ModemAnswer (*carry_out)(const Call&);
  const char* value;    ///< the modem value that it is about, or null
  std::string done;     ///< the answer when it was done
  std::string refused;  ///< the answer when it was not, or when there is nothing to read
};

ModemAnswer read_value(const Call& call) {
  return answer_of(modem_value(call.phone, call.row.value).value_or(call.row.refused));
}

ModemAnswer write_imei(const Call& call) {
  const std::string_view imei = text_of(call.payload);
  if (imei.size() != find_modem_value(call.row.value)->longest ||
      imei.find_first_not_of("0123456789") != std::string_view::npos) {
    return answer_of(call.row.refused);
  }
  if (imei_check_digit(imei) != imei.back()) return answer_of(kCheckDigitError);
  set_modem_value(call.phone, call.row.value, imei);
  return answer_of(call.row.done);
}

ModemAnswer write_record(const Call& call) {
  const std::string_view record = text_of(call.payload);
  if (record.empty() || record.size() > find_modem_value(call.row.value)->longest) {
    return answer_of(call.row.refused);
  }
  set_modem_value(call.phone, call.row.value, record);
  return answer_of(call.row.done);
}

ModemAnswer write_flag(const Call& call) {
  const std::string_view text = text_of(call.payload);
  if (text.empty()) return answer_of(call.row.refused);
  set_modem_value(call.phone, call.row.value, text[0] == '1' ? "1" : "0");
  return answer_of(call.row.done);
}

bool knows_pid(Phone& phone) { return modem_value(phone, "pid_supported") != "0"; }

ModemAnswer read_pid(const Call& call) {
  return knows_pid(call.phone) ? read_value(call) : answer_code(kUnknownRequest);
}

ModemAnswer write_pid(const Call& call) {
  return knows_pid(call.phone) ? write_record(call) : answer_code(kUnknownRequest);
}

ModemAnswer read_sim(const Call& call) {
  if (!poll_sim(call.phone)) return answer_of(kSimNotReady);
  const Sim found = sim(call.phone);
  if (found.state == SimState::absent) return answer_of(kNoSim);
  return answer_of(found.state == SimState::inserted ? found.iccid : call.row.refused);
}

ModemAnswer begin_bulk(const Call& call) {
  return with_run(call.phone, [](Run& run) {
    run.area.clear();
    run.position = 0;
    run.uploading = true;
    return answer_of("");
  });
}

ModemAnswer read_ntcode(const Call& call) {
  const std::string item = read_items(call.phone, fcx::item::network_code, kItemBlock);
  return with_run(call.phone, [&](Run& run) {
    run.area = text_of(item);
    run.position = 0;
    run.uploading = false;
    return answer_of("");
  });
}

ModemAnswer send_bulk(const Call& call) {
  return with_run(call.phone, [&](Run& run) {
    if (!run.uploading) run.area.clear();
    if (run.area.size() + call.payload.size() > kLargestArea) {
      throw Refused("a bulk transfer has at most " + std::to_string(kLargestArea) + " bytes");
    }
    run.area += call.payload;
    run.position = 0;
    run.uploading = call.payload.size() >= kChunk;
    return answer_of("");
  });
}

ModemAnswer receive_bulk(const Call& call) {
  return with_run(call.phone, [](Run& run) {
    if (run.uploading) return answer_of("");
    const std::string chunk = run.area.substr(run.position, kChunk);
    run.position += chunk.size();
    return answer_of(chunk);
  });
}

ModemAnswer flush_efs(const Call& call) {
  sync_efs(call.phone);
  return answer_of(call.row.done);
}

ModemAnswer check_ready(const Call& call) {
  return answer_of(is_resetting(call.phone) ? call.row.refused : call.row.done);
}

ModemAnswer reset_modem(const Call& call) {
  const bool begins = with_run(call.phone, [](Run& run) {
    if (is_resetting(run)) return false;
    run.reset_us = now_us();
    return true;
  });
  if (!begins) throw Refused("the modem is resetting already");
  record_event(call.phone, "modem_reset", "for " + std::to_string(kResetUs / 1'000'000) + " s");
  return answer_of(call.row.done);
}

ModemAnswer copy_golden(const Call& call) {
  make_golden_copy(call.phone);
  return answer_of(call.row.done);
}

ModemAnswer set_hardreset(const Call& call) {
  if (call.payload.size() != 1 || static_cast<uint8_t>(call.payload[0]) > 1) {
    return answer_of(call.row.refused);
  }
  set_modem_value(call.phone, call.row.value, call.payload[0] == 1 ? "1" : "0");
  return answer_of(call.row.done);
}

ModemAnswer deactivate_mbn(const Call& call) {
  set_modem_value(call.phone, call.row.value, "1");
  return answer_of(call.row.done);
}

std::string nv_answer(NvState state, std::string value = "") {
  value.resize(kNvItemSize, '\0');
  return value + static_cast<char>(state);
}

/// The item that a packet names. Throws Refused for what is no packet with this command code.
uint16_t nv_number(std::string_view packet, uint8_t command) {
  if (packet.size() != kNvPacket || static_cast<uint8_t>(packet[0]) != command) {
    throw Refused("no NV packet of " + std::to_string(kNvPacket) + " bytes that begins with " +
                  std::to_string(command));
  }
  return static_cast<uint16_t>(static_cast<uint8_t>(packet[1]) | static_cast<uint8_t>(packet[2])
                                                                     << 8);
}

ModemAnswer read_nv(const Call& call) {
  const auto item = nv_item(call.phone, nv_number(call.payload, 0x26));
  return answer_of(item.has_value() ? nv_answer(item->state, item->value) : "");
}

ModemAnswer write_nv(const Call& call) {
  const uint16_t number = nv_number(call.payload, 0x27);
  const std::string value(call.payload.substr(3, kNvItemSize));
  return answer_of(write_nv_item(call.phone, number, value) ? nv_answer(NvState::active, value)
                                                            : call.row.refused);
}

ModemAnswer use_efs(const Call& call) { return answer_of(answer_efs(call.phone, call.payload)); }

const std::vector<Row>& rows() {
  static const std::string kNo = "0";
  static const std::string kYes = "1";
  static const std::string kImeiUnread = "IMEI READ ERROR :(";
  static const std::vector<Row> all = {
      {request::read_sim, read_sim, nullptr, "", "NO SIM READ ERROR"},
      {request::write_impl, write_flag, "impl", "IMPL WRITE OK", "IMPL WRITE ERROR"},
      {request::read_impl, read_value, "impl", "", "IMPL READ ERROR"},
      {request::write_idde, write_record, "idde", "IDDE OK", "IDDE ERROR"},
      {request::read_idde, read_value, "idde", "", "IDDE READ ERROR"},
      {request::write_fusg, write_flag, "fusg", "FUSG WRITE OK", "FUSG WRITE ERROR"},
      {request::read_fusg, read_value, "fusg", "", "FUSG READ ERROR"},
      {request::write_pid2, write_record, "pid2", "PID2 WRITE OK", "PID2 WRITE ERROR"},
      {request::read_pid2, read_value, "pid2", "", "PID2 READ ERROR"},
      {request::write_imei, write_imei, "imei1", "IMEI WRITE OK", "IMEI WRITE ERROR"},
      {request::read_imei, read_value, "imei1", "", kImeiUnread},
      {request::write_imei2, write_imei, "imei2", "IMEI WRITE OK", "IMEI WRITE ERROR"},
      {request::read_imei2, read_value, "imei2", "", kImeiUnread},
      {request::write_imei3, write_imei, "imei3", "IMEI WRITE OK", "IMEI WRITE ERROR"},
      {request::read_imei3, read_value, "imei3", "", kImeiUnread},
      {request::read_ntcode, read_ntcode, nullptr, "", ""},
      {request::write_suffix, write_record, "suffix", "SUFFIX WRITE OK", "SUFFIX WRITE ERROR"},
      {request::read_suffix, read_value, "suffix", "", "SUFFIX READ ERROR"},
      {request::write_gden_flag, write_record, "gden_flag", "GDEN WRITE OK", "GDEN WRITE ERROR"},
      {request::write_gden, write_record, "gden", "GDEN WRITE OK", "GDEN WRITE ERROR"},
      {request::read_gden, read_value, "gden", "", "GDEN READ ERROR"},
      {request::write_efsa, write_record, "efsa", "EFSA WRITE OK", "EFSA WRITE ERROR"},
      {request::write_rgrv, write_record, "rgrv", "RGRV WRITE OK", "RGRV WRITE ERROR"},
      {request::read_rgrv, read_value, "rgrv", "", "RGRV READ ERROR"},
      {request::begin_bulk, begin_bulk, nullptr, "", ""},
      {request::send_bulk, send_bulk, nullptr, "", ""},
      {request::receive_bulk, receive_bulk, nullptr, "", ""},
      {request::read_meid, read_value, "meid", "", ""},
      {request::read_pesn, read_value, "pesn", "", ""},
      {request::read_type_code, read_value, "type_code", "", "TYPE READ ERROR"},
      {request::sync_efs, flush_efs, nullptr, kYes, "\xFF"},
      {request::read_pid, read_pid, "pid", "", ""},
      {request::write_pid, write_pid, "pid", "PID WRITE OK", "PID WRITE ERROR"},
      {request::check_ready, check_ready, nullptr, kYes, kNo},
      {request::reset_modem, reset_modem, nullptr, kYes, kNo},
      {request::make_golden_copy, copy_golden, nullptr, kYes, kNo},
      {request::efs, use_efs, nullptr, "", efs_result(-EIO)},
      {request::read_nv, read_nv, nullptr, "", nv_answer(NvState::failing)},
      {request::write_nv, write_nv, nullptr, "", nv_answer(NvState::failing)},
      {request::hardreset_enable, set_hardreset, "hardreset_enable", std::string(1, '\0'), "\xFF"},
      {request::deactivate_mbn, deactivate_mbn, "mbn_deactivated", kYes, kNo},
  };
  return all;
}

const Row* find_row(int32_t number) {
  const auto row = std::find_if(rows().begin(), rows().end(),
                                [&](const Row& each) { return each.number == number; });
  return row == rows().end() ? nullptr : &*row;
}

}  // namespace

ModemAnswer answer_directly(Phone& phone, int32_t number, std::string_view payload) {
  if (number != request::check_ready && is_resetting(phone)) {
    throw Refused("the modem is resetting");
  }
  const Row* row = find_row(number);
  if (row == nullptr) return answer_code(kUnknownRequest);
  return row->carry_out({phone, *row, payload});
}

ModemAnswer refuse_directly(int32_t number) {
  const Row* row = find_row(number);
  return row == nullptr ? answer_code(kUnknownRequest) : answer_of(row->refused);
}

bool knows_directly(int32_t number) { return find_row(number) != nullptr; }

bool is_modem_message(int32_t number, std::string_view answer) {
  const Row* row = find_row(number);
  if (row == nullptr || answer.empty()) return false;
  if (answer == row->done || answer == row->refused) return true;
  return answer == kCheckDigitError || answer == kNoSim || answer == kSimNotReady;
}

}  // namespace virtual_phone
