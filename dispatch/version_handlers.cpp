#include "dispatch/handlers.h"
#include "fcx/version_info.h"

namespace fcx {

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

}  // namespace fcx
