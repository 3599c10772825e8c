#include "fcx/command_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "dispatch/command_rows.h"
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
  CommandCalls::Call call;
  CommandCalls::Call write;
};

constexpr Function function(const char* name, Argument argument, CommandCalls::Call call) {
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

// Macros, so that a name is written once and a log line's format stays a literal, which the
// compiler checks.

/// A handler of dispatch/handlers.h, called with its argument.
#define CALLS(argument, handler) \
  function(#handler, Argument::argument, call<Argument::argument, handler>)

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

// What people are told of a row: the answer's data, the result words, an example.

constexpr const char* nothing = nullptr;
constexpr const char* never = nullptr;

/// What 0, 1 and 2 mean, and which other words there are.
constexpr Results results(const char* zero, const char* one, const char* two = never,
                          const char* other = never) {
  return {{zero, one, two}, other};
}
constexpr Results done_or(const char* one) { return results("done", one); }
constexpr Results done_or_else(const char* other) { return results("done", never, never, other); }
constexpr Results always(int word) {
  return {{word == 0 ? "always" : never, word == 1 ? "always" : never, never}, never};
}
constexpr Results untold{};  // on purpose: the response's `result` stays the caller's

constexpr Results item_read = done_or("the item cannot be read");
constexpr Results item_written = done_or("the item cannot be written");
constexpr Results item_kept = done_or("the item cannot be read, or written");
constexpr Results address_kept = done_or("no address, or the item cannot be read or written");
constexpr Results request_done = done_or("the request failed");
constexpr Results sim_switched =
    results("done", "the request failed", "not supported: the request has another code");
constexpr Results satpc_done = done_or_else("any other: the code that the request failed with");
constexpr Results modem_read = done_or("the modem has none, or the request failed");
constexpr Results modem_kept = done_or("the modem refuses, or the request failed");
constexpr Results modem_answers =
    results("answered, be it with an error text", "the request failed");

/// Up to three requests, one after another; data as text or as hex:BYTES.
constexpr Example sends(const char* data = "", const char* second = nullptr,
                        const char* third = nullptr) {
  return {0, nullptr, {data, second, third}};
}
/// The same after another command.
constexpr Example after(int32_t opcode, const char* data, const Example& example) {
  return {opcode, data, {example.data[0], example.data[1], example.data[2]}};
}

constexpr CommandRow row(int32_t opcode, bool prepares_pool, const Function& function,
                         Detail detail, CommandCalls::Announcement announce, const char* summary,
                         const char* answer, const Results& results, const Example& example) {
  return {{opcode, function.name, function.writer, function.argument, detail.content,
           detail.selector, prepares_pool, summary, answer, results, example},
          {announce, function.call, function.write}};
}

// clang-format off
constexpr CommandRow kRows[] = {
//    opcode pool form(argument, handler)                                         content   announce
//    what it does, what it answers with, the words of `result`, an example
  row(3170, no,  CALLS(payload,           handle_set_dload_mode),                any,      silent,
      "set the download mode; the text begins with the letter o",
      nothing, done_or("another text, or the item cannot be written"), sends("on")),
  row(3171, no,  CALLS(none,              handle_get_dload_mode),                any,      silent,
      "read the download mode, \"off\" when none is set",
      "text, at most 8 characters", always(0), after(3170, "on", sends())),
  row(3200, no,  CALLS(none,              handle_get_teal_ime),                  any,      silent,
      "read the IME selection as one raw byte",
      "one raw byte, 255 when the item cannot be read", always(0), after(3201, "hex:02", sends())),
  row(3201, no,  CALLS(request,           handle_set_teal_ime),                  any,      silent,
      "set the IME selection: one raw byte, 0 to 2",
      nothing, done_or("another byte, or the item cannot be written"), sends("hex:02")),
  row(4001, no,  CALLS(payload,           handle_aat_result),                    any,      silent,
      "read the automatic test's results, a line NAME=RESULT each; with a NAME: that test's result",
      "text, at most 2047 characters; nothing when there is no such result", always(0),
      sends("KEY")),
  row(4002, no,  CALLS(decimal,           handle_frst_start),                    any,      silent,
      "note a factory reset and restart, 2, 3 or 4; 1: with the SD card; 5: with the card, and power off",
      nothing, results("noted, and begun", "failed", "another number, or no card is there"), sends("1", "2")),
  row(4003, no,  CALLS(decimal,           handle_charger_skip),                  any,      silent,
      "2: is the charger check skipped (result 1)? any other number sets the flag",
      nothing, results("set, even if that failed; or not skipped", "skipped, or not read"),
      sends("2", "1", "2")),
  row(4004, no,  CALLS(decimal,           handle_devicetest_start),              any,      silent,
      "1: start the device test and restart; any other number too, unless it has been started",
      nothing, done_or("another number when it has been started, or the last write failed"),
      sends("1")),
  row(4005, yes, CALLS(none,              handle_factory_mode_check),            any,      silent,
      "read whether the phone is in factory mode",
      "one raw byte: 1 in a factory test, else the test script's mode; none for mode 0",
      results("done", "the mode cannot be read", "the mode is 2: no data"), sends()),
  row(4007, no,  CALLS(decimal,           handle_rkf_start),                     any,      silent,
      "set the boot status, a number, and restart",
      nothing, done_or("no restart was begun, and the boot status is 0 again"), sends("1")),
  row(4010, no,  ITEM_TEXT(handle_get_serial_number, serial_number, clears, "0",
                           LOGS("SERIAL NUM : %d (%s)\n", index, text)),         any,      silent,
      "read the serial number, \"0\" when there is none",
      "text, at most 12 characters", item_read, sends()),
  row(4011, no,  CALLS(selector,          handle_get_factory_version),           value(2), silent,
      "read the software version as the carrier's package and the network code make it",
      "text, at most 69 characters", done_or("there is no version"), sends()),
  row(4012, no,  CALLS(none,              handle_get_hw_revision),               any,      silent,
      "read the hardware revision",
      "text, at most 5 characters", done_or("there is no revision"), sends()),
  row(4013, no,  CALLS(none,              handle_get_code_crc),                  any,      silent,
      "read the code's checksum: CRC-32 of the build-identifier files",
      "\"0x\" and 8 hexadecimal digits", done_or("no identifier, or one cannot be read"), sends()),
  row(4015, no,  ITEM_TEXT(handle_get_msn, msn, clears, "",
                           LOGS("MSN : %d (%s)\n", index, text)),                any,      silent,
      "read the MSN",
      "text, at most 16 characters", item_read, sends()),
  row(4016, no,  ITEM_TEXT(handle_get_manuf_date, manuf_date, clears, "",
                           LOGS("MANUF DATE : %d (%s)\n", index, text)),         any,      silent,
      "read the manufacturing date",
      "text, at most 16 characters", item_read, sends()),
  row(4017, no,  CALLS(none,              handle_get_set_revision),              any,      silent,
      "read the set revision",
      "text, at most 10 characters", item_read, sends()),
  row(4018, no,  read_or_write(
         ITEM_TEXT(handle_get_csn, csn, clears, kNoCode, LOGS("CSN : %d (%s)\n", index, text)),
         ITEM_WRITE(handle_set_csn, csn, clears, LOGS("CSN Write OK\n"))),       any,      silent,
      "read the CSN, 15 zeros when there is none; with text: write it",
      "text, at most 16 characters; nothing after a write", item_kept,
      sends("", "123456789012345", "")),
  row(4019, no,  CALLS(selector,          handle_get_factory_version),           value(1), silent,
      "read the software version as it was built",
      "text, at most 69 characters", done_or("there is no version"), sends()),
  row(4020, yes, DIRECT(system_efs_sync),                                        any,      silent,
      "flush the modem's file system; the response stays as it was, also when that fails",
      nothing, untold, sends()),
  row(4021, yes, CALLS(none,              handle_rfsw_get_cal_data),             any,      silent,
      "check the RF calibration data",
      nothing, results("calibrated", "not calibrated, or the request failed"), sends()),
  row(4024, no,  ITEM_TEXT(handle_get_sw_fixed_area_version, sw_fixed_area_version, clears, "",
                            silent),                                             any,      silent,
      "read the software version of the fixed area",
      "text, at most 50 characters", item_read, sends()),
  row(4025, no,  CALLS(none,              handle_get_hiddenmenu_enable),         any,      silent,
      "read whether the hidden-menu extension is enabled, as a number",
      "a number in digits, 0 to 255", item_read, sends()),
  row(4030, yes, CALLS(none,              handle_sim_issim),                     any,      silent,
      "read whether a SIM is there",
      "what the system side says: \"1\" or \"0\"", request_done, sends()),
  row(4031, yes, CALLS(payload,           handle_sim_simoff),                    any,      silent,
      "switch the virtual SIM: \"1\" on, \"0\" off",
      "what the system side says", sim_switched, sends("1", "2")),
  row(4032, yes, CALLS(none,              handle_sim_isvsim),                    any,      silent,
      "read whether the virtual SIM is on, as one raw byte",
      "one raw byte: 1 when it is on, else 0",
      sim_switched, after(4031, "1", sends())),
  row(4033, yes, CALLS(request,           handle_sim_satpc),                     any,      silent,
      "read the SAT profile",
      "the profile", satpc_done, sends()),
  row(4034, yes, CALLS(request,           handle_sim_satpc),                     any,      silent,
      "write the SAT profile, raw bytes",
      "what the system side says", satpc_done, sends("FFFF7F1E")),
  row(4040, yes, CALLS(request,           handle_qct_bsp_pwr_hardreset_enable),  any,      silent,
      "enable the hard reset by the power key; with a first character \"0\": disable it",
      nothing, results("done", "the modem refuses, or the request failed", "any other failure"),
      sends("1", "0")),
  row(4056, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else",
      nothing, untold, sends()),
  row(4059, yes, CALLS(none,              handle_get_nv_crc),                    any,      silent,
      "read the checksum of the NV items, as the system side makes it",
      "text, at most 19 characters; none when the request failed", untold, sends()),
  row(4060, no,  CALLS(decimal,           handle_crcwizard_set),                 any,      silent,
      "set the CRC wizard's state, one digit",
      nothing, item_written, sends("1")),
  row(4061, no,  CALLS(none,              handle_crcwizard_get),                 any,      silent,
      "read the CRC wizard's state",
      "one digit; none when the item cannot be read", always(0), sends()),
  row(4062, no,  CALLS(none,              handle_get_file_crc),                  any,      silent,
      "read the files' checksum: CRC-32 of what is in /vendor/etc",
      "\"0x\" and 8 hexadecimal digits; none when a file cannot be read", untold, sends()),
  row(4063, no,  read_or_write(CALLS(none, handle_get_ftm_model_name),
                               CALLS(payload, handle_set_ftm_model_name)),      any,      silent,
      "read the model name; with text: write it",
      "text, at most 255 characters; nothing after a write",
      results("done", "not read", never, "-1: a longer name; any other: the code of the write"),
      sends("", "QV-200", "")),
  row(4064, no,  CALLS(payload_or_none,   handle_automid_imei),                  imei,     silent,
      "read the IMEI; with text: write it",
      "the modem's text; nothing after a write", modem_kept, sends("", "490154203237526")),
  row(4065, no,  CALLS(payload_or_none,   handle_automid_mac),                   any,      silent,
      "read the WLAN address; with text: write it",
      "12 hexadecimal digits; nothing after a write", address_kept, sends("02FC0A123456", "")),
  row(4066, no,  CALLS(payload_or_none,   handle_automid_btaddr),                any,      silent,
      "read the Bluetooth address; with text: write it",
      "12 hexadecimal digits; nothing after a write", address_kept, sends("02FC0A123456", "")),
  row(4068, no,  CALLS(none,              handle_get_impl),                      any,      silent,
      "read the modem's IMPL item",
      "the modem's text", modem_read, sends()),
  row(4069, no,  CALLS(none,              handle_get_fusg),                      any,      silent,
      "read the modem's FUSG item",
      "the modem's text", modem_read, sends()),
  row(4180, no,  CALLS(decimal,           handle_aat_write_start),               any,      silent,
      "1: restart into the automatic test",
      nothing, results("done, even if no restart follows", "another number, or it is not written"),
      sends("1")),
  row(4215, no,  CALLS(none,              handle_get_ldaf_cal),                  any,      silent,
      "read whether the LDAF calibration is done, \"true\" or \"false\"",
      "\"true\" or \"false\"", item_read, sends()),
  row(4230, no,  CALLS(request,           handle_get_saat_result),               any,      silent,
      "read the SAAT result; \"[FRONT_TOF_CHECK]\": is the front camera calibrated?",
      "text, at most 256 characters; nothing of the camera",
      results("done, or calibrated", "not calibrated", never, "-1: the item cannot be read"),
      sends("", "[FRONT_TOF_CHECK]")),
  row(4231, no,  CALLS(request,           handle_set_saat_result),               any,      silent,
      "write the SAAT result; \"[FRONT_TOF]...\": write the front camera's calibration",
      nothing, done_or_else("-1: not stored"), sends("PASS", "[FRONT_TOF]offset=12")),
  row(4232, no,  CALLS(decimal,           handle_saat_proxi_sync),               any,      silent,
      "log a proximity calibration value; the result is always 1",
      nothing, always(1), sends("12")),
  row(4240, no,  CALLS(none,              handle_read_flex_gpio_sum),            any,      silent,
      "read the flex GPIO sum",
      "text, at most 4 characters", item_read, sends()),
  row(4241, no,  CALLS(payload,           handle_write_flex_gpio_sum),           any,      silent,
      "write the flex GPIO sum, at most 4 characters",
      nothing, item_written, sends("3C4D")),
  row(4242, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else",
      nothing, untold, sends()),
  row(4243, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else",
      nothing, untold, sends()),
  row(4258, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else",
      nothing, untold, sends()),
  row(4259, yes, pool_only,                                                      any,      silent,
      "prepare the HIDL thread pool, nothing else",
      nothing, untold, sends()),
  row(4266, no,  DIRECT_TEXT(start_sdcard_download),                           any,      silent,
      "note the image's path and restart into download mode",
      nothing, untold, sends("/sdcard/image.bin")),
  row(4293, yes, CALLS(request,           handle_write_imei),                    imei,
      SAYS("QVCMD_MODEM_WRITE_IMEI"),
      "write the IMEI to the modem",
      "the modem's text, such as \"IMEI WRITE OK\"", modem_answers,
      sends("490154203237517", "490154203237518")),
  row(4294, yes, CALLS(none,              handle_read_imei),                     any,
      SAYS("QVCMD_MODEM_READ_IMEI"),
      "read the IMEI from the modem",
      "the modem's text, or its error text", modem_answers, sends()),
  row(4295, no,  CALLS(request,           handle_set_get_startday),              any,      silent,
      "read the day of first use; with 19 characters, 0000/00/00 00:00:00: write it",
      "19 characters; \"OK\" after a write; \"ERROR\" when it failed",
      untold, sends("", "2020/06/01 09:30:00", "")),
  row(4296, no,  ITEM_TEXT(handle_get_image_status, image_status, clears, "",
                           LOGS("IMAGE_STATUS : %d (%s)\n", index, text)),       any,      silent,
      "read the image status",
      "one character", item_read, sends()),
  row(4297, no,  ITEM_TEXT(handle_get_image_secno, image_secno, clears, "",
                           LOGS("IMAGE_SECNO : %d (%s)\n", index, text)),        any,      silent,
      "read the image security number",
      "text, at most 4 characters", item_read, sends()),
  row(4298, no,  ITEM_TEXT(handle_get_image_name, image_name, clears, "",
                           LOGS("IMAGE_NAME : %d (%s)\n", index, text)),         any,      silent,
      "read the image name",
      "text, at most 16 characters", item_read, sends()),
  row(4400, no,  CALLS(selector,          handle_get_meid_pesn),                 value(1), silent,
      "read the MEID from the modem; the result is 0 also when that fails",
      "the bytes that the modem gives; none when the request failed", always(0), sends()),
  row(4401, no,  CALLS(selector,          handle_get_meid_pesn),                 value(0), silent,
      "read the pESN from the modem",
      "the bytes that the modem gives", request_done, sends()),
  row(4402, no,  CALLS(none,              handle_get_ram_size),                  any,      silent,
      "read the memory size in MiB",
      "a number in digits", done_or("the size cannot be read"), sends()),
  row(4404, no,  CALLS(none,              handle_get_sku),                       any,      silent,
      "read the SKU, 15 zeros when there is none",
      "text, at most 30 characters", done_or_else("as it was passed: the item cannot be read"),
      sends()),
  row(4405, no,  RESULT(selector,         qve_reset_production),                 value(1), silent,
      "note a production reset, mode 1, for the next start",
      nothing, done_or("it cannot be stored"), sends()),
  row(4406, no,  RESULT(selector,         qve_reset_production),                 value(0), silent,
      "note a production reset, mode 0, for the next start",
      nothing, done_or("it cannot be stored"), sends()),
  row(4407, no,  CALLS(none,              handle_get_midauto_result),            any,      silent,
      "read the mid-auto test result",
      "text, at most 128 characters", done_or_else("-1: the item cannot be read"), sends()),
  row(4408, no,  CALLS(payload,           handle_set_midauto_result),            any,      silent,
      "write the mid-auto test result, at most 128 characters",
      "the same text, cut at 128 characters, also when it failed", done_or_else("-1: the item cannot be written"), sends("1101")),
  row(4409, no,  CALLS(selector,          handle_get_midauto_crc),               value(0), silent,
      "read the first mid-auto CRC, \"0xFFFFFFFF\" when there is none",
      "text, at most 10 characters", done_or_else("-1: the item cannot be read"), sends()),
  row(4410, no,  CALLS(selector,          handle_get_midauto_crc),               value(1), silent,
      "read the second mid-auto CRC",
      "text, at most 10 characters", done_or_else("-1: the item cannot be read"), sends()),
  row(4411, no,  CALLS(selector,          handle_get_midauto_crc),               value(2), silent,
      "read the third mid-auto CRC",
      "text, at most 10 characters", done_or_else("-1: the item cannot be read"), sends()),
  row(4412, no,  CALLS(selector,          handle_get_midauto_crc),               value(3), silent,
      "read the fourth mid-auto CRC",
      "text, at most 10 characters", done_or_else("-1: the item cannot be read"), sends()),
  row(4413, no,  CALLS(none,              handle_midauto_read_imei2),            any,      silent,
      "read the second IMEI from the modem",
      "the modem's text, or its error text", modem_answers, sends()),
  row(4414, no,  CALLS(none,              handle_midauto_read_imei3),            any,      silent,
      "read the third IMEI from the modem",
      "the modem's text, or its error text", modem_answers, sends()),
  row(4415, no,  RESULT(none,             qve_mbn_deactivation),                 any,
      SAYS("QVCMD_MODEM_MBN_DEACTIVATION(%d)", opcode),
      "deactivate the modem's configuration files",
      nothing, done_or("the modem refuses, or the request failed"), sends()),
  row(4416, no,  ITEM_WRITE(set_fusion_modem_disable, fusion_modem_disable, keeps,
                            silent),                                             any,      silent,
      "write the fusion-modem disable item, at most 8 characters",
      nothing, item_written, sends("1")),
  row(4417, no,  ITEM_TEXT(handle_get_fusion_modem_disable, fusion_modem_disable, keeps, "",
                           LOGS("fusion_modem_disable : %s\n", text)),           any,      silent,
      "read the fusion-modem disable item",
      "text, at most 8 characters", item_read, after(4416, "1", sends())),
  row(4418, no,  CALLS(none,              handle_read_agree_factory),            any,      silent,
      "read the agree-factory file",
      "text, at most 2047 characters",
      results("done, even if the file is not there or cannot be opened", "it cannot be read"),
      after(4419, "agreed", sends())),
  row(4419, no,  CALLS(payload,           handle_write_agree_factory),           any,      silent,
      "write the agree-factory file",
      nothing,
      results("done, even if the disk is full", "the file cannot be opened"), sends("agreed")),
  row(4420, yes, CALLS(none,              handle_rfsw_device_check_mmw),         any,
      SAYS("service_handler: QVCMD_MODEM_RF_DEVICE_CHECK_MMW = %d\n", opcode),
      "check the millimetre-wave device",
      nothing, done_or("the check, or its request, failed"), sends()),
  row(4421, yes, CALLS(none,              handle_get_rf_4g_error_handle_5g),     any,
      SAYS("service_handler: QVCMD_MODEM_GET_RF_4G_ERRORHANDLE_5G = %d\n", opcode),
      "read the 4G error handling for 5G, one character",
      "one character", done_or("another answer, or the request failed"), sends()),
  row(4422, yes, CALLS(request,           handle_set_rf_4g_error_handle_5g),     any,
      SAYS("service_handler: QVCMD_MODEM_SET_RF_4G_ERRORHANDLE_5G = %d\n", opcode),
      "set the 4G error handling for 5G: exactly one byte",
      nothing, done_or("another length, or the request failed"), sends("1")),
};
// clang-format on

constexpr size_t kCount = std::size(kRows);

// Apart, so that what the table shows of a command is all that its readers depend on, and the
// search passes over no more than that.

constexpr std::array<Command, kCount> kCommands = [] {
  std::array<Command, kCount> commands{};
  for (size_t i = 0; i < kCount; ++i) commands[i] = kRows[i].command;
  return commands;
}();

constexpr std::array<CommandCalls, kCount> kCalls = [] {
  std::array<CommandCalls, kCount> calls{};
  for (size_t i = 0; i < kCount; ++i) calls[i] = kRows[i].calls;
  return calls;
}();

constexpr bool rows_ascend() {
  for (size_t i = 1; i < kCommands.size(); ++i) {
    if (kCommands[i - 1].opcode >= kCommands[i].opcode) return false;
  }
  return true;
}
static_assert(rows_ascend(), "the rows of the command table ascend, and no opcode has two");

constexpr bool has_row(int32_t opcode) {
  for (const Command& row : kCommands) {
    if (row.opcode == opcode) return true;
  }
  return false;
}

constexpr bool examples_make_sense() {
  for (const Command& row : kCommands) {
    const Example& example = row.example;
    const bool takes_none = row.argument == Argument::none || row.argument == Argument::selector;
    if (example.data[0] == nullptr || (takes_none && example.data[0][0] != '\0')) return false;
    if (example.first_opcode != 0 && !has_row(example.first_opcode)) return false;
  }
  return true;
}
static_assert(examples_make_sense(), "an example sends something, and no data to who takes none");

}  // namespace

Table<Command> command_table() { return {kCommands.data(), kCommands.size()}; }

const Command* find_command(int32_t opcode) {
  const auto* row = std::lower_bound(
      kCommands.begin(), kCommands.end(), opcode,
      [](const Command& command, int32_t wanted) { return command.opcode < wanted; });
  return row != kCommands.end() && row->opcode == opcode ? row : nullptr;
}

const CommandCalls& calls_of(const Command& row) {
  return kCalls[static_cast<size_t>(&row - kCommands.data())];
}

}  // namespace fcx
