#include "common/log.h"
#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/identity_items.h"
#include "modem/link/requests.h"

namespace fcx {
namespace {

/// What an identity function answered: there is room for the longest answer and a NUL.
struct Answer {
  TextBuffer<QVCMD_DATA_SIZE> bytes;
  int length = 0;
  unsigned int code = 0;

  bool is_there() const { return code == 0; }
  std::string_view text() const { return bytes.view(); }
};

/// A read's request: it must be there, and nothing of it is sent.
char no_request[1];

Answer read_imei(int slot_opcode) {
  Answer answer;
  answer.code = read_qve_imei(slot_opcode, no_request, 0, answer.bytes.data(), &answer.length);
  return answer;
}

Answer read_record(unsigned int (*read_item)(char*, short, char*, int*)) {
  Answer answer;
  answer.code = read_item(no_request, 0, answer.bytes.data(), &answer.length);
  return answer;
}

/// Writes an IMEI as the modem wants it: any bytes, of which it judges itself.
Answer write_imei(std::string_view imei) {
  TextBuffer<QVCMD_DATA_SIZE> sent(imei);
  Answer answer;
  answer.code = write_qve_imei(request::write_imei, sent.data(), static_cast<short>(imei.size()),
                               answer.bytes.data(), &answer.length);
  return answer;
}

/// Answers with an IMEI, or with the modem's error text, which keeps `result` 0.
void answer_imei(const char* handler, const Answer& imei, qvcmd_response& response) {
  clear(response);
  response.result = result_of(handler, static_cast<int>(imei.code));
  if (response.result == QVCMD_OK) answer_text(response, imei.text());
}

/// Answers with a record's flag, unless it is the modem's error text. `record` is its name in
/// texts.
void answer_flag(const char* record, const Answer& flag, qvcmd_response& response) {
  TextBuffer<32> error(record);
  error.append(" READ ERROR");
  if (!flag.is_there() || flag.text() == error.view()) {
    HANDLER_INFO("%s READ FAIL", record);
    response.result = QVCMD_FAIL;
    return;
  }
  HANDLER_INFO("%s READ OK : %s", record, flag.bytes.c_str());
  answer_text(response, flag.text());
  response.result = QVCMD_OK;
}

int32_t automid_write_imei(std::string_view imei) {
  constexpr size_t kLongest = 1024;
  constexpr std::string_view kDigitError = "CHECK DIGIT ERROR";
  const Answer answer = write_imei(imei.substr(0, kLongest));
  if (!answer.is_there()) {
    HANDLER_INFO("AutoMID write IMEI fatal Failed :(");
    return QVCMD_FAIL;
  }
  if (answer.text() == "IMEI WRITE OK") {
    HANDLER_INFO("AutoMID write IMEI Success :)");
    return QVCMD_OK;
  }
  if (answer.text() == "IMEI WRITE ERROR") {
    HANDLER_INFO("AutoMID write IMEI Failed :(");
  } else if (answer.text().substr(0, kDigitError.size()) == kDigitError) {
    // Alone of the three it may be followed by more text, on purpose.
    HANDLER_INFO("AutoMID write IMEI Digit Error.");
  } else {
    HANDLER_INFO("AutoMID write IMEI Unknown Error :(");
  }
  return QVCMD_FAIL;
}

void automid_read_imei(qvcmd_response& response) {
  const Answer imei = read_imei(request::read_imei);
  if (!imei.is_there() || imei.text() == "IMEI READ ERROR :(") {
    HANDLER_INFO("AutoMID read IMEI Fail :(");
    response.result = QVCMD_FAIL;
    return;
  }
  answer_text(response, imei.text());
  response.result = QVCMD_OK;
  HANDLER_INFO("AutoMID read IMEI Success :) = %s", imei.bytes.c_str());
}

}  // namespace

void handle_automid_imei(std::string_view imei, qvcmd_response& response) {
  if (imei.empty()) {
    automid_read_imei(response);
  } else {
    response.result = automid_write_imei(imei);
  }
}

void handle_write_imei(const qvcmd_request& request, qvcmd_response& response) {
  answer_imei(__func__, write_imei(payload_bytes(request)), response);
}

void handle_read_imei(qvcmd_response& response) {
  answer_imei(__func__, read_imei(request::read_imei), response);
}

void handle_midauto_read_imei2(qvcmd_response& response) {
  answer_imei(__func__, read_imei(request::read_imei2), response);
}

void handle_midauto_read_imei3(qvcmd_response& response) {
  answer_imei(__func__, read_imei(request::read_imei3), response);
}

void handle_get_meid_pesn(int32_t selector, qvcmd_response& response) {
  constexpr int32_t kMeid = 1;
  Answer answer;
  answer.code = selector == kMeid ? read_qve_meid(answer.bytes.data(), &answer.length)
                                  : read_qve_pesn(answer.bytes.data(), &answer.length);
  response.data_len = 0;
  if (logged(__func__, static_cast<int>(answer.code)) == 0) {
    answer_bytes(response, {answer.bytes.data(), static_cast<size_t>(answer.length)});
  }
  // A failed MEID read keeps `result` 0, on purpose; a failed pESN read does not.
  response.result = answer.is_there() || selector == kMeid ? QVCMD_OK : QVCMD_FAIL;
}

void handle_get_impl(qvcmd_response& response) {
  answer_flag("IMPL", read_record(read_qve_impl), response);
}

void handle_get_fusg(qvcmd_response& response) {
  answer_flag("FUSG", read_record(read_qve_fusg), response);
}

void handle_get_ftm_model_name(qvcmd_response& response) {
  TextBuffer<255> name;
  int length = 0;
  if (read_kelp_info_model(name.data(), &length) != 0) {
    HANDLER_INFO("handle_get_ftm_model_name Fail");
    response.result = QVCMD_FAIL;
    return;
  }
  HANDLER_INFO("handle_get_ftm_model_name OK : %s, %d", name.c_str(), length);
  answer_text(response, name.view());
  response.result = QVCMD_OK;
}

void handle_set_ftm_model_name(std::string_view name, qvcmd_response& response) {
  response.result =
      logged(__func__, write_kelp_info_model(name.data(), static_cast<int>(name.size())));
  response.data_len = 0;
}

}  // namespace fcx
