// How a platform function, which returns a code and never throws, is carried out on the phone.
#pragma once

#include <android/log.h>

#include <exception>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// Calls `work` with the phone of this process and returns its code. Without a usable phone, or
/// when the phone refuses, logs why under the tag "VirtualPhone" and returns `failure`.
template <typename Work>
int platform_call(const char* name, int failure, Work work) noexcept {
  Phone* phone = selected_or_null();
  if (phone == nullptr) return failure;
  try {
    return work(*phone);
  } catch (const std::exception& error) {
    __android_log_print(ANDROID_LOG_WARN, "VirtualPhone", "%s: %s", name, error.what());
    return failure;
  }
}

}  // namespace virtual_phone
