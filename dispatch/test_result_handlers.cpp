#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/factory_items.h"

namespace fcx {

void handle_aat_result(std::string_view test, qvcmd_response& response) {
  // `result` is 0 whatever is found, on purpose; what is missing has been logged.
  static_cast<void>(aat_result_init(TextBuffer<QVCMD_DATA_SIZE>(test).c_str(), response.data));
  response.result = QVCMD_OK;
  response.data_len = static_cast<int32_t>(strlen(response.data));
  HANDLER_INFO("handle_aat_result, result : %d, rsp_len : %d, response : %s", response.result,
               response.data_len, response.data);
}

void handle_crcwizard_set(Decimal argument, qvcmd_response& response) {
  HANDLER_INFO("CWCWIZARD crcwizard_set ==  %d , %s ", argument.value,
               TextBuffer<QVCMD_DATA_SIZE>(argument.text).c_str());
  response.result = result_of(__func__, set_crcwizard(argument.value));
  if (response.result == QVCMD_OK) {
    HANDLER_INFO("rsp->result = QVCMD_OK");
  } else {
    HANDLER_INFO("rsp->result = QVCMD_FAIL");
  }
}

void handle_crcwizard_get(qvcmd_response& response) {
  clear(response);
  ItemText<item::crc_wizard> state;
  // Only a return of exactly 1 is a failure. The accessor never returns 1, so an item that cannot
  // be read answers an empty text with `result` 0: kept on purpose.
  if (logged(__func__, get_crcwizard(state.data())) == 1) {
    HANDLER_INFO("CWCWIZARD else get_crcwizard\n");
    response.result = QVCMD_FAIL;
    return;
  }
  HANDLER_INFO("CWCWIZARD get_crcwizard : %s\n", state.c_str());
  answer_text(response, state.view());
}

void handle_get_ldaf_cal(qvcmd_response& response) {
  ItemText<item::ldaf_cal> calibration;
  response.result = read_item_text<item::ldaf_cal>(__func__, calibration);
  if (response.result != QVCMD_OK) return;
  if (calibration.empty()) {
    HANDLER_ERROR("cal not done\n");
    answer_text(response, "false");
  } else {
    HANDLER_ERROR("cal done\n");
    answer_text(response, "true");
  }
}

void handle_get_saat_result(const qvcmd_request& request, qvcmd_response& response) {
  clear(response);
  const bool camera = payload_text(request).find("[FRONT_TOF_CHECK]") != std::string_view::npos;
  if (camera) {
    response.result = result_of(__func__, tof_cal_file_check());
    return;
  }
  ItemText<item::saat_result> result;
  response.result = logged(__func__, get_saatresult(result.data()));
  if (response.result == 0) answer_text(response, result.view());
}

void handle_set_saat_result(const qvcmd_request& request, qvcmd_response& response) {
  constexpr std::string_view kCamera = "[FRONT_TOF]";
  clear(response);
  const TextBuffer<QVCMD_DATA_SIZE> data(payload_text(request));
  const ItemText<item::saat_result> result(data.view());
  HANDLER_INFO("[%s] saatresult: %s, data: %s, data_len: %d\n", __func__, result.c_str(),
               data.c_str(), request.data_len);
  const size_t camera = data.view().find(kCamera);
  response.result = logged(__func__, camera == std::string_view::npos
                                         ? set_saatresult(result.c_str())
                                         : tof_cal_write(data.c_str() + camera + kCamera.size()));
}

void handle_saat_proxi_sync(Decimal argument, qvcmd_response& response) {
  HANDLER_INFO("[%s] cal value : %d\n", __func__, argument.value);
  response.result = QVCMD_FAIL;  // always, on purpose
}

void handle_get_midauto_result(qvcmd_response& response) {
  ItemText<item::midauto_result> result;
  response.result = logged(__func__, get_midauto_result(result.data()));
  if (response.result == 0) answer_text(response, result.view());
}

void handle_set_midauto_result(std::string_view text, qvcmd_response& response) {
  constexpr char kResultStored[] = "4";
  const ItemText<item::midauto_result> result(text);
  // Each call is made and the text is echoed whatever fails, and the first call alone decides the
  // result, on purpose.
  response.result = logged(__func__, set_midauto_result(result.c_str()));
  log_failure(__func__, midauto_status_set(kResultStored));
  answer_text(response, result.view());
}

void handle_get_midauto_crc(int32_t slot, qvcmd_response& response) {
  constexpr size_t kSlotLength = 10;
  ItemText<item::midauto_crc_list> slots;
  response.result = logged(__func__, get_midauto_crc_list(slots.data()));
  if (response.result != 0) return;
  const std::string_view crc =
      bounded_text(slots.c_str() + static_cast<size_t>(slot) * kSlotLength, kSlotLength);
  answer_text(response, crc.empty() ? "0xFFFFFFFF" : crc);
}

void handle_read_flex_gpio_sum(qvcmd_response& response) {
  ItemText<item::gpio_sum> sum;
  if (get_gpio_sum(sum.data()) != 0) {
    HANDLER_ERROR("[%s] failed to get data\n", __func__);
    response.result = QVCMD_FAIL;
    return;
  }
  response.result = QVCMD_OK;
  answer_text(response, sum.view());
}

void handle_write_flex_gpio_sum(std::string_view text, qvcmd_response& response) {
  // The accessor copies four bytes; the request may end before.
  const ItemText<item::gpio_sum> sum(text);
  response.result = result_of(__func__, set_gpio_sum(sum.c_str()));
}

}  // namespace fcx
