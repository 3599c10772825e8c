// One request to the modem or to the system side, and its answer: what both routes share.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

struct ModemAnswer {
  int32_t code = 0;         ///< 0 when it was answered; else nothing but the code arrives
  std::string bytes;        ///< what arrives
  int32_t length = 0;       ///< what the answer claims to hold
  int32_t status = 0;       ///< the status word
  bool is_garbled = false;  ///< a fault has made nonsense of the bytes
};

/// The code of a request that the link could not carry.
constexpr int32_t kLinkFailed = 1;
/// The code of a request that the other side does not know.
constexpr int32_t kUnknownRequest = 2;

/// An answer of these bytes.
ModemAnswer answer_of(std::string bytes);
/// An answer that is only a code.
ModemAnswer answer_code(int32_t code);

/// Text in a request ends at its NUL, or with the payload.
std::string_view text_of(std::string_view payload);

/// How a request is answered when no fault prevents it, and when a fault makes the modem refuse.
struct Answering {
  std::function<ModemAnswer()> carry_out;
  std::function<ModemAnswer()> refuse;
};

/// Answers one request as the faults on it have it.
ModemAnswer answer_request(Phone& phone, int32_t number, std::string_view payload,
                           const Answering& answering);

/// The answer of `work`. When it throws, logs why and answers kLinkFailed.
ModemAnswer answer_or_fail(int32_t number, const std::function<ModemAnswer()>& work);

/// What the modem answers over its direct interface, past all faults. Throws Refused for a request
/// that makes no sense.
ModemAnswer answer_directly(Phone& phone, int32_t number, std::string_view payload);
/// The same when it refuses.
ModemAnswer refuse_directly(int32_t number);
/// Whether it knows the request, so that there is something to refuse, and an answer.
bool knows_directly(int32_t number);
/// The same of the system side.
bool system_side_knows(int32_t number);

}  // namespace virtual_phone
