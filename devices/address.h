// What the Bluetooth and the WLAN address have in common: both are six bytes in a factory item,
// first byte first, and twelve hexadecimal digits as text. Their functions take other shapes and
// log other lines, and say so themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/text.h"
#include "fcx/factory_item_table.h"

namespace fcx {

constexpr size_t kAddressBytes = 6;
constexpr size_t kAddressDigits = 2 * kAddressBytes;
using AddressText = TextBuffer<kAddressDigits>;

/// The first characters of twelve parameters. Ends at the first that is null or empty.
AddressText first_characters(const char* const* params);

/// Turns twelve digits, of either case, into an address.
/// @param out 6 bytes, cleared first; what was converted before an invalid character stays there
/// @return nothing when all are digits, else the first character that is none; the NUL of a shorter
///         text is one
[[nodiscard]] std::optional<char> digits_to_address(const AddressText& digits, uint8_t* out);

/// Writes the twelve upper-case digits of an address and a NUL; nothing where one is null.
/// @param bytes 6 bytes
/// @param out   13 bytes
void write_digits(const uint8_t* bytes, char* out);

enum class AddressRead { valid, all_zero, failed };

/// Reads an address. Six bytes FF are valid, on purpose.
/// @param out 6 bytes, written when the address is valid; null fails
[[nodiscard]] AddressRead read_address(const FactoryItem& item, uint8_t* out);

/// Stores an address.
/// @param bytes 6 bytes
/// @return 0; 1 for a null pointer, or when the item store returned anything but 0
[[nodiscard]] int write_address(const FactoryItem& item, const uint8_t* bytes);

/// Answers an AT command: clears the first four bytes of `answer`, then writes `text` and its NUL.
/// Null for either writes no text.
/// @return `code`
int respond(int code, char* answer, const char* text);

}  // namespace fcx
