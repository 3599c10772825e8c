// What the modem keeps, and the requests that reached it.
#include "fcx/qvcmd.h"
#include "virtual_phone/modem/modem.h"

namespace virtual_phone {
namespace {

constexpr size_t kImeiDigits = 15;
constexpr size_t kRecord = 128;

/// Throws Refused for a value that the modem does not know.
const ModemValue& known(std::string_view name) {
  const ModemValue* row = find_modem_value(name);
  if (row == nullptr) throw Refused("a modem keeps no value \"" + std::string(name) + "\"");
  return *row;
}

NvItem nv_item_of(const Query& row) {
  return {named<NvState>(row.text(1)).value_or(NvState::failing), row.text(2)};
}

}  // namespace

const std::vector<ModemValue>& known_modem_values() {
  static const std::vector<ModemValue> rows = {
      {"efsa", ModemForm::record, kRecord, false, "EFSA record"},
      {"flight", ModemForm::flag, 1, false, "1: the device is in flight mode"},
      {"fusg", ModemForm::flag, 1, false, "FUSG flag"},
      {"gden", ModemForm::record, kRecord, false, "GDEN record"},
      {"gden_flag", ModemForm::record, kRecord, false, "GDEN flag"},
      {"hardreset_enable", ModemForm::flag, 1, false, "the power key can reset the phone"},
      {"idde", ModemForm::record, QVCMD_DATA_SIZE, false, "IDDE record"},
      {"imei1", ModemForm::imei, kImeiDigits, true, "IMEI of the first SIM slot"},
      {"imei2", ModemForm::imei, kImeiDigits, true, "IMEI of the second SIM slot"},
      {"imei3", ModemForm::imei, kImeiDigits, true, "IMEI of the third SIM slot"},
      {"impl", ModemForm::flag, 1, false, "IMPL flag"},
      {"mbn_deactivated", ModemForm::flag, 1, false,
       "1: the modem's configuration files are not active"},
      {"meid", ModemForm::record, kRecord, true, "MEID"},
      {"mmw_device", ModemForm::flag, 1, false, "1: the millimetre-wave device is there"},
      {"model_name", ModemForm::record, 255, false, "model name, kept on the system side"},
      {"pesn", ModemForm::record, kRecord, true, "pseudo-ESN"},
      {"pid", ModemForm::record, 30, true, "product identifier"},
      {"pid2", ModemForm::record, kRecord, true, "second product identifier"},
      {"pid_supported", ModemForm::flag, 1, false,
       "0: the modem does not know the product identifier's requests"},
      {"rf_4g_error_handle_5g", ModemForm::record, 1, false,
       "the 4G error handling for 5G, kept on the system side"},
      {"rf_calibrated", ModemForm::flag, 1, false, "1: the RF calibration data is there"},
      {"rgrv", ModemForm::record, kRecord, false, "RGRV record"},
      {"satpc", ModemForm::record, kRecord, false, "SAT profile, kept on the system side"},
      {"suffix", ModemForm::record, kRecord, false, "model suffix"},
      {"test_script_mode", ModemForm::record, 15, false,
       "mode of the test script, a number, kept on the system side"},
      {"type_code", ModemForm::record, kRecord, false, "the device's type code"},
      {"virtual_sim", ModemForm::flag, 1, false, "1: the virtual SIM is on"},
  };
  return rows;
}

const ModemValue* find_modem_value(std::string_view name) {
  for (const ModemValue& row : known_modem_values()) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

char imei_check_digit(std::string_view digits) {
  int sum = 0;
  for (size_t i = 0; i < kImeiDigits - 1; ++i) {
    const int digit = digits[i] - '0';
    const int doubled = digit * 2 > 9 ? digit * 2 - 9 : digit * 2;
    sum += i % 2 == 0 ? digit : doubled;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

void check_modem_value(std::string_view name, std::string_view value) {
  const ModemValue& row = known(name);
  const std::string shown(name);
  switch (row.form) {
    case ModemForm::imei:
      if (value.size() != kImeiDigits ||
          value.find_first_not_of("0123456789") != std::string_view::npos) {
        throw Refused(shown + ": an IMEI has " + std::to_string(kImeiDigits) + " digits");
      }
      if (const char digit = imei_check_digit(value); value.back() != digit) {
        throw Refused(shown + ": the check digit is " + digit + ", not " + value.back());
      }
      break;
    case ModemForm::flag:
      if (value != "0" && value != "1") throw Refused(shown + " is a flag: 0 or 1");
      break;
    case ModemForm::record:
      if (value.empty() || value.size() > row.longest) {
        throw Refused(shown + " has 1 to " + std::to_string(row.longest) + " bytes, not " +
                      std::to_string(value.size()));
      }
      break;
  }
}

std::optional<std::string> modem_value(Phone& phone, std::string_view name) {
  const std::lock_guard lock(phone.mutex());
  Query query = phone.durable().query("SELECT value FROM modem_value WHERE name = ?");
  query.bind(name);
  if (!query.step()) return std::nullopt;
  return query.text(0);
}

void set_modem_value(Phone& phone, std::string_view name, std::string_view value) {
  known(name);
  if (value.size() > QVCMD_DATA_SIZE) {
    throw Refused(std::string(name) + ": no value has more than " +
                  std::to_string(QVCMD_DATA_SIZE) + " bytes");
  }
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  phone.durable()
      .query("INSERT OR REPLACE INTO modem_value(name, value) VALUES(?, ?)")
      .bind(name)
      .bind_blob(value)
      .run();
}

bool remove_modem_value(Phone& phone, std::string_view name) {
  known(name);
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  phone.durable().query("DELETE FROM modem_value WHERE name = ?").bind(name).run();
  return phone.durable().changes() > 0;
}

std::map<std::string, std::string> modem_values(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::map<std::string, std::string> found;
  Query query = phone.durable().query("SELECT name, value FROM modem_value");
  while (query.step()) found.emplace(query.text(0), query.text(1));
  return found;
}

std::optional<NvItem> nv_item(Phone& phone, uint16_t number) {
  const std::lock_guard lock(phone.mutex());
  Query query = phone.durable().query("SELECT item, state, value FROM modem_nv WHERE item = ?");
  query.bind(number);
  if (!query.step()) return std::nullopt;
  return nv_item_of(query);
}

void set_nv_item(Phone& phone, uint16_t number, const NvItem& item) {
  if (item.value.size() > kNvItemSize) {
    throw Refused("an NV item has at most " + std::to_string(kNvItemSize) + " bytes, not " +
                  std::to_string(item.value.size()));
  }
  if (item.state != NvState::active && !item.value.empty()) {
    throw Refused("an NV item that is not active has no value");
  }
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  phone.durable()
      .query("INSERT OR REPLACE INTO modem_nv(item, state, value) VALUES(?, ?, ?)")
      .bind(number)
      .bind(name_of(item.state))
      .bind_blob(item.value)
      .run();
}

bool write_nv_item(Phone& phone, uint16_t number, std::string_view value) {
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  phone.durable()
      .query(
          "INSERT INTO modem_nv(item, state, value) VALUES(?, 'active', ?)"
          " ON CONFLICT(item) DO UPDATE SET state = 'active', value = excluded.value"
          " WHERE state <> 'failing'")
      .bind(number)
      .bind_blob(value.substr(0, kNvItemSize))
      .run();
  return phone.durable().changes() > 0;
}

bool remove_nv_item(Phone& phone, uint16_t number) {
  const std::lock_guard lock(phone.mutex());
  phone.check_is_there();
  phone.durable().query("DELETE FROM modem_nv WHERE item = ?").bind(number).run();
  return phone.durable().changes() > 0;
}

std::map<uint16_t, NvItem> nv_items(Phone& phone) {
  const std::lock_guard lock(phone.mutex());
  std::map<uint16_t, NvItem> found;
  Query query = phone.durable().query("SELECT item, state, value FROM modem_nv");
  while (query.step()) found.emplace(static_cast<uint16_t>(query.number(0)), nv_item_of(query));
  return found;
}

std::vector<ModemRequest> modem_requests(Phone& phone, int64_t after) {
  const std::lock_guard lock(phone.mutex());
  std::vector<ModemRequest> found;
  Query query = phone.fleeting().query(
      "SELECT id, time_us, opcode, payload, code, status, answer_length, answer, overlapped"
      " FROM modem_request WHERE id > ? ORDER BY id");
  query.bind(after);
  while (query.step()) {
    const auto word = [&](int column) { return static_cast<int32_t>(query.number(column)); };
    found.push_back({query.number(0), query.number(1), word(2), query.text(3), word(4), word(5),
                     word(6), query.text(7), query.number(8) != 0});
  }
  return found;
}

void record_modem_request(Phone& phone, const ModemRequest& request) {
  const std::lock_guard lock(phone.mutex());
  Database& database = phone.fleeting();
  Transaction transaction(database);
  database
      .query(
          "INSERT INTO modem_request(time_us, opcode, payload, code, status, answer_length, answer,"
          " overlapped) VALUES(?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(request.time_us)
      .bind(request.number)
      .bind_blob(request.payload)
      .bind(request.code)
      .bind(request.status)
      .bind(request.answer_length)
      .bind_blob(request.answer)
      .bind(request.overlapped ? 1 : 0)
      .run();
  database.query("DELETE FROM modem_request WHERE id <= ?")
      .bind(database.last_id() - kKeptRequests)
      .run();
  transaction.commit();
}

}  // namespace virtual_phone
