#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"

namespace fcx {
namespace {

/// What a device function has answered: 2048 bytes with a NUL.
struct Answer {
  TextBuffer<QVCMD_DATA_SIZE - 1> bytes;
  int length = 0;

  /// Hands it on as it is.
  void hand_back(qvcmd_response& response) const {
    answer_bytes(response, {bytes.c_str(), static_cast<size_t>(length)});
  }
};

}  // namespace

void handle_sim_issim(qvcmd_response& response) {
  Answer answer;
  const int code = qve_issim_req(answer.bytes.data(), &answer.length);
  response.data_len = 0;
  if (code != 0) {
    HANDLER_INFO("ISSIM FAIL!!! ISSIM: %s\n", "");
    response.result = QVCMD_FAIL;
    return;
  }
  HANDLER_INFO("ISSIM SUCCESS!!! ISSIM: %s\n", answer.bytes.c_str());
  answer.hand_back(response);
  response.result = QVCMD_OK;
}

void handle_sim_simoff(std::string_view text, qvcmd_response& response) {
  constexpr size_t kLongest = 1023;
  const TextBuffer<kLongest> sent(text);
  Answer answer;
  const int code = qve_virtual_sim_set(sent.c_str(), static_cast<int>(sent.view().size()),
                                       answer.bytes.data(), &answer.length);
  response.result = three_way_result(code);
  response.data_len = 0;
  if (code == 0) {
    answer.hand_back(response);
  } else if (code == 1) {
    log_failure(__func__, code);
  } else {
    HANDLER_INFO("SIMOFF NOT SUPPORTED!!! SIMOFF=%s : %s\n", sent.c_str(), answer.bytes.c_str());
  }
}

void handle_sim_isvsim(qvcmd_response& response) {
  Answer answer;
  const int code = qve_is_virtual_sim(answer.bytes.data());
  response.result = three_way_result(code);
  if (code == 0) {
    answer_byte(response, answer.bytes.view() == "OK" ? 1 : 0);
  } else if (code == 1) {
    log_failure(__func__, code);
  } else {
    HANDLER_INFO("Cannot get response. Return error:%d\n", code);
  }
}

void handle_sim_satpc(const qvcmd_request& request, qvcmd_response& response) {
  constexpr int32_t kRead = 4033;
  constexpr int32_t kWrite = 4034;
  response.data_len = 0;
  if (request.opcode != kRead && request.opcode != kWrite) {
    response.result = QVCMD_FAIL;
    return;
  }
  const std::string_view sent = payload_bytes(request);
  Answer answer;
  response.result = logged(
      __func__, qve_satpc_req(request.opcode == kWrite, sent.data(), static_cast<int>(sent.size()),
                              answer.bytes.data(), &answer.length));
  if (response.result == 0) answer.hand_back(response);
}

void handle_rfsw_get_cal_data(qvcmd_response& response) {
  clear(response);
  Answer answer;
  const int code = qve_cal_data_check(answer.bytes.data());
  log_failure(__func__, code);
  if (code == 0 && answer.bytes.c_str()[0] == '1') return;
  if (code == 0) HANDLER_ERROR("%s: no calibration data\n", __func__);
  response.result = QVCMD_FAIL;
}

void handle_rfsw_device_check_mmw(qvcmd_response& response) {
  clear(response);
  Answer answer;
  response.result = result_of(__func__, rf_device_check_for_mmw(answer.bytes.data()));
}

void handle_get_rf_4g_error_handle_5g(qvcmd_response& response) {
  clear(response);
  Answer answer;
  const int code = get_rf_4g_error_handle_5g(answer.bytes.data());
  log_failure(__func__, code);
  if (code == 0 && answer.bytes.view().size() == 1)
    return answer_text(response, answer.bytes.view());
  if (code == 0) HANDLER_ERROR("%s: the answer is no character\n", __func__);
  response.result = QVCMD_FAIL;
}

void handle_set_rf_4g_error_handle_5g(const qvcmd_request& request, qvcmd_response& response) {
  clear(response);
  if (request.data_len != 1) {
    const std::string_view sent = payload_bytes(request);
    HANDLER_INFO("%s wrong set value data_len %d data %s\n", __func__, request.data_len,
                 TextBuffer<QVCMD_DATA_SIZE>(bounded_text(sent.data(), sent.size())).c_str());
    response.result = QVCMD_FAIL;
    return;
  }
  response.result = result_of(__func__, set_rf_4g_error_handle_5g(request.data[0]));
}

}  // namespace fcx
