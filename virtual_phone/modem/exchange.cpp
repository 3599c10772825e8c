#include "virtual_phone/modem/exchange.h"

#include <android/log.h>

#include <algorithm>

#include "virtual_phone/faults/accesses.h"

namespace virtual_phone {
namespace {

/// Changes an answer on its way as the fault has it.
void spoil(ModemAnswer& answer, const Fault& fault) {
  const auto set_bytes = [&](size_t size, char filling) {
    answer.bytes.resize(size, filling);
    answer.length = static_cast<int32_t>(size);
  };
  const size_t size = answer.bytes.size();
  switch (fault.effect) {
    case Effect::status:
      answer.status = static_cast<int32_t>(fault.value);
      break;
    case Effect::empty:
      set_bytes(0, '\0');
      break;
    case Effect::shorter:
      set_bytes(std::min(size, static_cast<size_t>(fault.value)), '\0');
      break;
    case Effect::longer:
      set_bytes(std::max(size, static_cast<size_t>(fault.value)), 'X');
      break;
    case Effect::length:
      answer.length = static_cast<int32_t>(fault.value);
      break;
    case Effect::garbage:
      answer.bytes.assign(size, static_cast<char>(fault.value));
      answer.is_garbled = true;
      break;
    default:
      break;  // struck before there was an answer
  }
}

ModemAnswer answer_as(const std::optional<Fault>& fault, const Answering& answering) {
  if (!fault.has_value()) return answering.carry_out();
  if (fault->effect == Effect::fail) return answer_code(static_cast<int32_t>(fault->value));
  if (fault->effect == Effect::refuse) return answering.refuse();
  ModemAnswer answer = answering.carry_out();
  if (answer.code == 0) spoil(answer, *fault);
  return answer;
}

}  // namespace

ModemAnswer answer_of(std::string bytes) {
  ModemAnswer answer;
  answer.length = static_cast<int32_t>(bytes.size());
  answer.bytes = std::move(bytes);
  return answer;
}

ModemAnswer answer_code(int32_t code) {
  ModemAnswer answer;
  answer.code = code;
  return answer;
}

std::string_view text_of(std::string_view payload) { return payload.substr(0, payload.find('\0')); }

ModemAnswer answer_or_fail(int32_t number, const std::function<ModemAnswer()>& work) {
  try {
    return work();
  } catch (const std::exception& error) {
    __android_log_print(ANDROID_LOG_WARN, "VirtualPhone", "request %d: %s", number, error.what());
    return answer_code(kLinkFailed);
  }
}

ModemAnswer answer_request(Phone& phone, int32_t number, std::string_view payload,
                           const Answering& answering) {
  Accessing accessing(
      phone, {Part::request, std::to_string(number), Access::request, std::string(payload)});
  const int64_t changes = phone.changes();
  const ModemAnswer answer = answer_as(accessing.strike(), answering);
  if (answer.code == 0) {
    accessing.is_answered(answer.bytes, answer.length, answer.status);
  } else {
    accessing.ends(answer.code);
  }
  if (phone.changes() != changes) accessing.changes();
  return answer;
}

}  // namespace virtual_phone
