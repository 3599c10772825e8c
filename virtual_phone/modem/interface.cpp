// The direct interface to the modem, and the diagnostic library's packets.
#include "platform/modem_interface.h"

#include <atomic>
#include <cstdlib>

#include "platform/diag_packets.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"
#include "virtual_phone/modem/efs.h"
#include "virtual_phone/modem/exchange.h"
#include "virtual_phone/modem/modem.h"

namespace virtual_phone {
namespace {

/// A direct request on its way, which knows whether it was alone.
class InFlight {
 public:
  InFlight() : overlapped_(in_flight++ > 0), serial_(++entered) {}
  ~InFlight() { --in_flight; }
  InFlight(const InFlight&) = delete;
  InFlight& operator=(const InFlight&) = delete;

  /// Whether another was on its way when this one set out, or has set out since.
  bool overlapped() const { return overlapped_ || entered != serial_; }

 private:
  static std::atomic<int> in_flight;
  static std::atomic<uint32_t> entered;
  bool overlapped_;
  uint32_t serial_;
};

std::atomic<int> InFlight::in_flight = 0;
std::atomic<uint32_t> InFlight::entered = 0;

/// Whether a call to the service gets through to it. Late ones do, later.
bool reaches(Phone& phone, const char* service, Access access) {
  Accessing accessing(phone, {Part::service, service, access});
  const bool is_reached = !accessing.strike().has_value();
  accessing.ends(is_reached ? 0 : -1);
  return is_reached;
}

/// The meaningful bytes of a request. Throws Refused when there cannot be so many, and when others
/// follow: a record is zero after them.
std::string_view payload_of(const qvcmd_request& request) {
  if (request.data_len < 0 || static_cast<size_t>(request.data_len) > sizeof request.data) {
    throw Refused("a request has no " + std::to_string(request.data_len) + " bytes");
  }
  const std::string_view record(request.data, sizeof request.data);
  const auto length = static_cast<size_t>(request.data_len);
  if (record.find_first_not_of('\0', length) != std::string_view::npos) {
    throw Refused("the request's record goes on after its " + std::to_string(length) + " bytes");
  }
  return record.substr(0, length);
}

ModemAnswer answer(Phone& phone, const qvcmd_request& request) {
  constexpr int32_t kBrokenOff = -1;
  if (!reaches(phone, "dmi", Access::call)) return answer_code(kBrokenOff);
  if (!phone.modem_open) throw Refused("the modem's interface is not open, call dmi_init() first");
  const std::string_view payload = payload_of(request);
  return answer_request(phone, request.opcode, payload,
                        {[&] { return answer_directly(phone, request.opcode, payload); },
                         [&] { return refuse_directly(request.opcode); }});
}

int32_t exchange(Phone& phone, const qvcmd_request& request, qvcmd_response& response) {
  const InFlight flight;
  ModemRequest record{0, now_us(), request.opcode, "", 0, 0, 0, "", false};
  if (request.data_len > 0 && static_cast<size_t>(request.data_len) <= sizeof request.data) {
    record.payload.assign(request.data, static_cast<size_t>(request.data_len));
  }
  const ModemAnswer given = answer_or_fail(request.opcode, [&] { return answer(phone, request); });
  record.code = given.code;
  record.status = given.status;
  record.answer_length = given.length;
  record.answer = given.bytes.substr(0, sizeof response.data);
  record.overlapped = flight.overlapped();
  record_modem_request(phone, record);
  if (given.code != 0) return given.code;
  record.answer.copy(response.data, sizeof response.data);
  response.data_len = given.length;
  response.reserved = given.status;
  return 0;
}

}  // namespace
}  // namespace virtual_phone

namespace vp = virtual_phone;

int dmi_init() {
  return vp::platform_call("dmi_init", -1, [](vp::Phone& phone) {
    if (!vp::reaches(phone, "dmi", vp::Access::find)) return -1;
    phone.modem_open = true;
    return 0;
  });
}

int request_to_modem_via_dmi(qvcmd_request* request, qvcmd_response* response) {
  return vp::platform_call("request_to_modem_via_dmi", vp::kLinkFailed,
                           [&](vp::Phone& phone) -> int {
                             if (request == nullptr || response == nullptr) {
                               throw vp::Refused("a record is missing");
                             }
                             return vp::exchange(phone, *request, *response);
                           });
}

int dmi_release() {
  return vp::platform_call("dmi_release", -1, [](vp::Phone& phone) {
    phone.modem_open = false;
    vp::close_efs_descriptors();
    return 0;
  });
}

void* diagpkt_alloc(int command_code, int length) {
  void* packet = nullptr;
  vp::platform_call("diagpkt_alloc", -1, [&](vp::Phone& phone) {
    if (length < 1 || !vp::reaches(phone, "diag", vp::Access::call)) return -1;
    packet = calloc(1, static_cast<size_t>(length));
    if (packet != nullptr) *static_cast<uint8_t*>(packet) = static_cast<uint8_t>(command_code);
    return 0;
  });
  return packet;
}
