// The modem's file system: real files below the phone's efs/, and descriptors of the modem's own.
#pragma once

#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// Answers one operation in the form of the modem link: its first byte says which.
/// @return an int32, negative errno on failure, and then what was read
std::string answer_efs(Phone& phone, std::string_view payload);

/// The answer to an operation that came to nothing but this result.
std::string efs_result(int32_t result);

/// Closes what this process has open.
void close_efs_descriptors();

/// Flushes every file to disk. Throws Error when one cannot be.
void sync_efs(Phone& phone);

/// Copies the whole tree aside, on disk when this returns, in place of the copy before. Throws
/// Error.
void make_golden_copy(Phone& phone);

}  // namespace virtual_phone
