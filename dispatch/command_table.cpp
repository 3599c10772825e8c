#include "fcx/command_table.h"

#include <algorithm>
#include <iterator>

#include "dispatch/handlers.h"
#include "fcx/system_control.h"

namespace fcx {
namespace {

/// How a row takes its argument, and the call that hands it over.
struct Form {
  Argument argument;
  Command::Call call;
};

template <void (*handler)(qvcmd_response&)>
constexpr Form none{Argument::none, [](const Command&, const qvcmd_request&,
                                       qvcmd_response& response) { handler(response); }};

template <void (*handler)(std::string_view, qvcmd_response&)>
constexpr Form payload{Argument::payload,
                       [](const Command&, const qvcmd_request& request, qvcmd_response& response) {
                         handler(payload_text(request), response);
                       }};

template <void (*handler)(Decimal, qvcmd_response&)>
constexpr Form decimal{Argument::decimal,
                       [](const Command&, const qvcmd_request& request, qvcmd_response& response) {
                         handler(Decimal(payload_text(request)), response);
                       }};

template <void (*handler)(const qvcmd_request&, qvcmd_response&)>
constexpr Form whole_request{
    Argument::request, [](const Command&, const qvcmd_request& request, qvcmd_response& response) {
      handler(request, response);
    }};

template <void (*handler)(int32_t, qvcmd_response&)>
constexpr Form selector{Argument::selector,
                        [](const Command& row, const qvcmd_request&, qvcmd_response& response) {
                          handler(row.selector, response);
                        }};

/// The handler reads with an empty text and writes with any other.
template <void (*handler)(std::string_view, qvcmd_response&)>
constexpr Form payload_or_none{Argument::payload_or_none, payload<handler>.call};

/// A function of its own, past the response, which stays as the caller passed it.
template <int (*function)()>
constexpr Form direct{Argument::none, [](const Command&, const qvcmd_request&, qvcmd_response&) {
                        static_cast<void>(function());
                      }};

/// An empty payload calls the reader, text the writer.
template <void (*reader)(qvcmd_response&), void (*writer)(std::string_view, qvcmd_response&)>
constexpr Form read_or_write{
    Argument::payload_or_none,
    [](const Command&, const qvcmd_request& request, qvcmd_response& response) {
      const std::string_view text = payload_text(request);
      text.empty() ? reader(response) : writer(text, response);
    }};

void answer_not_available(const Command& row, const qvcmd_request&, qvcmd_response& response) {
  HANDLER_ERROR("service_handler: opcode = %d: %s is not available\n", row.opcode, row.handler);
  response.result = QVCMD_FAIL;
}

/// What the row names is not part of this build.
constexpr Form not_available(Argument argument) { return {argument, answer_not_available}; }

/// The HIDL thread pool is prepared and nothing else happens, on purpose.
constexpr Form kNothing{Argument::none, nullptr};

/// Whether the row needs the HIDL thread pool.
enum class Pool { no, yes };

constexpr Command command(int32_t opcode, Pool pool, const char* handler, Form form,
                          const char* summary) {
  Command row{};
  row.opcode = opcode;
  row.handler = handler;
  row.argument = form.argument;
  row.prepares_pool = pool == Pool::yes;
  row.call = form.call;
  row.summary = summary;
  return row;
}

/// A row that chooses its function by whether there is a payload.
constexpr Command command(int32_t opcode, Pool pool, const char* reader, const char* writer,
                          Form form, const char* summary) {
  Command row = command(opcode, pool, reader, form, summary);
  row.writer = writer;
  return row;
}

/// A row that stands for one of several values.
constexpr Command command(int32_t opcode, Pool pool, const char* handler, int32_t value, Form form,
                          const char* summary) {
  Command row = command(opcode, pool, handler, form, summary);
  row.selector = value;
  return row;
}

/// A row with a log line of its own before the call.
constexpr Command announced(const char* format, Command row) {
  row.announcement = format;
  return row;
}

/// A row whose text is an IMEI.
constexpr Command with_imei(Command row) {
  row.content = Content::imei;
  return row;
}

// clang-format off
constexpr Command kCommands[] = {
  command(3170, Pool::no,  "handle_set_dload_mode",              payload<handle_set_dload_mode>,                  "set the download mode; the text begins with the letter o"),
  command(3171, Pool::no,  "handle_get_dload_mode",              none<handle_get_dload_mode>,                     "read the download mode, \"off\" when none is set"),
  command(3200, Pool::no,  "handle_get_teal_ime",                none<handle_get_teal_ime>,                       "read the IME selection as one raw byte"),
  command(3201, Pool::no,  "handle_set_teal_ime",                whole_request<handle_set_teal_ime>,              "set the IME selection: one raw byte, 0 to 2"),
  command(4001, Pool::no,  "handle_aat_result",                  not_available(Argument::payload),                "answer an automatic-test result request"),
  command(4002, Pool::no,  "handle_frst_start",                  not_available(Argument::decimal),                "start a factory reset, mode 1 to 5"),
  command(4003, Pool::no,  "handle_charger_skip",                decimal<handle_charger_skip>,                    "2: is the charger check skipped (result 1)? any other number sets the flag"),
  command(4004, Pool::no,  "handle_devicetest_start",            not_available(Argument::decimal),                "1: start the device test and restart"),
  command(4005, Pool::yes, "handle_factory_mode_check",          not_available(Argument::none),                   "read whether the phone is in factory mode"),
  command(4007, Pool::no,  "handle_rkf_start",                   not_available(Argument::decimal),                "set the boot status and restart"),
  command(4010, Pool::no,  "handle_get_serial_number",           none<handle_get_serial_number>,                  "read the serial number, \"0\" when there is none"),
  command(4011, Pool::no,  "handle_get_factory_version",      2, not_available(Argument::selector),               "read the factory software version, type 2"),
  command(4012, Pool::no,  "handle_get_hw_revision",             not_available(Argument::none),                   "read the hardware revision"),
  command(4013, Pool::no,  "handle_get_code_crc",                not_available(Argument::none),                   "read the code checksum"),
  command(4015, Pool::no,  "handle_get_msn",                     none<handle_get_msn>,                            "read the MSN"),
  command(4016, Pool::no,  "handle_get_manuf_date",              none<handle_get_manuf_date>,                     "read the manufacturing date"),
  command(4017, Pool::no,  "handle_get_set_revision",            none<handle_get_set_revision>,                   "read the set revision"),
  command(4018, Pool::no,  "handle_get_csn", "handle_set_csn",   read_or_write<handle_get_csn, handle_set_csn>,   "read the CSN, 15 zeros when there is none; with text: write it"),
  command(4019, Pool::no,  "handle_get_factory_version",      1, not_available(Argument::selector),               "read the factory software version, type 1"),
  command(4020, Pool::yes, "system_efs_sync",                    direct<system_efs_sync>,                         "flush the modem's file system; the response stays as it was, also when that fails"),
  command(4021, Pool::yes, "handle_rfsw_get_cal_data",           not_available(Argument::none),                   "check the RF calibration data"),
  command(4024, Pool::no,  "handle_get_sw_fixed_area_version",   none<handle_get_sw_fixed_area_version>,          "read the software version of the fixed area"),
  command(4025, Pool::no,  "handle_get_hiddenmenu_enable",       none<handle_get_hiddenmenu_enable>,              "read whether the hidden-menu extension is enabled, as a number"),
  command(4030, Pool::yes, "handle_sim_issim",                   not_available(Argument::none),                   "read whether a SIM is there"),
  command(4031, Pool::yes, "handle_sim_simoff",                  not_available(Argument::payload),                "switch the virtual SIM"),
  command(4032, Pool::yes, "handle_sim_isvsim",                  not_available(Argument::none),                   "read whether the virtual SIM is on, as one raw byte"),
  command(4033, Pool::yes, "handle_sim_satpc",                   not_available(Argument::request),                "SAT profile sub-command 1"),
  command(4034, Pool::yes, "handle_sim_satpc",                   not_available(Argument::request),                "SAT profile sub-command 2"),
  command(4040, Pool::yes, "handle_qct_bsp_pwr_hardreset_enable", not_available(Argument::request),               "enable or disable the hard reset by the power key"),
  command(4056, Pool::yes, nullptr,                              kNothing,                                        "prepare the HIDL thread pool, nothing else"),
  command(4059, Pool::yes, "handle_get_nv_crc",                  not_available(Argument::none),                   "read the NV checksum"),
  command(4060, Pool::no,  "handle_crcwizard_set",               decimal<handle_crcwizard_set>,                   "set the CRC wizard's state, one digit"),
  command(4061, Pool::no,  "handle_crcwizard_get",               none<handle_crcwizard_get>,                      "read the CRC wizard's state"),
  command(4062, Pool::no,  "handle_get_file_crc",                not_available(Argument::none),                   "read the file checksum"),
  command(4063, Pool::no,  "handle_get_ftm_model_name", "handle_set_ftm_model_name", read_or_write<handle_get_ftm_model_name, handle_set_ftm_model_name>, "read the model name; with text: write it"),
  with_imei(
  command(4064, Pool::no,  "handle_automid_imei",                payload_or_none<handle_automid_imei>,            "read the IMEI; with text: write it")),
  command(4065, Pool::no,  "handle_automid_mac",                 not_available(Argument::payload_or_none),        "read the WLAN address; with text: write it"),
  command(4066, Pool::no,  "handle_automid_btaddr",              not_available(Argument::payload_or_none),        "read the Bluetooth address; with text: write it"),
  command(4068, Pool::no,  "handle_get_impl",                    none<handle_get_impl>,                           "read the modem's IMPL item"),
  command(4069, Pool::no,  "handle_get_fusg",                    none<handle_get_fusg>,                           "read the modem's FUSG item"),
  command(4180, Pool::no,  "handle_aat_write_start",             not_available(Argument::decimal),                "1: restart into the automatic test"),
  command(4215, Pool::no,  "handle_get_ldaf_cal",                none<handle_get_ldaf_cal>,                       "read whether the LDAF calibration is done, \"true\" or \"false\""),
  command(4230, Pool::no,  "handle_get_saat_result",             whole_request<handle_get_saat_result>,           "read the SAAT result; \"[FRONT_TOF_CHECK]\": is the front camera calibrated?"),
  command(4231, Pool::no,  "handle_set_saat_result",             whole_request<handle_set_saat_result>,           "write the SAAT result; \"[FRONT_TOF]...\": write the front camera's calibration"),
  command(4232, Pool::no,  "handle_saat_proxi_sync",             decimal<handle_saat_proxi_sync>,                 "log a proximity calibration value; the result is always 1"),
  command(4240, Pool::no,  "handle_read_flex_gpio_sum",          none<handle_read_flex_gpio_sum>,                 "read the flex GPIO sum"),
  command(4241, Pool::no,  "handle_write_flex_gpio_sum",         payload<handle_write_flex_gpio_sum>,             "write the flex GPIO sum, at most 4 characters"),
  command(4242, Pool::yes, nullptr,                              kNothing,                                        "prepare the HIDL thread pool, nothing else"),
  command(4243, Pool::yes, nullptr,                              kNothing,                                        "prepare the HIDL thread pool, nothing else"),
  command(4258, Pool::yes, nullptr,                              kNothing,                                        "prepare the HIDL thread pool, nothing else"),
  command(4259, Pool::yes, nullptr,                              kNothing,                                        "prepare the HIDL thread pool, nothing else"),
  command(4266, Pool::no,  "system_dload",                       not_available(Argument::payload),                "note the image's path and restart into download mode"),
  announced("QVCMD_MODEM_WRITE_IMEI", with_imei(
  command(4293, Pool::yes, "handle_write_imei",                  whole_request<handle_write_imei>,                "write the IMEI to the modem"))),
  announced("QVCMD_MODEM_READ_IMEI",
  command(4294, Pool::yes, "handle_read_imei",                   none<handle_read_imei>,                          "read the IMEI from the modem")),
  command(4295, Pool::no,  "handle_set_get_startday",            whole_request<handle_set_get_startday>,          "read the day of first use; with 19 characters, 0000/00/00 00:00:00: write it"),
  command(4296, Pool::no,  "handle_get_image_status",            none<handle_get_image_status>,                   "read the image status"),
  command(4297, Pool::no,  "handle_get_image_secno",             none<handle_get_image_secno>,                    "read the image security number"),
  command(4298, Pool::no,  "handle_get_image_name",              none<handle_get_image_name>,                     "read the image name"),
  command(4400, Pool::no,  "handle_get_meid_pesn",            1, selector<handle_get_meid_pesn>,                  "read the MEID from the modem; the result is 0 also when that fails"),
  command(4401, Pool::no,  "handle_get_meid_pesn",            0, selector<handle_get_meid_pesn>,                  "read the pESN from the modem"),
  command(4402, Pool::no,  "handle_get_ram_size",                none<handle_get_ram_size>,                       "read the memory size in MiB"),
  command(4404, Pool::no,  "handle_get_sku",                     none<handle_get_sku>,                            "read the SKU, 15 zeros when there is none"),
  command(4405, Pool::no,  "qve_reset_production",            1, not_available(Argument::selector),               "request a production reset, mode 1"),
  command(4406, Pool::no,  "qve_reset_production",            0, not_available(Argument::selector),               "request a production reset, mode 0"),
  command(4407, Pool::no,  "handle_get_midauto_result",          none<handle_get_midauto_result>,                 "read the mid-auto test result"),
  command(4408, Pool::no,  "handle_set_midauto_result",          payload<handle_set_midauto_result>,              "write the mid-auto test result, at most 128 characters"),
  command(4409, Pool::no,  "handle_get_midauto_crc",          0, selector<handle_get_midauto_crc>,                "read the first mid-auto CRC, \"0xFFFFFFFF\" when there is none"),
  command(4410, Pool::no,  "handle_get_midauto_crc",          1, selector<handle_get_midauto_crc>,                "read the second mid-auto CRC"),
  command(4411, Pool::no,  "handle_get_midauto_crc",          2, selector<handle_get_midauto_crc>,                "read the third mid-auto CRC"),
  command(4412, Pool::no,  "handle_get_midauto_crc",          3, selector<handle_get_midauto_crc>,                "read the fourth mid-auto CRC"),
  command(4413, Pool::no,  "handle_midauto_read_imei2",          none<handle_midauto_read_imei2>,                 "read the second IMEI from the modem"),
  command(4414, Pool::no,  "handle_midauto_read_imei3",          none<handle_midauto_read_imei3>,                 "read the third IMEI from the modem"),
  announced("QVCMD_MODEM_MBN_DEACTIVATION(%d)",
  command(4415, Pool::no,  "qve_mbn_deactivation",               not_available(Argument::none),                   "deactivate the modem's configuration files")),
  command(4416, Pool::no,  "set_fusion_modem_disable",           payload<set_fusion_modem_disable>,               "write the fusion-modem disable item, at most 8 characters"),
  command(4417, Pool::no,  "handle_get_fusion_modem_disable",    none<handle_get_fusion_modem_disable>,           "read the fusion-modem disable item"),
  command(4418, Pool::no,  "handle_read_agree_factory",          none<handle_read_agree_factory>,                 "read the agree-factory file"),
  command(4419, Pool::no,  "handle_write_agree_factory",         payload<handle_write_agree_factory>,             "write the agree-factory file"),
  announced("service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = %d\n",
  command(4420, Pool::yes, "handle_rfsw_device_check_mmw",       not_available(Argument::none),                   "check the millimetre-wave device")),
  announced("service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = %d\n",
  command(4421, Pool::yes, "handle_get_rf_4g_error_handle_5g",   not_available(Argument::none),                   "read the 4G error handling for 5G, one character")),
  announced("service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = %d\n",
  command(4422, Pool::yes, "handle_set_rf_4g_error_handle_5g",   not_available(Argument::request),                "set the 4G error handling for 5G: exactly one byte")),
};
// clang-format on

constexpr bool rows_ascend() {
  for (size_t i = 1; i < std::size(kCommands); ++i) {
    if (kCommands[i - 1].opcode >= kCommands[i].opcode) return false;
  }
  return true;
}
static_assert(rows_ascend(), "the rows of the command table ascend, and no opcode has two");

}  // namespace

Table<Command> command_table() { return {kCommands, std::size(kCommands)}; }

const Command* find_command(int32_t opcode) {
  const auto* row = std::lower_bound(
      std::begin(kCommands), std::end(kCommands), opcode,
      [](const Command& command, int32_t wanted) { return command.opcode < wanted; });
  return row != std::end(kCommands) && row->opcode == opcode ? row : nullptr;
}

bool is_available(const Command& row) { return row.call != answer_not_available; }

}  // namespace fcx
