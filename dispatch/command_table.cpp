#include "fcx/command_table.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/system_control.h"

namespace fcx {
namespace {

/// What a row calls: the names of its one or two functions, what they take, and how it is handed
/// over.
struct Function {
  const char* name;
  const char* writer;
  Argument argument;
  Command::Call call;
  Command::Call write;
};

constexpr Function function(const char* name, Argument argument, Command::Call call) {
  return {name, nullptr, argument, call, nullptr};
}

template <Argument argument, auto handler>
void call(const Command& row, const qvcmd_request& request, qvcmd_response& response) {
  if constexpr (argument == Argument::none) {
    handler(response);
  } else if constexpr (argument == Argument::decimal) {
    handler(Decimal(payload_text(request)), response);
  } else if constexpr (argument == Argument::request) {
    handler(request, response);
  } else if constexpr (argument == Argument::selector) {
    handler(row.selector, response);
  } else {
    handler(payload_text(request), response);
  }
}

template <Argument argument, auto name>
void call_for_result(const Command& row [[maybe_unused]], const qvcmd_request&,
                     qvcmd_response& response) {
  if constexpr (argument == Argument::selector) {
    response.result = name(row.selector);
  } else {
    response.result = name();
  }
}

void answer_not_available(const Command& row, const qvcmd_request&, qvcmd_response& response) {
  HANDLER_ERROR("service_handler: opcode = %d: %s is not available\n", row.opcode, row.handler);
  response.result = QVCMD_FAIL;
}

// Macros, so that a name is written once and a log line's format stays a literal, which the
// compiler checks.

/// A handler of dispatch/handlers.h, called with its argument.
#define CALLS(argument, handler) \
  function(#handler, Argument::argument, call<Argument::argument, handler>)

/// A handler that is not part of this build yet.
#define MISSING(argument, handler) function(#handler, Argument::argument, answer_not_available)

/// A function of the library's own, called past the response, which stays as the caller passed it.
/// It logs its failures.
#define DIRECT(name)                                                                          \
  function(#name, Argument::none, [](const Command&, const qvcmd_request&, qvcmd_response&) { \
    static_cast<void>(name());                                                                \
  })

/// The same for one whose return is the result word, as it stands.
#define RESULT(argument, name) \
  function(#name, Argument::argument, call_for_result<Argument::argument, name>)

/// A function as for DIRECT() that takes the payload's text.
#define DIRECT_TEXT(name)                                                      \
  function(#name, Argument::payload,                                           \
           [](const Command&, const qvcmd_request& request, qvcmd_response&) { \
             name(payload_text(request));                                      \
           })

/// Answers with the text of item::name, as answer_item() does.
#define ITEM_TEXT(handler, name, record, when_empty, line)                                  \
  function(#handler, Argument::none,                                                        \
           [](const Command&, const qvcmd_request&, qvcmd_response& response) {             \
             answer_item<item::name>(#handler, Record::record, when_empty, line, response); \
           })

/// Stores the payload's text in item::name, as store_item() does.
#define ITEM_WRITE(handler, name, record, line)                                            \
  function(#handler, Argument::payload,                                                    \
           [](const Command&, const qvcmd_request& request, qvcmd_response& response) {    \
             store_item<item::name>(#handler, Record::record, payload_text(request), line, \
                                    response);                                             \
           })

/// A line after the item's access; its arguments may be `index` and `text`.
#define LOGS(...) \
  [](int index [[maybe_unused]], const char* text [[maybe_unused]]) { HANDLER_INFO(__VA_ARGS__); }

/// A line of the row's own before the call; its argument may be `opcode`.
#define SAYS(...) [](int32_t opcode [[maybe_unused]]) { HANDLER_INFO(__VA_ARGS__); }

constexpr std::nullptr_t silent = nullptr;

/// An empty payload calls the reader, text the writer.
constexpr Function read_or_write(const Function& reader, const Function& writer) {
  return {reader.name, writer.name, Argument::payload_or_none, reader.call, writer.call};
}

/// The HIDL thread pool is prepared and nothing else happens, on purpose.
constexpr Function pool_only = function(nullptr, Argument::none, nullptr);

// Whether the row needs the HIDL thread pool.
constexpr bool no = false;
constexpr bool yes = true;

/// What is known of the text that a row takes, or the value that it stands for.
struct Detail {
  Content content;
  int32_t selector;
};
constexpr Detail any{Content::any, 0};
constexpr Detail imei{Content::imei, 0};
constexpr Detail value(int32_t selector) { return {Content::any, selector}; }

constexpr Command row(int32_t opcode, bool prepares_pool, const Function& function, Detail detail,
                      Command::Announcement announce, const char* summary) {
  return {opcode,         function.name,   function.writer, function.argument,
          detail.content, detail.selector, prepares_pool,   announce,
          function.call,  function.write,  summary};
}

// clang-format off
constexpr Command kCommands[] = {
//    opcode pool form(argument, handler)                                         content   announce
  row(3170, no,  CALLS(payload,           handle_set_dload_mode),                any,      silent,
      "set the download mode; the text begins with the letter o"),
  row(3171, no,  CALLS(none,              handle_get_dload_mode),                any,      silent,
      "read the download mode, \"off\" when none is set"),
  row(3200, no,  CALLS(none,              handle_get_teal_ime),                  any,      silent,
      "read the IME selection as one raw byte"),
  row(3201, no,  CALLS(request,           handle_set_teal_ime),                  any,      silent,
      "set the IME selection: one raw byte, 0 to 2"),
  row(4001, no,  CALLS(payload,           handle_aat_result),                    any,      silent,
      "answer an automatic-test result request"),
  row(4002, no,  CALLS(decimal,           handle_frst_start),                    any,      silent,
      "start a factory reset, mode 1 to 5"),
  row(4003, no,  CALLS(decimal,           handle_charger_skip),                  any,      silent,
      "2: is the charger check skipped (result 1)? any other number sets the flag"),
  row(4004, no,  CALLS(decimal,           handle_devicetest_start),              any,      silent,
      "1: start the device test and restart; any other number too, unless it has been started"),
  row(4005, yes, CALLS(none,              handle_factory_mode_check),            any,      silent,
      "read whether the phone is in factory mode"),
  row(4007, no,  CALLS(decimal,           handle_rkf_start),                     any,      silent,
      "set the boot status, a number, and restart"),
  row(4010, no,  ITEM_TEXT(handle_get_serial_number, serial_number, clears, "0",
                           LOGS("SERIAL NUM : %d (%s)\n", index, text)),         any,      silent,
      "read the serial number, \"0\" when there is none"),
  row(4011, no,  CALLS(selector,          handle_get_factory_version),           value(2), silent,
      "read the software version as the carrier's package and the network code make it"),
  row(4012, no,  CALLS(none,              handle_get_hw_revision),               any,      silent,
      "read the hardware revision"),
  row(4013, no,  CALLS(none,              handle_get_code_crc),                  any,      silent,
      "read the code checksum"),
  row(4015, no,  ITEM_TEXT(handle_get_msn, msn, clears, "",
                           LOGS("MSN : %d (%s)\n", index, text)),                any,      silent,
      "read the MSN"),
  row(4016, no,  ITEM_TEXT(handle_get_manuf_date, manuf_date, clears, "",
                           LOGS("MANUF DATE : %d (%s)\n", index, text)),         any,      silent,
      "read the manufacturing date"),
  row(4017, no,  CALLS(none,              handle_get_set_revision),              any,      silent,
      "read the set revision"),
  row(4018, no,  read_or_write(
         ITEM_TEXT(handle_get_csn, csn, clears, kNoCode, LOGS("CSN : %d (%s)\n", index, text)),
         ITEM_WRITE(handle_set_csn, csn, clears, LOGS("CSN Write OK\n"))),       any,      silent,
      "read the CSN, 15 zeros when there is none; with text: write it"),
  row(4019, no,  CALLS(selector,          handle_get_factory_version),           value(1), silent,
      "read the software version as it was built"),
  row(4020, yes, DIRECT(system_efs_sync),                                        any,      silent,
      "flush the modem's file system; the response stays as it was, also when that fails"),
  row(4021, yes, CALLS(none,              handle_rfsw_get_cal_data),             any,      silent,
      "check the RF calibration data"),
  row(4024, no,  ITEM_TEXT(handle_get_sw_fixed_area_version, sw_fixed_area_version, clears, "",
                            silent),                                             any,      silent,
      "read the software version of the fixed area"),
  row(4025, no,  CALLS(none,              handle_get_hiddenmenu_enable),         any,      silent,
      "read whether the hidden-menu extension is enabled, as a number"),
  row(4030, yes, CALLS(none,              handle_sim_issim),                     any,      silent,
      "read whether a SIM is there"),
  row(4031, yes, CALLS(payload,           handle_sim_simoff),                    any,      silent,
      "switch the virtual SIM"),
  row(4032, yes, CALLS(none,              handle_sim_isvsim),                    any,      silent,
      "read whether the virtual SIM is on, as one raw byte"),
  row(4033, yes, CALLS(request,           handle_sim_satpc),                     any,      silent,
      "SAT profile sub-command 1"),
  row(4034, yes, CALLS(request,           handle_sim_satpc),                     any,      silent,
      "SAT profile sub-command 2"),
  row(4040, yes, CALLS(request,           handle_qct_bsp_pwr_hardreset_enable),  any,      silent,
      "enable the hard reset by the power key; with a first character \"0\": disable it"),
  row(4056, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else"),
  row(4059, yes, CALLS(none,              handle_get_nv_crc),                    any,      silent,
      "read the NV checksum"),
  row(4060, no,  CALLS(decimal,           handle_crcwizard_set),                 any,      silent,
      "set the CRC wizard's state, one digit"),
  row(4061, no,  CALLS(none,              handle_crcwizard_get),                 any,      silent,
      "read the CRC wizard's state"),
  row(4062, no,  CALLS(none,              handle_get_file_crc),                  any,      silent,
      "read the file checksum"),
  row(4063, no,  read_or_write(CALLS(none, handle_get_ftm_model_name),
                               CALLS(payload, handle_set_ftm_model_name)),      any,      silent,
      "read the model name; with text: write it"),
  row(4064, no,  CALLS(payload_or_none,   handle_automid_imei),                  imei,     silent,
      "read the IMEI; with text: write it"),
  row(4065, no,  CALLS(payload_or_none,   handle_automid_mac),                   any,      silent,
      "read the WLAN address; with text: write it"),
  row(4066, no,  CALLS(payload_or_none,   handle_automid_btaddr),                any,      silent,
      "read the Bluetooth address; with text: write it"),
  row(4068, no,  CALLS(none,              handle_get_impl),                      any,      silent,
      "read the modem's IMPL item"),
  row(4069, no,  CALLS(none,              handle_get_fusg),                      any,      silent,
      "read the modem's FUSG item"),
  row(4180, no,  CALLS(decimal,           handle_aat_write_start),               any,      silent,
      "1: restart into the automatic test"),
  row(4215, no,  CALLS(none,              handle_get_ldaf_cal),                  any,      silent,
      "read whether the LDAF calibration is done, \"true\" or \"false\""),
  row(4230, no,  CALLS(request,           handle_get_saat_result),               any,      silent,
      "read the SAAT result; \"[FRONT_TOF_CHECK]\": is the front camera calibrated?"),
  row(4231, no,  CALLS(request,           handle_set_saat_result),               any,      silent,
      "write the SAAT result; \"[FRONT_TOF]...\": write the front camera's calibration"),
  row(4232, no,  CALLS(decimal,           handle_saat_proxi_sync),               any,      silent,
      "log a proximity calibration value; the result is always 1"),
  row(4240, no,  CALLS(none,              handle_read_flex_gpio_sum),            any,      silent,
      "read the flex GPIO sum"),
  row(4241, no,  CALLS(payload,           handle_write_flex_gpio_sum),           any,      silent,
      "write the flex GPIO sum, at most 4 characters"),
  row(4242, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else"),
  row(4243, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else"),
  row(4258, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else"),
  row(4259, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else"),
  row(4266, no,  DIRECT_TEXT(start_sdcard_download),                           any,      silent,
      "note the image's path and restart into download mode"),
  row(4293, yes, CALLS(request,           handle_write_imei),                    imei,
      SAYS("QVCMD_MODEM_WRITE_IMEI"),
      "write the IMEI to the modem"),
  row(4294, yes, CALLS(none,              handle_read_imei),                     any,
      SAYS("QVCMD_MODEM_READ_IMEI"),
      "read the IMEI from the modem"),
  row(4295, no,  CALLS(request,           handle_set_get_startday),              any,      silent,
      "read the day of first use; with 19 characters, 0000/00/00 00:00:00: write it"),
  row(4296, no,  ITEM_TEXT(handle_get_image_status, image_status, clears, "",
                           LOGS("IMAGE_STATUS : %d (%s)\n", index, text)),       any,      silent,
      "read the image status"),
  row(4297, no,  ITEM_TEXT(handle_get_image_secno, image_secno, clears, "",
                           LOGS("IMAGE_SECNO : %d (%s)\n", index, text)),        any,      silent,
      "read the image security number"),
  row(4298, no,  ITEM_TEXT(handle_get_image_name, image_name, clears, "",
                           LOGS("IMAGE_NAME : %d (%s)\n", index, text)),         any,      silent,
      "read the image name"),
  row(4400, no,  CALLS(selector,          handle_get_meid_pesn),                 value(1), silent,
      "read the MEID from the modem; the result is 0 also when that fails"),
  row(4401, no,  CALLS(selector,          handle_get_meid_pesn),                 value(0), silent,
      "read the pESN from the modem"),
  row(4402, no,  CALLS(none,              handle_get_ram_size),                  any,      silent,
      "read the memory size in MiB"),
  row(4404, no,  CALLS(none,              handle_get_sku),                       any,      silent,
      "read the SKU, 15 zeros when there is none"),
  row(4405, no,  RESULT(selector,         qve_reset_production),                 value(1), silent,
      "request a production reset, mode 1"),
  row(4406, no,  RESULT(selector,         qve_reset_production),                 value(0), silent,
      "request a production reset, mode 0"),
  row(4407, no,  CALLS(none,              handle_get_midauto_result),            any,      silent,
      "read the mid-auto test result"),
  row(4408, no,  CALLS(payload,           handle_set_midauto_result),            any,      silent,
      "write the mid-auto test result, at most 128 characters"),
  row(4409, no,  CALLS(selector,          handle_get_midauto_crc),               value(0), silent,
      "read the first mid-auto CRC, \"0xFFFFFFFF\" when there is none"),
  row(4410, no,  CALLS(selector,          handle_get_midauto_crc),               value(1), silent,
      "read the second mid-auto CRC"),
  row(4411, no,  CALLS(selector,          handle_get_midauto_crc),               value(2), silent,
      "read the third mid-auto CRC"),
  row(4412, no,  CALLS(selector,          handle_get_midauto_crc),               value(3), silent,
      "read the fourth mid-auto CRC"),
  row(4413, no,  CALLS(none,              handle_midauto_read_imei2),            any,      silent,
      "read the second IMEI from the modem"),
  row(4414, no,  CALLS(none,              handle_midauto_read_imei3),            any,      silent,
      "read the third IMEI from the modem"),
  row(4415, no,  RESULT(none,             qve_mbn_deactivation),                 any,
      SAYS("QVCMD_MODEM_MBN_DEACTIVATION(%d)", opcode),
      "deactivate the modem's configuration files"),
  row(4416, no,  ITEM_WRITE(set_fusion_modem_disable, fusion_modem_disable, keeps,
                            silent),                                             any,      silent,
      "write the fusion-modem disable item, at most 8 characters"),
  row(4417, no,  ITEM_TEXT(handle_get_fusion_modem_disable, fusion_modem_disable, keeps, "",
                           LOGS("fusion_modem_disable : %s\n", text)),           any,      silent,
      "read the fusion-modem disable item"),
  row(4418, no,  CALLS(none,              handle_read_agree_factory),            any,      silent,
      "read the agree-factory file"),
  row(4419, no,  CALLS(payload,           handle_write_agree_factory),           any,      silent,
      "write the agree-factory file"),
  row(4420, yes, CALLS(none,              handle_rfsw_device_check_mmw),         any,
      SAYS("service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = %d\n", opcode),
      "check the millimetre-wave device"),
  row(4421, yes, CALLS(none,              handle_get_rf_4g_error_handle_5g),     any,
      SAYS("service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = %d\n", opcode),
      "read the 4G error handling for 5G, one character"),
  row(4422, yes, CALLS(request,           handle_set_rf_4g_error_handle_5g),     any,
      SAYS("service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = %d\n", opcode),
      "set the 4G error handling for 5G: exactly one byte"),
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
