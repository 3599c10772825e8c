// The command entry: which opcode reaches what, and what it leaves alone.
#include <set>
#include <sstream>

#include "fcx/command_table.h"
#include "fcx/service_handler.h"
#include "tests/dispatch/command_test.h"

namespace fcx_test {
namespace {

constexpr char kPoolLine[] = "I Diag_Lib: [init_modem_interface] configureRpcThreadpool\n";

class Dispatch : public CommandTest {};

TEST_F(Dispatch, ThePoolIsPreparedForExactlyItsOpcodes) {
  const std::set<int32_t> with_pool = {4005, 4020, 4021, 4030, 4031, 4032, 4033, 4034, 4040, 4056,
                                       4059, 4242, 4243, 4258, 4259, 4293, 4294, 4420, 4421, 4422};
  for (const fcx::Command& row : fcx::command_table()) {
    EXPECT_EQ(with_pool.count(row.opcode) != 0, row.prepares_pool) << row.opcode;
  }
  for (const int32_t opcode :
       {4056, 4242, 4243, 4258, 4259, INT32_MIN, 3169, 3202, 4000, 4423, INT32_MAX}) {
    EXPECT_THAT(send_unclean(opcode, "1"), IsUntouched()) << opcode;
    EXPECT_EQ(std::vector<std::string>(with_pool.count(opcode), kPoolLine), lines_of(opcode));
  }
  EXPECT_EQ(std::vector<std::string>(5, "rpc_threadpool: 5 threads, caller joins"), events());
}

TEST_F(Dispatch, SomeOpcodesAnnounceThemselvesAfterThePool) {
  const std::tuple<int32_t, size_t, const char*> cases[] = {
      {4293, 1, "I Diag_Lib: QVCMD_MODEM_WRITE_IMEI"},
      {4294, 1, "I Diag_Lib: QVCMD_MODEM_READ_IMEI"},
      {4415, 0, "I Diag_Lib: QVCMD_MODEM_MBN_DEACTIVATION(4415)"},
      {4420, 1, "I Diag_Lib: service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = 4420\n"},
      {4421, 1, "I Diag_Lib: service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = 4421\n"},
      {4422, 1, "I Diag_Lib: service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = 4422\n"}};
  for (const auto& [opcode, position, line] : cases) {
    send(opcode);
    EXPECT_EQ(line, lines_of(opcode).at(position));
  }
}

TEST_F(Dispatch, ANullRecordIsAnErrorLineAndNothingElse) {
  qvcmd_request request{4018, 3, "123"};
  qvcmd_response response{};
  EXPECT_EQ(0, service_handler(nullptr, &response));
  EXPECT_EQ(0, service_handler(&request, nullptr));
  const std::string line = "E Diag_Lib: service_handler: no request or no response\n";
  EXPECT_THAT(lines(), ElementsAre(line, line));
  EXPECT_EQ("", item_text(item::csn));
}

/// A command, what makes it fail, what it writes of a response, and its last line when it failed. A
/// null text: neither `data_len` nor `data`; kUntouched: not `result`.
struct Writing {
  int32_t opcode;
  std::string_view payload;
  std::string fails;
  bool clears;  ///< the whole record first
  int32_t done_result;
  const char* done_text;
  int32_t failed_result;
  const char* failed_text;
  /// After kError, unless it begins with another priority and tag. A name alone: its item cannot be
  /// read.
  std::string failed_line;
};

constexpr char kError[] = "E Diag_Lib: handle_";
constexpr const char* none = nullptr;
constexpr bool kClears = true;
constexpr bool kKeeps = false;
constexpr char kTof[] = "file /mnt/vendor/persist-qv/camera/front_tof_cal";
constexpr char kValid[] = "file /mnt/vendor/persist-qv/startday/isValid";
constexpr char kAgree[] = "file /mnt/vendor/persist-qv/agree_factory";
constexpr char kDay[] = "2020/06/01 09:30:00";

const Writing kWritings[] = {
    {3170, "on", "item 129", kKeeps, 0, none, 1, none,
     "set_dload_mode: item 129 cannot be written\n"},
    {3171, "", "item 129", kKeeps, 0, "on", 0, "off", "get_dload_mode"},
    {3200, "", "item 75", kKeeps, 0, "\2", 0, "\xFF", "get_teal_ime: failed with -1\n"},
    {3201, "\1", "item 75", kKeeps, 0, none, 1, none, "set_teal_ime: failed with -1\n"},
    {4001, "KEY", "file /mnt/vendor/persist-qv/aat/result", kKeeps, 0, "PASS", 0, "",
     "I Diag_Lib: handle_aat_result, result : 0, rsp_len : 0, response : "},
    {4002, "2", "item 23", kKeeps, 0, none, 1, none,
     "E Fcx: qve_reset_production: item 23 cannot be read\n"},
    {4003, "1", "item 10", kKeeps, 0, none, 0, none, "charger_skip: failed with -1\n"},
    {4003, "2", "item 10", kKeeps, 1, none, 1, none, "charger_skip: failed with -1\n"},
    {4004, "1", "item 3", kKeeps, 0, none, 1, none, "devicetest_start: failed with -1\n"},
    {4005, "", "item 3", kKeeps, 0, "\1", 0, "", "I Diag_Lib: handle_factory_mode_check, ret: 0\n"},
    {4007, "1", "request 200", kKeeps, 0, none, 1, none, "E Fcx: EFS SYNC ERROR\n"},
    {4010, "", "item 9", kClears, 0, "0", 1, "", "get_serial_number"},
    {4011, "", "request 154", kClears, 0, "QV100AT-00-V10a-310-410-JUN-01-2020+0", 1, "",
     "I Diag_Lib: handle_get_factory_version: get_qve_factory_sw_version fail[type:2]"},
    {4012, "", "file /proc/cmdline", kClears, 0, "1.0", 1, "",
     "I Diag_Lib: handle_get_hw_revision: get_qve_hw_version fail"},
    {4013, "", "file /vendor/etc/ap.ubid", kClears, 0, "0x590581D6", 1, "",
     "E Fcx: crc_command: /vendor/etc/ap.ubid: Input/output error\n"},
    {4015, "", "item 18", kClears, 0, "", 1, "", "get_msn"},
    {4016, "", "item 19", kClears, 0, "", 1, "", "get_manuf_date"},
    {4017, "", "item 36", kClears, 0, "", 1, "",
     "I Diag_Lib: handle_get_set_revision: get_set_version fail"},
    {4018, "", "item 37", kClears, 0, "000000000000000", 1, "", "get_csn"},
    {4018, "C", "item 37", kClears, 0, "", 1, "", "set_csn: item 37 cannot be written\n"},
    {4019, "", "request 160", kClears, 0, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0", 1, "",
     "I Diag_Lib: handle_get_factory_version: get_qve_factory_sw_version fail[type:1]"},
    {4020, "", "request 200", kKeeps, kUntouched, none, kUntouched, none,
     "E Fcx: system_efs_sync Fail ! return error."},
    {4021, "", "request 4021", kClears, 0, "", 1, "", "rfsw_get_cal_data: failed with 9\n"},
    {4024, "", "item 31", kClears, 0, "", 1, "", "get_sw_fixed_area_version"},
    {4025, "", "item 80", kClears, 0, "0", 1, "", "I Diag_Lib: HiddenMenu: Enable/Disable[-1]\n"},
    {4030, "", "request 4030", kKeeps, 0, "0", 1, "", "I Diag_Lib: ISSIM FAIL!!! ISSIM: \n"},
    {4031, "1", "request 4031", kKeeps, 0, "OK", 2, "",
     "I Diag_Lib: SIMOFF NOT SUPPORTED!!! SIMOFF=1 : \n"},
    {4032, "", "request 4032", kKeeps, 0, "\1", 2, none,
     "I Diag_Lib: Cannot get response. Return error:9\n"},
    {4033, "", "request 4033", kKeeps, 0, "FF", 9, "", "sim_satpc: failed with 9\n"},
    {4034, "A", "request 4034", kKeeps, 0, "OK", 9, "", "sim_satpc: failed with 9\n"},
    {4040, "1", "request 610", kKeeps, 0, none, 1, none,
     "E Fcx: system_powerkey_hardreset_enable: request 610 failed with 1\n"},
    {4059, "", "request 4059", kKeeps, kUntouched, "0x00000000", kUntouched, none,
     "E Fcx: crc_command: request 4059 failed with 9\n"},
    {4060, "1", "item 49", kKeeps, 0, none, 1, none, "I Diag_Lib: rsp->result = QVCMD_FAIL"},
    {4061, "", "item 49", kClears, 0, "1", 0, "", "I Diag_Lib: CWCWIZARD get_crcwizard : \n"},
    {4062, "", "file /vendor/etc", kKeeps, kUntouched, "0x590581D6", kUntouched, none,
     "E Fcx: crc_command: /vendor/etc: Input/output error\n"},
    {4063, "QV", "request 4063", kKeeps, 0, "", 9, "", "set_ftm_model_name: failed with 9\n"},
    {4063, "", "request 4063", kKeeps, 0, "QV", 1, none,
     "I Diag_Lib: handle_get_ftm_model_name Fail"},
    {4064, kImei, "request 116", kKeeps, 0, none, 1, none,
     "I Diag_Lib: AutoMID write IMEI fatal Failed :("},
    {4064, "", "request 117", kKeeps, 0, kImei, 1, none, "I Diag_Lib: AutoMID read IMEI Fail :("},
    {4065, "0a1B2c3D4e5F", "item 6", kKeeps, 0, none, 1, none,
     "I Diag_Lib: AutoMID write WIFI MAC Fail :("},
    {4065, "", "item 6", kKeeps, 0, "0A1B2C3D4E5F", 1, none,
     "I Diag_Lib: AutoMID read WIFI MAC Fail :("},
    {4066, "0a1B2c3D4e5F", "item 8", kKeeps, 0, none, 1, none,
     "I Diag_Lib: AutoMID write BTAddress Fail :("},
    {4066, "", "item 8", kKeeps, 0, "0A1B2C3D4E5F", 1, none,
     "I Diag_Lib: AutoMID read BTAddress Fail :("},
    {4068, "", "request 102", kKeeps, 0, "1", 1, none, "I Diag_Lib: IMPL READ FAIL"},
    {4069, "", "request 109", kKeeps, 0, "1", 1, none, "I Diag_Lib: FUSG READ FAIL"},
    {4180, "1", "item 3", kKeeps, 0, none, 1, none, "aat_write_start: failed with -1\n"},
    {4215, "", "item 211", kKeeps, 0, "false", 1, none, "get_ldaf_cal"},
    {4230, "", "item 212", kClears, 0, "", -1, "", "get_saat_result: failed with -1\n"},
    {4231, "P", "item 212", kClears, 0, "", -1, "", "set_saat_result: failed with -1\n"},
    {4231, "[FRONT_TOF]x", kTof, kClears, 0, "", -1, "", "set_saat_result: failed with -1\n"},
    {4230, "[FRONT_TOF_CHECK]", kTof, kClears, 0, "", 1, "", "get_saat_result: failed with -1\n"},
    {4232, "1", "", kKeeps, 1, none, 0, "", ""},
    {4240, "", "item 300", kKeeps, 0, "", 1, none,
     "E Diag_Lib: [handle_read_flex_gpio_sum] failed to get data\n"},
    {4241, "1", "item 300", kKeeps, 0, none, 1, none, "write_flex_gpio_sum: failed with -1\n"},
    {4266, "/sdcard/image", "request 200", kKeeps, kUntouched, none, kUntouched, none,
     "E Fcx: EFS SYNC ERROR\n"},
    {4293, kImei, "request 116", kClears, 0, "IMEI WRITE OK", 1, "", "write_imei: failed with 1\n"},
    {4294, "", "request 117", kClears, 0, kImei, 1, "", "read_imei: failed with 1\n"},
    {4295, kDay, kValid, kKeeps, kUntouched, "OK", kUntouched, "ERROR", "set_get_startday fail"},
    {4295, "", kValid, kKeeps, kUntouched, kDay, kUntouched, "ERROR", "set_get_startday fail"},
    {4296, "", "item 213", kClears, 0, "", 1, "", "get_image_status"},
    {4297, "", "item 214", kClears, 0, "", 1, "", "get_image_secno"},
    {4298, "", "item 215", kClears, 0, "", 1, "", "get_image_name"},
    {4400, "", "request 157", kKeeps, 0, "A0000012345678", 0, "", "get_meid_pesn: failed with 1\n"},
    {4401, "", "request 158", kKeeps, 0, "80A1B2C3", 1, "", "get_meid_pesn: failed with 1\n"},
    {4402, "", "file /proc/meminfo", kKeeps, 0, "3719", 1, none,
     "E Fcx: ram_memory_size: /proc/meminfo: Input/output error\n"},
    {4404, "", "item 420", kKeeps, 0, "000000000000000", kUntouched, none, "get_sku"},
    {4405, "", "item 23", kKeeps, 0, none, 1, none,
     "E Fcx: qve_reset_production: item 23 cannot be read\n"},
    {4406, "", "item 23", kKeeps, 0, none, 1, none,
     "E Fcx: qve_reset_production: item 23 cannot be read\n"},
    {4407, "", "item 251", kKeeps, 0, "", -1, none, "get_midauto_result: failed with -1\n"},
    {4408, "1", "item 251", kKeeps, 0, "1", -1, "1", "set_midauto_result: failed with -1\n"},
    {4409, "", "item 253", kKeeps, 0, "0xFFFFFFFF", -1, none, "get_midauto_crc: failed with -1\n"},
    {4410, "", "item 253", kKeeps, 0, "0xFFFFFFFF", -1, none, "get_midauto_crc: failed with -1\n"},
    {4411, "", "item 253", kKeeps, 0, "0xFFFFFFFF", -1, none, "get_midauto_crc: failed with -1\n"},
    {4412, "", "item 253", kKeeps, 0, "0xFFFFFFFF", -1, none, "get_midauto_crc: failed with -1\n"},
    {4413, "", "request 119", kClears, 0, kImei, 1, "", "midauto_read_imei2: failed with 1\n"},
    {4414, "", "request 121", kClears, 0, kImei, 1, "", "midauto_read_imei3: failed with 1\n"},
    {4415, "", "request 741", kKeeps, 0, none, 1, none,
     "E Fcx: qve_mbn_deactivation: not done, the link's code is 1\n"},
    {4416, "1", "item 152", kKeeps, 0, none, 1, none,
     "E Diag_Lib: set_fusion_modem_disable: item 152 cannot be written\n"},
    {4417, "", "item 152", kKeeps, 0, "1", 1, none, "get_fusion_modem_disable"},
    {4419, "yes", kAgree, kClears, 0, "", 1, "",
     "write_agree_factory: mnt/vendor/persist-qv/agree_factory: Input/output error\n"},
    {4418, "", kAgree, kClears, 0, "yes", 0, "",
     "I Diag_Lib: Cannot open path : mnt/vendor/persist-qv/agree_factory"},
    {4420, "", "request 3420", kClears, 0, "", 1, "", "rfsw_device_check_mmw: failed with 9\n"},
    {4421, "", "request 3421", kClears, 0, "0", 1, "",
     "get_rf_4g_error_handle_5g: failed with 9\n"},
    {4422, "1", "request 3422", kClears, 0, "", 1, "",
     "set_rf_4g_error_handle_5g: failed with 9\n"}};

/// What is wrong with a response that was full of kUntouched's bytes, or "".
std::string mistake(const qvcmd_response& response, bool clears, int32_t result, const char* text) {
  std::string found;
  if (response.result != result) found += " result " + std::to_string(response.result);
  if (response.reserved != (clears ? 0 : kUntouched)) found += " reserved";
  if (response.data[2047] != (clears ? '\0' : 'U')) found += " the end of data";
  if (text == nullptr) {
    if (response.data_len != kUntouched || response.data[0] != 'U') found += " data written";
  } else if (data(response) != text) {
    found += " data \"" + data(response) + "\"";
  } else if (response.data_len > 1 && response.data[response.data_len] != '\0') {
    found += " text without an end";
  }
  return found;
}

TEST_F(Dispatch, ACommandClearsTheResponseOrKeepsWhatItDoesNotSet) {
  const char* values[][2] = {
      {"meid", "A0000012345678"}, {"pesn", "80A1B2C3"}, {"impl", "1"},          {"fusg", "1"},
      {"imei2", kImei},           {"imei3", kImei},     {"rf_calibrated", "1"}, {"satpc", "FF"},
      {"mmw_device", "1"}};
  write_file(file("/mnt/vendor/persist-qv/aat/result"), "KEY=PASS\n");
  for (const auto& [name, value] : values) set_modem(name, value);
  set_item(item::teal_ime, "\2");
  fs::create_directories(file("/vendor/etc"));
  write_file(file("/vendor/etc/ap.ubid"), "A1234567890\n");
  set_item(item::network_code, R"("1","310,410,FFFFFFFF,FFFFFFFF,FF")");
  std::set<int32_t> seen;
  for (const Writing& c : kWritings) {
    SCOPED_TRACE(std::to_string(c.opcode) + " " + std::string(c.payload));
    seen.insert(c.opcode);
    EXPECT_EQ("", mistake(send_unclean(c.opcode, c.payload), c.clears, c.done_result, c.done_text));
    if (c.fails.empty()) continue;
    std::string part, target;
    std::istringstream(c.fails) >> part >> target;
    if (part == "item") item_fails(std::stoi(target));
    if (part == "request") request_fault(std::stoi(target), Effect::fail, 9);
    if (part == "file") fault(Part::file, target, Effect::fail, EIO);
    EXPECT_EQ("",
              mistake(send_unclean(c.opcode, c.payload), c.clears, c.failed_result, c.failed_text))
        << "when " << c.fails << " fails";
    const bool is_whole = c.failed_line.find("Diag_Lib") == 2 || c.failed_line.find("Fcx") == 2;
    const bool is_name = c.failed_line.find(' ') == std::string::npos;
    EXPECT_EQ((is_whole ? "" : kError) + c.failed_line +
                  (is_name ? ": " + c.fails + " cannot be read\n" : ""),
              lines().back());
    clear_faults();
  }
  send(4020);
  EXPECT_EQ(200, requests().back().number) << "a flush, of which the response says nothing";
  for (const fcx::Command& row : fcx::command_table()) {
    if (row.handler == nullptr) continue;
    EXPECT_EQ(1U, seen.count(row.opcode)) << row.handler << " is not in the list";
    EXPECT_EQ(row.opcode == 4064 || row.opcode == 4293, row.content == fcx::Content::imei);
  }
}

TEST_F(Dispatch, AnImeiIsAsLongAsTheRequestSays) {
  std::string sent = kImei;
  sent.resize(2048);
  for (const int32_t data_len : {3, 0, -5, 16, 2048, INT32_MAX}) {
    qvcmd_request request{4293, data_len, {}};
    sent.copy(request.data, sent.size());
    qvcmd_response response{};
    EXPECT_EQ(0, service_handler(&request, &response));
    EXPECT_EQ(sent.substr(0, static_cast<size_t>(std::clamp(data_len, 0, 2048))),
              requests().back().payload)
        << data_len;
  }
}

}  // namespace
}  // namespace fcx_test
