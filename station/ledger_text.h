// Texts, times and keys of a ledger.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace station {

/// A text that every database takes, and every terminal: what is no UTF-8, and control characters,
/// as \xNN.
std::string plain_text(std::string_view text);
/// The key of a unit, the name of a pool and the like: without blanks around it, 1 to 128 bytes of
/// plain text. Throws virtual_phone::Refused, which names `what`.
std::string plain_name(const std::string& text, const std::string& what);

/// "2026-03-01T08:30:00.000Z" of now, by this machine's clock.
std::string time_now();

/// 128 bits that nobody else has drawn, as text.
std::string random_key();

/// ["a", "b"] of texts that are plain.
std::string json_array(const std::vector<std::string>& texts);

}  // namespace station
