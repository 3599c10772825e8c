#include "dispatch/handlers.h"
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

void handle_rkf_start(Decimal argument, qvcmd_response& response) {
  // What sets the status logs its failures, and they stop nothing.
  static_cast<void>(set_bootstatus(argument.value));
  response.result = system_restart() == 0 ? QVCMD_OK : QVCMD_FAIL;
  if (response.result != QVCMD_OK) static_cast<void>(set_bootstatus(0));  // likewise
}

void handle_aat_write_start(Decimal argument, qvcmd_response& response) {
  response.result = QVCMD_FAIL;
  if (argument.value != 1 || logged(__func__, set_qem(1)) != 0) return;
  response.result = QVCMD_OK;
  // As above.
  if (system_aat() != 0) undo_qem(__func__);
}

void handle_qct_bsp_pwr_hardreset_enable(const qvcmd_request& request, qvcmd_response& response) {
  constexpr int32_t kOther = 2;
  const int code = system_powerkey_hardreset_enable(request.data[0]);
  response.result = code == 0 || code == 1 ? code : kOther;
}

void start_sdcard_download(std::string_view path) {
  // Each step logs its failure, which stops nothing.
  static_cast<void>(write_item_text<item::sdcard_download_path>(__func__, path));
  static_cast<void>(set_bootstatus(1));  // likewise
  platform_sync();
  static_cast<void>(system_dload());  // likewise
}

}  // namespace fcx
