// The Bluetooth device address: six bytes, kept as factory item 8, first byte first. As text it is
// twelve hexadecimal digits, two for each byte.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Turns text into an address.
/// @param text its first twelve characters are read, of either case; null is read as empty
/// @param out  6 bytes, cleared first; what was converted before an invalid character stays there
/// @return 0; 1 at the first character that is no digit, which is logged (the end of a shorter
///         text is one), and for a null `out`
int bt_addr_ascii_to_hexa(const char* text, uint8_t* out);

/// Stores an address.
/// @param bytes 6 bytes
/// @return 0; 1 for a null pointer, or when the item store returned anything but 0
int bt_addr_write(const uint8_t* bytes);

/// Stores the address that a text gives.
/// @return 0; 1 when the text is no address or cannot be stored
int handle_testmode_bt_write_request(const char* text);

#pragma GCC visibility pop
