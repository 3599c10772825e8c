#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/system_control.h"
#include "platform/device_home.h"

namespace fcx {
namespace {

/// Takes the QEM flag back where the restart that it was set for has failed.
void undo_qem(const char* handler) { log_failure(handler, set_qem(0)); }

}  // namespace

void handle_devicetest_start(Decimal argument, qvcmd_response& response) {
  constexpr int kDeviceTest = 6;
  int step = -1;
  if (argument.value == 1) step = logged(__func__, set_qem(1));
  if (const int status = get_factory_status(); status != kDeviceTest) {
    if (status < 0) HANDLER_ERROR("%s: the factory status cannot be read\n", __func__);
    HANDLER_INFO("handle_devicetest_start frst = %d\n", status);
    // In place of what became of the flag, and for any other argument too, on purpose.
    step = set_factory_status(kDeviceTest);
    HANDLER_INFO("handle_devicetest_start change frst 6, ret = %d\n", step);
  }
  // A restart that fails is not reported, on purpose.
  if (step >= 0 && system_restart() != 0) undo_qem(__func__);
  response.result = item_result(step);
}

void handle_frst_start(Decimal mode, qvcmd_response& response) {
  HANDLER_INFO("FRST START");
  const auto reset = [&] {
    switch (mode.value) {
      case 1:
        return hidden_factoryreset_sdcard();
      case 2:
        return qve_reset_production(100);
      case 3:
        return qve_reset_production(102);
      case 4:
        return qve_reset_production(101);
      case 5:
        return hidden_factoryreset_sdcard_power_off();
      default:
        HANDLER_ERROR("handle_frst_start: there is no mode %d\n", mode.value);
        return 2;
    }
  };
  response.result = three_way_result(reset());
}

void handle_factory_mode_check(qvcmd_response& response) {
  constexpr int kNotSupported = 2;
  const int qem = get_qem();
  if (qem < 0) log_failure(__func__, qem);
  if (qem == 1) {
    answer_text(response, "\1");
    response.result = QVCMD_OK;
    return;
  }
  TextBuffer<15> text;
  int length = 0;
  const int code = get_qve_test_script_mode(text.data(), &length);
  HANDLER_INFO("%s, ret: %d\n", __func__, code);
  const int mode = decimal_number(text.view());
  if (code != 0) {
    response.result = QVCMD_FAIL;
  } else if (mode == kNotSupported) {
    response.result = kNotSupported;
  } else {
    // A raw byte, not a digit: mode 0 ends the text at once, on purpose.
    const auto byte = static_cast<char>(mode);
    answer_text(response, bounded_text(&byte, 1));
    response.result = QVCMD_OK;
  }
}

void handle_rkf_start(Decimal argument, qvcmd_response& response) {
  // What sets the status logs its failures, and they stop nothing.
  static_cast<void>(set_bootstatus(argument.value));
  response.result = system_restart() == 0 ? QVCMD_OK : QVCMD_FAIL;
  if (response.result != QVCMD_OK) static_cast<void>(set_bootstatus(0));  // likewise
}

void handle_aat_write_start(Decimal argument, qvcmd_response& response) {
  response.result = QVCMD_FAIL;
  if (argument.value != 1) {
    HANDLER_ERROR("%s: there is no mode %d\n", __func__, argument.value);
    return;
  }
  if (logged(__func__, set_qem(1)) != 0) return;
  response.result = QVCMD_OK;
  // As above.
  if (system_aat() != 0) undo_qem(__func__);
}

void handle_qct_bsp_pwr_hardreset_enable(const qvcmd_request& request, qvcmd_response& response) {
  response.result = three_way_result(system_powerkey_hardreset_enable(request.data[0]));
}

void start_sdcard_download(std::string_view path) {
  // Each step logs its failure, which stops nothing.
  static_cast<void>(write_item_text<item::sdcard_download_path>(__func__, path));
  static_cast<void>(set_bootstatus(1));  // likewise
  platform_sync();
  static_cast<void>(system_dload());  // likewise
}

}  // namespace fcx
