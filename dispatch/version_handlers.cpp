#include "dispatch/handlers.h"
#include "fcx/device_functions.h"
#include "fcx/version_info.h"

namespace fcx {
namespace {

using ChecksumText = TextBuffer<19>;

/// Answers with a checksum, and leaves `result` alone. Without one all stays as it is, on purpose.
void answer_checksum(int kind, qvcmd_response& response) {
  ChecksumText text;
  if (crc_command(kind, text.data()) == 0) answer_text(response, text.view());
}

}  // namespace

void handle_get_factory_version(int32_t type, qvcmd_response& response) {
  clear(response);
  const int failed = get_qve_factory_sw_version(type, response.data, &response.data_len);
  if (failed == 0 && response.data_len > 0) return;
  HANDLER_INFO("%s: get_qve_factory_sw_version fail[type:%d]", __func__, type);
  response.result = QVCMD_FAIL;
}

void handle_get_hw_revision(qvcmd_response& response) {
  clear(response);
  const int failed = get_qve_hw_version(response.data, &response.data_len);
  if (failed == 0 && response.data_len > 0) return;
  HANDLER_INFO("%s: get_qve_hw_version fail", __func__);
  response.result = QVCMD_FAIL;
}

void handle_get_code_crc(qvcmd_response& response) {
  clear(response);
  answer_checksum(kCodeChecksum, response);
  if (response.data_len == 0) response.result = QVCMD_FAIL;
}

void handle_get_nv_crc(qvcmd_response& response) { answer_checksum(kNvChecksum, response); }

void handle_get_file_crc(qvcmd_response& response) { answer_checksum(kFileChecksum, response); }

}  // namespace fcx
