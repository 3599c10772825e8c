// The WLAN MAC address: six bytes, kept as factory item 6, first byte first. As text it is twelve
// hexadecimal digits, two for each byte.
//
// Unlike the Bluetooth address (fcx/bt_address.h) it is taken as a list of twelve NUL-terminated
// texts, each with one digit as its first character, on purpose: an AT command's parameters as they
// are. A null text has no digit. Answers are as there.
//
// Example:
//
//   #include <cstdio>
//
//   uint8_t address[6];
//   char digits[13];
//   if (wlan_mac_read(address) != 0) return;  // none is stored, or it cannot be read
//   wlan_mac_hexa_to_ascii(address, digits);
//   puts(digits);
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

/// Turns twelve texts into an address.
/// @param params 12 texts, of which none is looked at after a null or an empty one; null has no
///               digits
/// @param out    6 bytes, cleared first; what was converted before an invalid character stays there
/// @return 0; 1 at the first character that is no digit of either case, which is logged, and for a
///         null `out`
int wlan_mac_ascii_to_hexa(char** params, uint8_t* out);

/// Turns an address into text.
/// @param bytes 6 bytes
/// @param out   13 bytes that receive twelve upper-case digits and a NUL
/// @return 0 always; a null pointer writes nothing
int wlan_mac_hexa_to_ascii(const uint8_t* bytes, char* out);

/// Reads the stored address. Six bytes FF are one, on purpose.
/// @param out 6 bytes, untouched on failure
/// @return 0; 1 for a null pointer, when the item store returned anything but 0, and for six bytes
///         00, which is logged
int wlan_mac_read(uint8_t* out);

/// Stores an address.
/// @param bytes 6 bytes
/// @return 0; 1 for a null pointer, or when the item store returned anything but 0
int wlan_mac_write(const uint8_t* bytes);

/// Answers a query: the stored address as twelve digits, or "FFFFFFFFFFFF" when there is none or it
/// cannot be read, of which only the log tells.
/// @return 0 always
int wlan_mac_none(char* answer);

/// Stores the address that an AT command's parameters give, and answers "MAC ADDRESS WRITE OK".
/// @param params      as many texts as `param_count` says
/// @param param_count 12
/// @return 0; 1 for another count, for what is no digit, and when the address cannot be stored, all
///         of which is logged and leaves `answer` as it was
int wlan_mac_assign(char** params, int param_count, char* answer);

/// Writes an answer, as bt_resp() does.
/// @return `code`, as it is
int wlan_resp(int code, char* answer, const char* text);

#pragma GCC visibility pop
