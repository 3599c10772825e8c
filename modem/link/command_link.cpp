#include "modem/link/command_link.h"

#include <vendor/qve/hardware/qvatcmd/1.0/IQvAtCmd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>

#include "common/log.h"
#include "common/text.h"
#include "fcx/modem_link.h"
#include "fcx/sync.h"
#include "modem/link/base64.h"
#include "modem/link/requests.h"
#include "platform/immortal.h"
#include "platform/modem_interface.h"
#include "platform/thread_annotations.h"

namespace {

using vendor::qve::hardware::qvatcmd::V1_0::IQvAtCmd;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDRequest;
using vendor::qve::hardware::qvatcmd::V1_0::QVATCMDResponse;

constexpr char kAtService[] = "atservice";
constexpr auto kDataSize = static_cast<int32_t>(QVCMD_DATA_SIZE);

/// The direct interface: what dmi_init() returned last, and who may use it.
struct DirectInterface {
  Mutex mutex;
  std::atomic<int> status = -1;
};

/// An answer of the AT-command service. There is room for all that can be decoded, more than a
/// record holds.
struct SystemAnswer {
  static constexpr size_t kLongestText = 4096;
  static constexpr size_t kMostBytes = 4096;

  int32_t result;
  int32_t data_len;
  int32_t status;
  std::array<uint8_t, kMostBytes> data;
};

/// The exchange with the AT-command service: the answer to the request that is under way, and who
/// may make one.
struct SystemExchange {
  Mutex mutex;
  SystemAnswer pending GUARDED_BY(mutex) = {};
};

/// What became of a request.
struct Outcome {
  int code;                 ///< what request_to_system() returns
  bool has_service = true;  ///< false: nobody was there, and the caller's outputs stay as they are
};

int request_to_modem(qvcmd_request& request, qvcmd_response& response) {
  DOMAIN_INFO("[COMMON_INTERFACE] Call request_to_modem");
  auto& direct = fcx::immortal<DirectInterface>();
  const std::lock_guard lock(direct.mutex);
  response = {};
  DOMAIN_INFO("[DMI] request_to_modem:__START!\n");
  if (direct.status != 0) init_modem_interface();
  const int status = direct.status;
  const bool is_ready = status == 0;
  if (!is_ready) DOMAIN_INFO("[DMI] request_to_modem : DMI is not initialized.");
  const int outcome = is_ready ? request_to_modem_via_dmi(&request, &response) : status;
  DOMAIN_INFO("[DMI] request_to_modem return value is %d\n", outcome);
  if (outcome == 0) return 0;
  // That the modem does not know a request is passed on: the product identifier relies on it.
  return is_ready && outcome == fcx::kNotSupported ? fcx::kNotSupported : QVCMD_FAIL;
}

/// Whether the service's result counts for this request. It does not for these two, on purpose.
constexpr bool result_counts(int number) { return number != 1011 && number != 1012; }

/// Calls the service, and waits for its turn before.
void call_service(IQvAtCmd& service, const QVATCMDRequest& call, qvcmd_response& response) {
  auto& system = fcx::immortal<SystemExchange>();
  const std::lock_guard lock(system.mutex);
  // A service that dies must not let the last answer pass as this one's.
  system.pending = {QVCMD_FAIL, 0, 0, {}};
  if (!service.request(call, response_from_system).isOk()) {
    DOMAIN_ERROR("[QVATCMD] the service did not answer\n");
  }
  response.result = system.pending.result;
  response.data_len = system.pending.data_len;
  response.reserved = system.pending.status;
  memcpy(response.data, system.pending.data.data(), sizeof response.data);
}

Outcome request_to_android(const qvcmd_request& request, qvcmd_response& response) {
  // Looked up for every request anew, on purpose: the service may have been restarted.
  const android::sp<IQvAtCmd> service = IQvAtCmd::getService(kAtService, false);
  if (service == nullptr) {
    DOMAIN_INFO("QVATCMD service not published!");
    return {QVCMD_FAIL, false};
  }
  std::array<char, fcx::base64_length(QVCMD_DATA_SIZE) + 1> text;
  const size_t length =
      fcx::encode_base64({request.data, static_cast<size_t>(request.data_len)}, text.data());
  QVATCMDRequest call{};
  call.opcode = request.opcode;
  call.data_len = request.data_len;
  call.data.setToExternal(text.data(), length);
  call_service(*service, call, response);
  DOMAIN_INFO("[COMMON_INTERFACE] Receive result value from request_to_android");
  return {result_counts(request.opcode) ? response.result : QVCMD_OK};
}

/// One request by whichever route. `response` holds the answer when the code is 0.
Outcome exchange(int number, std::string_view payload, qvcmd_response& response) {
  qvcmd_request request{number, 0, {}};
  request.data_len = static_cast<int32_t>(payload.copy(request.data, sizeof request.data));
  DOMAIN_INFO("[COMMON_INTERFACE] QVCMD OPCODE: %d", number);
  Outcome outcome{fcx::kNotSupported};
  switch (fcx::route_of(number)) {
    case fcx::Route::direct:
      outcome = {request_to_modem(request, response)};
      break;
    case fcx::Route::system:
      outcome = request_to_android(request, response);
      break;
    case fcx::Route::none:
      DOMAIN_INFO("[COMMON_INTERFACE] Invalid OPCODE");
      break;
  }
  if (outcome.code != 0 && outcome.has_service) {
    DOMAIN_INFO("Cannot get response. Return error!\n");
  }
  return outcome;
}

void log_status(const qvcmd_response& response) {
  DOMAIN_INFO("Response Status: %d\n", response.reserved);
}

/// The bytes that an answer has, of those that it claims to have.
std::string_view bytes_of(const qvcmd_response& response) {
  return {response.data, static_cast<size_t>(std::clamp(response.data_len, 0, kDataSize))};
}

std::string_view payload_of(const void* bytes, int length) {
  if (bytes == nullptr || length < 1) return {};
  return {static_cast<const char*>(bytes), static_cast<size_t>(std::min(length, kDataSize))};
}

}  // namespace

namespace fcx {

std::string_view ModemAnswer::bytes() const { return bytes_of(record_); }

std::string_view ModemAnswer::text() const {
  const std::string_view all = bytes();
  return bounded_text(all.data(), all.size());
}

int ask(int number, std::string_view payload, ModemAnswer& answer) {
  const int code = exchange(number, payload, answer.record()).code;
  if (code == 0) log_status(answer.record());
  return code;
}

}  // namespace fcx

int init_modem_interface() {
  const int status = dmi_init();
  fcx::immortal<DirectInterface>().status = status;
  DOMAIN_INFO("[init_modem_interface] dmi_init :%d\n", status);
  return status;
}

int request_to_system(int number, void* payload, int payload_len, void* out_data, int* out_len,
                      int* out_status) {
  qvcmd_response response;
  const Outcome outcome = exchange(number, payload_of(payload, payload_len), response);
  if (outcome.code != 0) {
    if (outcome.has_service && out_data != nullptr && out_len != nullptr) *out_len = -1;
    return outcome.code;
  }
  const std::string_view bytes = bytes_of(response);
  if (out_data != nullptr) {
    log_status(response);
    memcpy(out_data, bytes.data(), bytes.size());
  }
  if (out_len != nullptr) *out_len = static_cast<int>(bytes.size());
  if (out_status != nullptr) *out_status = response.reserved;
  return 0;
}

int get_qve_data_from_modem(int number, void* req, int req_len, void* rsp, int* rsp_len) {
  if (req == nullptr || rsp == nullptr || rsp_len == nullptr) return -1;
  if (req_len < 0 || req_len > kDataSize) return -1;
  fcx::ModemAnswer answer;
  const Outcome outcome = exchange(number, payload_of(req, req_len), answer.record());
  if (outcome.code != 0) {
    if (outcome.has_service) *rsp_len = -1;
    return QVCMD_FAIL;
  }
  log_status(answer.record());
  const std::string_view bytes = answer.bytes();
  memcpy(rsp, bytes.data(), bytes.size());
  *rsp_len = static_cast<int>(bytes.size());
  // What claims another length than it can have was cut, and is not to be trusted.
  return answer.claimed_length() == *rsp_len ? 0 : QVCMD_FAIL;
}

// The caller of the service holds the mutex.
void response_from_system(const QVATCMDResponse& response) NO_THREAD_SAFETY_ANALYSIS {
  SystemAnswer& pending = fcx::immortal<SystemExchange>().pending;
  pending = {response.result, response.data_len, response.status, {}};
  DOMAIN_INFO("[QVATCMD] result : %d, data_len : %d, status : %d", response.result,
              response.data_len, response.status);
  if (response.data_len < 1) return;
  const size_t length = std::min<size_t>(response.data.size(), SystemAnswer::kLongestText);
  fcx::decode_base64({response.data.c_str(), length}, pending.data.data(), pending.data.size());
}
