// Bytes, identities and times as people read and type them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "daemon/hex.h"

namespace cli {

using factory_daemon::to_hex;
/// Bytes from hexadecimal digits, which may stand apart. Throws UsageError.
std::string from_hex(std::string_view digits);
/// Whether a word is hex:BYTES.
bool is_hex_word(const std::string& word);
/// The bytes that a word stands for: hex:BYTES, one at least, or itself. Throws UsageError.
std::string bytes_of(const std::string& word);
bool is_printable(std::string_view bytes);
/// The bytes as they are, or as hex:... where they are not printable.
std::string shown(std::string_view bytes);
/// A text for a terminal, which its control characters shall not steer; lines stay lines.
std::string harmless(const std::string& text);
/// The text of an identity for a listing: all but its last four characters hidden.
std::string masked(std::string text);
/// Whether a property names a SIM.
bool names_sim(const std::string& property);
/// "06:26:00.123" of a time since 1970.
std::string shown_time(int64_t time_us);

}  // namespace cli
